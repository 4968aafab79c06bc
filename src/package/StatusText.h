#pragma once
// The one place that chooses the words a user is shown for a failed or stopped run, for the
// window and the command line alike. The engine's codes stay as they are; only the text depends
// on what the code concerned.

#include <cstdint>
#include <string>

#include "engine/EngineStatus.h"
#include "platform/Translate.h"

// What a failure concerns, as far as the engine knows it.
struct FailureSubject {
    // The file, folder or entry that could not be read or written; empty if none in particular.
    std::u16string path;
    // The package failed its structure (header, digest, index): whatever the code, the user is
    // told that the file is not a valid package.
    bool packageInvalid = false;
    // A symbolic link stood where a file or folder was to be written.
    bool linkRefused = false;
    // A source got shorter while it was packed.
    bool sourceShrank = false;
    // The source (`path`) is the very file at the package's path, which the package would replace.
    bool sourceIsPackage = false;
    // The entry that was refused or failed, as it stands in the package; empty if none.
    std::u16string entry;
    // Plain words for what went wrong with the entry, in place of the code's text.
    std::u16string reason;
    // The entry's name was refused before anything was written.
    bool nameRefused = false;
};

inline constexpr char LinkRefusedText[] = QT_TRANSLATE_NOOP("StatusText", "refusing to follow a symbolic link");
inline constexpr char SourceShrankText[] = QT_TRANSLATE_NOOP("StatusText", "the file got shorter while it was being read");
inline constexpr char SourceIsPackageText[]
    = QT_TRANSLATE_NOOP("StatusText", "the package would replace this file, which goes into it");

// An entry's name as a user reads it: with `/` between its parts, and every control character
// (and every byte that is not UTF-8) escaped, so that a sender's name can't rewrite a terminal
// or the rest of the message. A very long name shows its start and end.
std::u16string shownEntryName(const std::u16string& name);

// The user's text: a stop reads as a stop only; a refused name reads as the entry and why; a
// package that failed its structure reads as the invalid-package text; otherwise the code's text
// (or the reason), after the path it concerns and the entry that failed. A path is escaped as a
// name is, since part of it may come from the package.
std::u16string statusText(const EngineStatus& status, const FailureSubject& subject = {}, bool stopped = false);
