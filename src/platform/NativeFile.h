#pragma once
// POSIX descriptors behind the Windows-style open parameters the engine records. Every failing
// call leaves its reason in the last error. Tests can make chosen calls fail (see FaultInjection).

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace win {
inline constexpr std::uint32_t CREATE_ALWAYS = 2;
inline constexpr std::uint32_t OPEN_EXISTING = 3;
inline constexpr std::uint32_t GENERIC_READ = 0x80000000;
inline constexpr std::uint32_t GENERIC_WRITE = 0x40000000;
inline constexpr std::uint32_t FILE_SHARE_READ = 1;
inline constexpr std::uint32_t FILE_SHARE_WRITE = 2;
}  // namespace win

namespace platform {

using FileHandle = int;
inline constexpr FileHandle InvalidHandle = -1;

// Mode for files that hold private data (keys, stores, temporaries).
inline constexpr mode_t PrivateFileMode = 0600;
// Mode for files the user receives (extracted files, packages); the umask still applies.
inline constexpr mode_t UserFileMode = 0644;
// What a file the user asked for gets when nothing earlier had its name: all that the umask allows.
inline constexpr mode_t NewUserFileMode = 0666;

// Opens a file as CreateFileW would with the given disposition and access. Directories are
// refused with ERROR_ACCESS_DENIED, as on Windows.
FileHandle openFile(const std::u16string& path, std::uint32_t disposition, std::uint32_t access,
                    mode_t mode = UserFileMode);
bool closeFile(FileHandle handle);
// Opens a file to be read as a source: without blocking (a FIFO or a device would hold the open,
// or the reads, for ever) and only if it is a regular file; anything else is refused with
// ERROR_CANT_ACCESS_FILE. `size`, if given, receives the file's size at the open; `identity`
// what tells the file from every other one.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    bool operator==(const FileIdentity&) const = default;
};
// With `folder` open, `path` is a name in it: a walk through the whole path for every file of
// a folder costs as much as the rest of the open.
FileHandle openSourceFile(const std::u16string& path, std::int64_t* size = nullptr, FileIdentity* identity = nullptr,
                          FileHandle folder = InvalidHandle);
bool setFileMode(FileHandle handle, mode_t mode);
// A second handle on the same open file (same position); InvalidHandle on failure.
FileHandle duplicateHandle(FileHandle handle);
// Raises the process's limit of open files as far as allowed (the low default only serves
// programs that use select, which this one doesn't) and answers the limit now in force.
std::size_t raiseOpenFileLimit();
// A new read-only handle on the same file, with a position of its own: for a second thread that
// reads the file beside the first. InvalidHandle on failure.
FileHandle reopenForReading(FileHandle handle);
// Flushes a file or a folder to the disk.
bool syncFile(FileHandle handle);
// Asks the kernel to start writing what is cached of the file to the disk, without waiting for
// it. Only a hint: nothing is reported if it can't.
void startWriteback(FileHandle handle);
// Gives that hint for a file being written, every 32 MiB of what was written to it.
class WritebackPacer {
public:
    void wrote(FileHandle handle, std::size_t size)
    {
        since_ += size;
        if (since_ >= Step) {
            startWriteback(handle);
            since_ = 0;
        }
    }

private:
    static constexpr std::size_t Step = 32u << 20;
    std::size_t since_ = 0;
};
// True if the path names a folder (links followed).
bool isDirectory(const std::u16string& path);
// What is at `path` (links followed): whether it is a folder, and which file it is. False if
// nothing is there.
bool fileIdentity(const std::u16string& path, FileIdentity& identity, bool& directory);
bool deleteFile(const std::u16string& path);

// Reads until `size` bytes came or the end of the file; `got` says how many.
bool readFile(FileHandle handle, void* buffer, std::size_t size, std::size_t& got);
// Writes all `size` bytes or fails; a short write on a full disk fails with ERROR_DISK_FULL.
bool writeFile(FileHandle handle, const void* buffer, std::size_t size);

enum class SeekFrom { Begin = 0, Current = 1, End = 2 };
bool seekFile(FileHandle handle, std::int64_t distance, SeekFrom from, std::int64_t* newPosition = nullptr);
bool fileSize(FileHandle handle, std::int64_t& size);
bool truncateFile(FileHandle handle, std::int64_t size);
// Copies `size` bytes from `from` at `offset` to the current position of `to`, inside the kernel
// where it can, else through a buffer; `from` keeps its position. `copied` says how far it got,
// short of `size` only at the end of `from` or on failure. Counts as one read and one write for
// the fault injection.
bool copyRange(FileHandle from, std::int64_t offset, FileHandle to, std::size_t size, std::size_t& copied);

// Walking below a folder without ever following a symbolic link: extraction uses these so that a
// link planted inside the chosen folder cannot lead a write outside it.
FileHandle openDirectory(const std::u16string& path);
// Opens the child folder `name` of `directory`; a link in its place fails with ERROR_DIRECTORY.
FileHandle openDirectoryAt(FileHandle directory, const std::u16string& name);
// Creates the child folder; an existing one leaves ERROR_ALREADY_EXISTS and answers false.
bool makeDirectoryAt(FileHandle directory, const std::u16string& name, mode_t mode = 0755);
enum class EntryKind { Missing, Regular, Directory, Link, Other };
// What the child `name` of `directory` is, without following a link; `mode` receives the
// permission bits of an existing entry. Missing when it isn't there or can't be looked at (the
// last error then tells which).
EntryKind entryKindAt(FileHandle directory, const std::u16string& name, mode_t* mode = nullptr);
// Opens the child file `name` of `directory`; a link in its place is refused.
FileHandle openFileAt(FileHandle directory, const std::u16string& name, std::uint32_t disposition,
                      std::uint32_t access, mode_t mode = UserFileMode);

}  // namespace platform
