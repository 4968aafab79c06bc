#pragma once
// The files of the package being made: one flat, ordered set of absolute paths. The tree the user
// sees is derived from it a folder level at a time, by the plain functions below.

#include <map>
#include <set>
#include <string>
#include <vector>

// Ordered by UTF-16 code unit, case-sensitively; a prefix sorts before its extensions.
using FileSet = std::set<std::u16string>;
// Child name to true for a file, false for a folder; ordered like FileSet.
using ChildMap = std::map<std::u16string, bool>;

inline constexpr char16_t NativeSeparator = u'/';

// The distinct roots of the entries: everything up to and including the first separator.
std::set<std::u16string> deriveRoots(const FileSet& files);
// The names directly below a folder path or root (which ends in a separator).
ChildMap listChildren(const std::u16string& folder, const FileSet& files);
// Removes the one entry equal to the path.
void removeFile(const std::u16string& path, FileSet& files);
// Removes every entry below a folder path or root.
void removeTree(const std::u16string& folder, FileSet& files);
// The file of the set that is the very file at `packagePath` (the same device and inode, so a
// hard link or another spelling of the path counts), or empty when there is none or nothing is
// at that path yet. Writing the package there would replace a file that goes into it.
std::u16string sourceAtPackagePath(const FileSet& files, const std::u16string& packagePath);
// The folder an added item's entries are named from: its parent, with a trailing separator
// ("/h/Documents/report" gives "/h/Documents/"; "/" gives "/").
std::u16string nameRootFor(const std::u16string& addedPath);
// The components of a path for walking the tree; the first keeps its separator.
std::vector<std::u16string> splitTreePath(const std::u16string& path);
