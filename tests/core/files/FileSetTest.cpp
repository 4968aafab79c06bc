#include <gtest/gtest.h>

#include "files/FileSet.h"

TEST(FileSet, KeepsCodeUnitOrderAndCaseSensitiveUniqueness)
{
    FileSet files {u"/home/ann/b.txt", u"/home/ann/a.txt", u"/home/Ann/a.txt", u"/home/ann/a.txt", u"/home/ann/a.txt2",
                   u"/home/ann/\u00e9.txt"};
    const std::vector<std::u16string> expected {u"/home/Ann/a.txt", u"/home/ann/a.txt", u"/home/ann/a.txt2",
                                                u"/home/ann/b.txt", u"/home/ann/\u00e9.txt"};
    EXPECT_EQ(std::vector<std::u16string>(files.begin(), files.end()), expected);
    EXPECT_TRUE(deriveRoots(FileSet {}).empty());
    EXPECT_EQ(deriveRoots(files), (std::set<std::u16string> {u"/"}));
    EXPECT_EQ(deriveRoots(FileSet {u"rel.txt", u"/a"}), (std::set<std::u16string> {u"", u"/"}));
}

TEST(FileSet, ListsOneLevelIgnoringCaseOfThePrefix)
{
    const FileSet files {u"/Dir/a.txt", u"/Dir/Sub/b.txt", u"/Dir/Sub/c/d.txt", u"/dir/Sub/e.txt", u"/Dir2/x.txt",
                         u"/A.txt", u"/a.txt"};
    const ChildMap below = listChildren(u"/dir/", files);
    EXPECT_EQ(below, (ChildMap {{u"a.txt", true}, {u"Sub", false}}));
    EXPECT_EQ(listChildren(u"/", files),
              (ChildMap {{u"A.txt", true}, {u"Dir", false}, {u"Dir2", false}, {u"a.txt", true}, {u"dir", false}}));
    EXPECT_EQ(listChildren(u"/Dir/Sub/", files), (ChildMap {{u"b.txt", true}, {u"c", false}, {u"e.txt", true}}));

    // A doubled separator makes a folder with an empty name, as network paths did.
    const FileSet network {u"//server/share/a.txt"};
    EXPECT_EQ(listChildren(u"/", network), (ChildMap {{u"", false}}));
    EXPECT_EQ(listChildren(u"//", network), (ChildMap {{u"server", false}}));
}

TEST(FileSet, RemovesFilesExactlyAndTreesIgnoringCase)
{
    FileSet files {u"/Dir/x.txt", u"/DIR/x.txt", u"/dir/sub/y.txt", u"/Dir2/x.txt", u"/\u00c9t\u00e9/z.txt"};
    removeFile(u"/Dir/x.txt", files);
    EXPECT_EQ(files.count(u"/DIR/x.txt"), 1u);
    EXPECT_EQ(files.size(), 4u);
    removeFile(u"/missing", files);
    EXPECT_EQ(files.size(), 4u);

    removeTree(u"/Dir/", files);
    EXPECT_EQ(files, (FileSet {u"/Dir2/x.txt", u"/\u00c9t\u00e9/z.txt"}));
    removeTree(u"/\u00e9T\u00c9/", files);
    EXPECT_EQ(files, (FileSet {u"/Dir2/x.txt"}));
}

TEST(FileSet, SplitsPathsForWalkingTheTree)
{
    EXPECT_EQ(splitTreePath(u"/Dir/f.txt"), (std::vector<std::u16string> {u"/", u"Dir", u"f.txt"}));
    EXPECT_EQ(splitTreePath(u"//server/a"), (std::vector<std::u16string> {u"/", u"", u"server", u"a"}));
    EXPECT_EQ(splitTreePath(u"name"), (std::vector<std::u16string> {u"name/"}));
}
