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
} // namespace

// The decrypted inner package arrives in blocks of any size; wherever they break, each entry's
// data lands whole in a file of its own and the inner temporary has exactly a hole there.
TEST(EntrySplitter, SplitsAtAnyBoundaryAndLeavesAHoleOnlyWhereAFileTookTheData)
{
    const fs::path folder = freshFolder("splitter");
    const Bytes inner = craftedPackage({ { EntryTypeData, u"a", randomBytes(5000, 1) }, { EntryTypeData, u"empty", {} },
        { EntryTypeData, u"dir\\b", randomBytes(70000, 2) }, { EntryTypeData, u"c", randomBytes(300, 3) } });
    // Splits `bytes`, written in pieces of `chunk`, with room for `mostFiles` entry files; the
    // count of files taken.
    auto split = [&](const Bytes& bytes, std::size_t chunk, std::size_t mostFiles) {
        platform::PrivateTemp plain;
        EXPECT_TRUE(plain.createInTempDirectory());
        ScopedFile directory(platform::openDirectory(u16(folder)));
        EntrySplitter splitter(plain.handle(), directory.handle(), u16(folder), mostFiles);
        for (std::size_t at = 0; at < bytes.size(); at += chunk)
            EXPECT_TRUE(splitter.write(bytes.data() + at, std::min(chunk, bytes.size() - at)));
        EXPECT_TRUE(splitter.finish());
        Bytes expected = bytes;
        for (const auto& [offset, entry] : splitter.entries()) {
            const auto from = bytes.begin() + offset;
            EXPECT_EQ(contentOf(*entry.file), Bytes(from, from + entry.size)) << chunk << " " << offset;
            std::fill(expected.begin() + offset, expected.begin() + offset + entry.size, 0);
        }
        EXPECT_EQ(contentOf(plain), expected) << chunk << " " << mostFiles;
        // Nothing has a name in the folder before it is linked there.
        EXPECT_TRUE(fs::is_empty(folder));
        return splitter.entries().size();
    };
    // The empty entry needs no file.
    for (const std::size_t chunk : { std::size_t(1), std::size_t(7), std::size_t(4096), inner.size() }) {
        for (const std::size_t mostFiles : { std::size_t(0), std::size_t(2), std::size_t(10) })
            EXPECT_EQ(split(inner, chunk, mostFiles), std::min<std::size_t>(mostFiles, 3)) << chunk;
    }

    // Bytes that stop following the format go to the inner temporary as they come, with no
    // file taken for them: the check of the inner package then refuses it.
    Bytes broken = inner;
    broken[32 + 20 + 4 + 5000] ^= 0xFF; // the second entry's magic
    EXPECT_EQ(split(broken, broken.size(), 10), 1u);

    // A check keeps the index alone: every entry's data, and what follows a broken header, is a
    // hole, and no file is taken.
    for (const Bytes* package : std::initializer_list<const Bytes*> { &inner, &broken }) {
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
        auto keep = [&](std::size_t from, std::size_t to) {
            std::copy(package->begin() + from, package->begin() + to, kept.begin() + from);
        };
        keep(0, firstData);
        keep(firstData + 5000, secondName);
        if (package == &inner) {
            const std::size_t thirdData = secondName + 12 + 20 + 12;
            keep(secondName, thirdData);
            keep(thirdData + 70000, thirdData + 70000 + 20 + 4);
        }
        EXPECT_EQ(contentOf(indexOnly), kept) << (package == &inner ? "whole" : "broken");
    }
}
