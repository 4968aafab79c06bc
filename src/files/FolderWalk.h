#pragma once
// The one rule by which the window and the command-line tool walk a folder the user gave: what
// is taken is what the user would call the folder's files. A link to a folder is never followed
// (a link to "/" inside a folder would pull in the whole disk, and links can go round in
// circles); a link to a file is taken as that file; sockets, FIFOs, devices and links that lead
// nowhere are left out when the walk meets them, not when the package is written, and counted,
// so that the user can be told what was left out and why.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

struct LeftOut {
    std::size_t linkedFolders = 0;
    // Sockets, FIFOs, devices and links that lead nowhere.
    std::size_t notFiles = 0;

    bool empty() const { return linkedFolders == 0 && notFiles == 0; }
    LeftOut& operator+=(const LeftOut& other)
    {
        linkedFolders += other.linkedFolders;
        notFiles += other.notFiles;
        return *this;
    }
};

// Walks everything below `top`. `onFile` gets each file's path; `onUnreadable` each folder that
// can't be listed, with the system's code. Either returns false to end the walk; so does `stop`
// once set. Answers false when the walk ended early.
bool walkFolder(const std::u16string& top, LeftOut& leftOut, const std::function<bool(const std::u16string&)>& onFile,
                const std::function<bool(const std::u16string&, std::uint32_t)>& onUnreadable,
                const std::atomic<bool>* stop = nullptr);

// "2 links to folders and 1 item that is not a file were left out", empty when nothing was.
std::string leftOutText(const LeftOut& leftOut);
