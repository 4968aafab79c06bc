#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "PackageBytes.h"
#include "TestSupport.h"
#include "engine/ScopedFile.h"
#include "package/EntrySplitter.h"
#include "platform/Utf.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {
Bytes contentOf(const platform::PrivateTemp& file) { return readBytes(fs::path(platform::toUtf8(file.path()))); }
}  // namespace

// The decrypted inner package arrives in blocks of any size; wherever they break, each entry's
// data lands whole in a file of its own and the inner temporary has exactly a hole there.
TEST(EntrySplitter, SplitsAtAnyBoundaryAndLeavesAHoleOnlyWhereAFileTookTheData)
{
    const fs::path folder = freshFolder("splitter");
    const Bytes inner = craftedPackage({{EntryTypeData, u"a", randomBytes(5000, 1)},
                                        {EntryTypeData, u"empty", {}},
                                        {EntryTypeData, u"dir\\b", randomBytes(70000, 2)},
                                        {EntryTypeData, u"c", randomBytes(300, 3)}});
    for (const std::size_t chunk : {std::size_t(1), std::size_t(7), std::size_t(4096), inner.size()}) {
        for (const std::size_t mostFiles : {std::size_t(0), std::size_t(2), std::size_t(10)}) {
            platform::PrivateTemp plain;
            ASSERT_TRUE(plain.createInTempDirectory());
            ScopedFile directory(platform::openDirectory(u16(folder)));
            EntrySplitter splitter(plain.handle(), directory.handle(), u16(folder), mostFiles);
            for (std::size_t at = 0; at < inner.size(); at += chunk)
                ASSERT_TRUE(splitter.write(inner.data() + at, std::min(chunk, inner.size() - at)));
            ASSERT_TRUE(splitter.finish());

            // The empty entry needs no file.
            ASSERT_EQ(splitter.entries().size(), std::min<std::size_t>(mostFiles, 3)) << chunk;
            Bytes expected = inner;
            for (const auto& [offset, entry] : splitter.entries()) {
                const auto from = inner.begin() + offset;
                EXPECT_EQ(contentOf(*entry.file), Bytes(from, from + entry.size)) << chunk << " " << offset;
                std::fill(expected.begin() + offset, expected.begin() + offset + entry.size, 0);
            }
            EXPECT_EQ(contentOf(plain), expected) << chunk << " " << mostFiles;
            // Nothing has a name in the folder before it is linked there.
            EXPECT_TRUE(fs::is_empty(folder));
        }
    }

    // Bytes that stop following the format go to the inner temporary as they come, with no
    // file taken for them: the check of the inner package then refuses it.
    Bytes broken = inner;
    broken[32 + 20 + 4 + 5000] ^= 0xFF;  // the second entry's magic
    platform::PrivateTemp plain;
    ASSERT_TRUE(plain.createInTempDirectory());
    ScopedFile directory(platform::openDirectory(u16(folder)));
    EntrySplitter splitter(plain.handle(), directory.handle(), u16(folder), 10);
    ASSERT_TRUE(splitter.write(broken.data(), broken.size()));
    ASSERT_TRUE(splitter.finish());
    EXPECT_EQ(splitter.entries().size(), 1u);
    Bytes expected = broken;
    std::fill(expected.begin() + 32 + 20 + 4, expected.begin() + 32 + 20 + 4 + 5000, 0);
    EXPECT_EQ(contentOf(plain), expected);

    // A check keeps the index alone: every entry's data, and what follows a broken header, is a
    // hole, and no file is taken.
    for (const Bytes* package : std::initializer_list<const Bytes*> {&inner, &broken}) {
        platform::PrivateTemp indexOnly;
        ASSERT_TRUE(indexOnly.createInTempDirectory());
        EntrySplitter checking(indexOnly.handle(), platform::InvalidHandle, u"", 10);
        checking.discardData();
        for (std::size_t at = 0; at < package->size(); at += 7)
            ASSERT_TRUE(checking.write(package->data() + at, std::min<std::size_t>(7, package->size() - at)));
        ASSERT_TRUE(checking.finish());
        EXPECT_TRUE(checking.entries().empty());
        // Header, then "a" (name field 4 bytes) and "empty" (12): the data of "a" is the first
        // hole, and in the broken package everything behind the second entry's header is one.
        const std::size_t firstData = 32 + 20 + 4;
        const std::size_t secondName = firstData + 5000 + 20;
        Bytes kept(package->size(), 0);
        std::copy(package->begin(), package->begin() + firstData, kept.begin());
        std::copy(package->begin() + firstData + 5000, package->begin() + secondName, kept.begin() + firstData + 5000);
        if (package == &inner) {
            const std::size_t thirdHeader = secondName + 12;
            const std::size_t thirdData = thirdHeader + 20 + 12;
            const std::size_t fourthHeader = thirdData + 70000;
            std::copy(package->begin() + secondName, package->begin() + thirdData, kept.begin() + secondName);
            std::copy(package->begin() + fourthHeader, package->begin() + fourthHeader + 20 + 4, kept.begin() + fourthHeader);
        }
        EXPECT_EQ(contentOf(indexOnly), kept) << (package == &inner ? "whole" : "broken");
    }
}
