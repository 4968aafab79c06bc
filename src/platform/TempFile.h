#pragma once
// Temporary files of the engine. Wherever the file system allows, a temporary has no name at all
// (O_TMPFILE): the kernel reclaims it on any death of the process, so plain text can't outlive
// us. Where a name is unavoidable, the file carries an flock for as long as it lives, and a
// record of it (its device, inode and path) lies in the profile's "temporaries/" folder until it
// is gone. A later run sweeps only what such a record proves to be ours and whose owner died: a
// name alone proves nothing, since a user may well call a file "KVX-budget.csv".

#include <sys/types.h>

#include <string>

#include "platform/NativeFile.h"

namespace platform {

// $TMPDIR if set and not empty, else /tmp; with no trailing separator.
std::u16string tempDirectory();

// Names our named temporaries start with: "KVX" in the temporary folder, ".KVX" beside a
// package or an extracted file.
inline constexpr char TempPrefix[] = "KVX";
inline constexpr char HiddenTempPrefix[] = ".KVX";

// One private temporary (0600), open for reading and writing from birth. The object owns the
// file: destroying it, or discard(), makes the file go away.
class PrivateTemp {
public:
    PrivateTemp() = default;
    ~PrivateTemp() { discard(); }
    PrivateTemp(const PrivateTemp&) = delete;
    PrivateTemp& operator=(const PrivateTemp&) = delete;

    // In the folder open as `directory`, unnamed where the file system can, else named with
    // `prefix`. `folderPath` only serves to give a named one a path. An unnamed file gets
    // `unnamedMode` (less the umask): without a name nobody else can open it, and a file made
    // with the mode it will be published with needs no change of mode later. A named one is
    // always 0600.
    bool create(FileHandle directory, const std::u16string& folderPath, const char* prefix, mode_t unnamedMode = 0600);
    // In the temporary folder.
    bool createInTempDirectory();

    bool isOpen() const { return handle_ != InvalidHandle; }
    FileHandle handle() const { return handle_; }
    // A path that opens this very file while the object lives (for code that takes names).
    const std::u16string& path() const { return path_; }
    // A short name of the "KVX…" kind, for what needs to call the file something.
    const std::u16string& name() const { return name_; }
    bool isNamed() const { return !linkName_.empty(); }

    // Puts the complete file at `name` in `directory` (the folder it was made in), replacing an
    // earlier file there in one step. The file stops being a temporary.
    bool publish(FileHandle directory, const std::u16string& name);
    // Puts the complete file at `name` only if nothing has that name; when something has, it
    // fails with ERROR_ALREADY_EXISTS and the temporary stays as it was. One call where the
    // name is free, with no look at the folder first.
    bool publishIfFree(FileHandle directory, const std::u16string& name);
    void discard();

private:
    // Whether the file may be given a name now: open, and no rename fault planted.
    bool readyToPublish() const;

    FileHandle handle_ = InvalidHandle;
    FileHandle directory_ = InvalidHandle;
    std::string record_;
    std::u16string path_;
    std::u16string name_;
    std::string linkName_;
};

// A fresh short name of the "KVX…" kind that temporaries get, for data that is named like one
// but never lands in a file of its own.
std::u16string temporaryName();

// Deletes our named temporaries in `folder` (names starting with `prefix`) that a record of this
// profile names, that are still the very file recorded, and that no living process holds.
// Answers how many went. A file without a record is never touched.
int sweepStaleTemporaries(const std::u16string& folder, const char* prefix);

// The process's file creation mask, read without changing it.
mode_t currentUmask();

} // namespace platform
