#include <gtest/gtest.h>

#include "files/FileSet.h"
#include "platform/Utf.h"

TEST(FileSet, RootsAreTheFirstPartsOfThePaths)
{
    EXPECT_TRUE(deriveRoots(FileSet {}).empty());
    EXPECT_EQ(deriveRoots(FileSet { u"/home/ann/b.txt", u"/home/Ann/a.txt" }), (std::set<std::u16string> { u"/" }));
    EXPECT_EQ(deriveRoots(FileSet { u"rel.txt", u"/a" }), (std::set<std::u16string> { u"", u"/" }));
}

TEST(FileSet, ListsOneLevelOfExactlyThatFolder)
{
    // Two folders that differ only in case are two folders, as the file system has them.
    const FileSet files { u"/h/Photos/a.jpg", u"/h/Photos/Sub/c.jpg", u"/h/photos/b.jpg", u"/h/photos/Sub/d/e.jpg",
        u"/h/Photos2/x.jpg", u"/h/A.txt", u"/h/a.txt" };
    EXPECT_EQ(listChildren(u"/h/", files),
        (ChildMap { { u"A.txt", true }, { u"Photos", false }, { u"Photos2", false }, { u"a.txt", true },
            { u"photos", false } }));
    EXPECT_EQ(listChildren(u"/h/Photos/", files), (ChildMap { { u"Sub", false }, { u"a.jpg", true } }));
    EXPECT_EQ(listChildren(u"/h/photos/", files), (ChildMap { { u"Sub", false }, { u"b.jpg", true } }));
    EXPECT_EQ(listChildren(u"/h/photos/Sub/", files), (ChildMap { { u"d", false } }));
    EXPECT_EQ(listChildren(u"/h/PHOTOS/", files), ChildMap {});

    // A doubled separator makes a folder with an empty name, as network paths did.
    const FileSet network { u"//server/share/a.txt" };
    EXPECT_EQ(listChildren(u"/", network), (ChildMap { { u"", false } }));
    EXPECT_EQ(listChildren(u"//", network), (ChildMap { { u"server", false } }));
}

TEST(FileSet, RemovesFilesAndTreesOfExactlyThatName)
{
    FileSet files { u"/h/Photos/a.jpg", u"/h/Photos/x/y.jpg", u"/h/photos/b.jpg", u"/h/PHOTOS/c.jpg",
        u"/h/Photos2/d.jpg", u"/h/\u00c9t\u00e9/e.jpg" };
    removeFile(u"/h/Photos/b.jpg", files);
    removeFile(u"/missing", files);
    EXPECT_EQ(files.size(), 6u);
    removeFile(u"/h/photos/b.jpg", files);
    EXPECT_EQ(files.count(u"/h/photos/b.jpg"), 0u);

    removeTree(u"/h/Photos/", files);
    EXPECT_EQ(files, (FileSet { u"/h/PHOTOS/c.jpg", u"/h/Photos2/d.jpg", u"/h/\u00c9t\u00e9/e.jpg" }));
    removeTree(u"/h/\u00e9t\u00e9/", files);
    EXPECT_EQ(files.size(), 3u);
    removeTree(u"/", files);
    EXPECT_TRUE(files.empty());
}

TEST(FileSet, SplitsPathsForWalkingTheTree)
{
    EXPECT_EQ(splitTreePath(u"/Dir/f.txt"), (std::vector<std::u16string> { u"/", u"Dir", u"f.txt" }));
    EXPECT_EQ(splitTreePath(u"//server/a"), (std::vector<std::u16string> { u"/", u"", u"server", u"a" }));
    EXPECT_EQ(splitTreePath(u"name"), (std::vector<std::u16string> { u"name/" }));
}

TEST(FileNames, BytesThatAreNoUtf8SurviveTheRoundTrip)
{
    using platform::fromUtf8;
    using platform::toUtf8;
    // Two names that once both became U+FFFD stay two names, and come back byte for byte.
    const std::string ff = "caf\xff.txt", fe = "caf\xfe.txt";
    EXPECT_NE(fromUtf8(ff), fromUtf8(fe));
    EXPECT_EQ(fromUtf8(ff), u"caf\xDCFF.txt");
    for (const std::string& bytes : { ff, fe, std::string("\xc3\xa9t\xc3\xa9"), std::string("\xc3"),
             std::string("\xc0\xaf/x"), std::string("\xed\xa0\x80\xed\xb0\x80"), std::string("\xf4\x90\x80\x80"),
             std::string("a\x80\xbf\xe2\x82"), std::string("\xf0\x9f\x98\x80\xf0\x9f") }) {
        EXPECT_EQ(toUtf8(fromUtf8(bytes)), bytes);
    }
    // Valid text never turns into an escape, so text and escapes can't be confused.
    EXPECT_EQ(fromUtf8("\xc3\xa9\xf0\x9f\x98\x80"), u"\u00e9\U0001F600");
    EXPECT_TRUE(platform::isValidUtf8("\xc3\xa9\xf0\x9f\x98\x80"));
    EXPECT_FALSE(platform::isValidUtf8("caf\xff"));
    EXPECT_FALSE(platform::isValidUtf8("\xed\xa0\x80"));

    // Only bytes 0x80..0xFF are escapes: a lone surrogate that would stand for '/', '.' or NUL,
    // or any other lone surrogate, is no byte of a name.
    EXPECT_EQ(toUtf8(u"a\xDC2F\xDC2E\xDC00"
                     u"b"),
        "a\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd"
        "b");
    EXPECT_EQ(toUtf8(u"\xD800x"), "\xef\xbf\xbdx");
    // Text that must be valid (stores, certificates) gets U+FFFD for an escape.
    EXPECT_EQ(platform::toValidUtf8(u"caf\xDCFF"), "caf\xef\xbf\xbd");
}
