#pragma once
// Turns a set of files and a list of recipients into a finished package, and a package back into
// files. Runs on the worker thread; reports through the callback and returns one status.

#include <cstdint>
#include <optional>
#include <set>
#include <utility>
#include <string>
#include <vector>

#include "contacts/ContactRecord.h"
#include "package/ContainerFile.h"
#include "package/EntrySplitter.h"
#include "engine/EngineCallback.h"
#include "engine/EngineStatus.h"
#include "engine/ScopedFile.h"
#include "files/FileSet.h"
#include "package/StatusText.h"
#include "platform/TempFile.h"

inline constexpr std::uint32_t NameModeBareName = 1;
inline constexpr std::uint32_t NameModeFullPath = 2;
// Each file under its path below the folder it was added from (a name root), as archive tools
// store what they are given; a file below no root falls back to the full path.
inline constexpr std::uint32_t NameModeRelative = 4;

class PackageEngine {
public:
    // Opens the certificate store and remembers the owner's name for finding the own certificate.
    explicit PackageEngine(const ContactRecord& ownContact);

    void setFiles(const FileSet& files) { files_ = files; }
    void setFiles(FileSet&& files) { files_ = std::move(files); }
    void setRecipients(const std::vector<const ContactRecord*>& recipients) { recipients_ = recipients; }
    void setPackagePath(const std::u16string& path) { packagePath_ = path; }
    void setExtractFolder(const std::u16string& path) { extractFolder_ = path; }
    void setNameMode(std::uint32_t mode) { nameMode_ = mode; }
    // Folders (with a trailing separator) that files were added from, for NameModeRelative.
    void setNameRoots(const std::set<std::u16string>& roots) { nameRoots_ = roots; }
    void setCallback(EngineCallback callback) { callback_ = callback; }
    void setUserParameter(KvxUtils::UserParameter* userParameter) { userParameter_ = userParameter; }

    const FileSet& files() const { return files_; }
    const std::u16string& packagePath() const { return packagePath_; }
    std::uint32_t nameMode() const { return nameMode_; }

    EngineStatus create();
    EngineStatus extract();
    // What extract checks of the package, extracting nothing: its digest, for an encrypted one
    // the decryption and the inner package's digest, and the index (not the names, whose limits
    // depend on the folder). No content of an entry is kept anywhere; the inner package's index
    // alone goes to a private temporary. On success checkedEntries() holds the names and sizes of
    // the (inner) package's entries, and checkedDecrypted() says whether it was decrypted.
    EngineStatus check();
    const ContainerIndex& checkedEntries() const { return checked_; }
    bool checkedDecrypted() const { return checkedDecrypted_; }
    // What the last failed run's status concerns: the file, folder or entry, and whether the
    // package itself failed its structure. Empty after a success.
    const FailureSubject& failure() const { return failure_; }

    // A new empty private file in the temporary folder, without a name where the file system
    // allows. `temp` owns it (and gives a path that opens it); `file` is a second handle on it.
    EngineStatus createTempFile(platform::PrivateTemp& temp, ScopedFile& file);
    // Bit 4 keeps all after the shortest of `roots` that the path lies below, else bit 2 all
    // after the first separator, else bit 1 all after the last; the stored name always uses
    // backslashes.
    static std::u16string entryNameFor(
        const std::u16string& path, std::uint32_t mode, const std::set<std::u16string>& roots = {});
    // Pairs of files that the name mode and roots in force would store under one name.
    std::vector<std::pair<std::u16string, std::u16string>> nameClashes() const;
    // The folders and file name an entry name stands for below the extraction folder. Empty and
    // "." parts and a leading separator are dropped; "..", a drive or an empty result is refused
    // with ERROR_INVALID_NAME, so nothing is ever written outside the folder; `refusedBecause`
    // then says why in plain words.
    static EngineStatus splitEntryName(const std::u16string& name, std::vector<std::u16string>& parts,
                                       std::u16string* refusedBecause = nullptr);
    // Appends the folder part of `name` (before its last backslash) to `path`; 13 without one.
    static EngineStatus appendEntryDirectory(std::u16string& path, const std::u16string& name);
    // Creates each folder of `relative` (backslash-separated) below `base`, never following a
    // symbolic link. With `deepest` set, it receives the open handle of the last folder; with
    // `failedAt` set, a failure gives the folder it stopped at, and `linkRefused` says whether a
    // link stood there.
    static EngineStatus makeDirectories(const std::u16string& base, const std::u16string& relative,
                                        ScopedFile* deepest = nullptr, std::u16string* failedAt = nullptr,
                                        bool* linkRefused = nullptr);

private:
    EngineStatus addFiles(ContainerFile& container);
    EngineStatus encryptPackage(platform::PrivateTemp& inner, platform::FileHandle packageHandle);
    EngineStatus extractEntries(ContainerFile& container, const std::u16string& folder);
    // Refuses the package, naming the entry and why, if any name can't be put below a folder
    // whose path is `folderBytes` long.
    EngineStatus checkEntryNames(const ContainerIndex& index, std::size_t folderBytes);
    EngineStatus extractEntry(ContainerEntry& entry, platform::FileHandle directory,
                              const std::u16string& directoryPath, const std::u16string& name);
    EngineStatus failedOn(const EngineStatus& status, const std::u16string& path, bool packageInvalid = false);

    FileSet files_;
    std::vector<const ContactRecord*> recipients_;
    std::u16string packagePath_;
    std::uint32_t nameMode_ = NameModeBareName;
    std::set<std::u16string> nameRoots_;
    std::u16string extractFolder_;
    EngineCallback callback_ = nullptr;
    KvxUtils::UserParameter* userParameter_ = nullptr;
    FailureSubject failure_;
    mode_t newFileMode_ = 0644;
    // The file at the package's path before a run that makes one, if any.
    std::optional<platform::FileIdentity> packageIdentity_;
    // The entries of the package being extracted that were decrypted straight into files of
    // their own, by their data's offset in the inner package.
    EntrySplitter::Entries* entryFiles_ = nullptr;
    bool checkOnly_ = false;
    ContainerIndex checked_;
    bool checkedDecrypted_ = false;
};
