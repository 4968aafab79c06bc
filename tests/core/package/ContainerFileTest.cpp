#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "PackageBytes.h"
#include "Reports.h"
#include "TestSupport.h"
#include "crypto/HashFile.h"
#include "engine/ScopedFile.h"
#include "package/ContainerFile.h"
#include "platform/FaultInjection.h"
#include "platform/LastError.h"

using namespace package_tests;
using namespace testing_support;
namespace fs = std::filesystem;

namespace {

platform::FileHandle openReadWrite(const fs::path& path)
{
    return platform::openFile(u16(path), win::OPEN_EXISTING, win::GENERIC_READ | win::GENERIC_WRITE);
}

EngineStatus writePackage(
    const fs::path& package, const std::vector<std::pair<std::u16string, Bytes>>& items, Recorder* recorder = nullptr)
{
    const fs::path sources = package.parent_path() / (package.filename().string() + ".src");
    fs::create_directories(sources);
    ScopedFile out;
    EXPECT_TRUE(out.open(u16(package), win::CREATE_ALWAYS, win::GENERIC_READ | win::GENERIC_WRITE, 3));
    ContainerFile container;
    if (recorder) {
        active = recorder;
        container.setCallback(recordingCallback, &recorder->record);
    }
    EngineStatus status = container.openForWrite(out.release(), ContainerTypePlain);
    int index = 0;
    for (const auto& [name, data] : items) {
        const fs::path source = sources / std::to_string(index++);
        writeBytes(source, data);
        ScopedFile in;
        EXPECT_TRUE(in.open(u16(source), win::OPEN_EXISTING, win::GENERIC_READ, 3));
        ContainerEntry entry(name, in.handle(), EntryTypeData);
        if (recorder) {
            entry.setCallback(recordingCallback);
            entry.setUserParameter(&recorder->record);
        }
        if (status.ok())
            status = container.addEntry(entry);
    }
    const EngineStatus closed = container.close();
    return status.ok() ? closed : status;
}

struct Opened {
    EngineStatus status;
    std::vector<std::pair<std::u16string, Bytes>> items;
};

Opened readPackage(const fs::path& package, Recorder* recorder = nullptr)
{
    Opened result;
    Recorder local;
    Recorder* used = recorder ? recorder : &local;
    active = used;
    ContainerFile container;
    container.setCallback(recordingCallback, &used->record);
    result.status = container.openForRead(openReadWrite(package));
    if (!result.status.ok())
        return result;
    ContainerEntryList entries;
    result.status = container.readEntries(entries);
    setEntriesCallback(entries, recordingCallback, &used->record);
    const fs::path scratch = package.parent_path() / "scratch";
    for (ContainerEntry& entry : entries) {
        Bytes data;
        if (entry.size() > 0) {
            ScopedFile target;
            EXPECT_TRUE(target.open(u16(scratch), win::CREATE_ALWAYS, win::GENERIC_READ | win::GENERIC_WRITE, 3));
            const EngineStatus extracted = entry.extractTo(target.handle());
            target.close();
            if (!extracted.ok()) {
                result.status = extracted;
                break;
            }
            data = readBytes(scratch);
        }
        result.items.emplace_back(entry.name(), data);
    }
    container.close();
    return result;
}

} // namespace

TEST(ContainerFile, WritesTheOneFileExampleByteForByte)
{
    const fs::path folder = freshFolder("example");
    ASSERT_TRUE(writePackage(folder / "p.kvx", { { u"a.txt", { 'a', 'b', 'c' } } }).ok());
    const Bytes expected { 0x6B, 0x76, 0x78, 0x00, 0xdd, 0x50, 0x57, 0x41, 0x4c, 0x4d, 0x86, 0x53, 0x8b, 0x6f, 0x4a,
        0xaf, 0x7f, 0x26, 0xe6, 0xc7, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x6B,
        0x76, 0x78, 0x00, 0x01, 0x00, 0x00, 0x00, 0x0C, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x61, 0x00, 0x2E, 0x00, 0x74, 0x00, 0x78, 0x00, 0x74, 0x00, 0x00, 0x00, 0x61, 0x62, 0x63 };
    EXPECT_EQ(readBytes(folder / "p.kvx"), expected);
}

TEST(ContainerFile, RoundTripsEntriesOfEveryShapeWithProgress)
{
    const fs::path folder = freshFolder("roundtrip");
    const std::vector<std::pair<std::u16string, Bytes>> items {
        { u"empty.txt", {} },
        { u"x", randomBytes(1, 2) },
        { u"dir\\exact4096.bin", randomBytes(4096 * 3, 3) },
        { u"", randomBytes(10000, 4) },
        { u"\u00e9t\u00e9\\\U0001F600.txt", randomBytes(300000, 5) },
    };
    Recorder writer;
    ASSERT_TRUE(writePackage(folder / "p.kvx", items, &writer).ok());
    // One report per 4096-byte block; an exact multiple makes no report for the final empty read.
    std::vector<std::int64_t> exact;
    for (const Report& r : writer.reports)
        if (r.operation == OpWriteFile && r.fileName == u"dir\\exact4096.bin")
            exact.push_back(r.processed);
    EXPECT_EQ(exact, (std::vector<std::int64_t> { 4096, 8192, 12288 }));
    EXPECT_EQ(writer.count(OpWriteFile), 1 + 3 + 3 + 74);
    EXPECT_GT(writer.count(OpHash), 0);

    // Read through a handle that could write, the package stays as it was.
    const Bytes written = readBytes(folder / "p.kvx");
    Recorder reader;
    const Opened opened = readPackage(folder / "p.kvx", &reader);
    ASSERT_TRUE(opened.status.ok());
    EXPECT_EQ(opened.items, items);
    EXPECT_EQ(readBytes(folder / "p.kvx"), written);
    EXPECT_EQ(reader.count(OpError), 0);
    // Names live only while their report runs; none may stay behind in the shared record.
    EXPECT_EQ(reader.record.fileName, nullptr);
    EXPECT_EQ(writer.record.fileName, nullptr);
    // Extraction reports the entry's size and name with each block.
    const Report* last = reader.last(OpExtractFile);
    ASSERT_TRUE(last);
    EXPECT_EQ(std::tie(last->total, last->processed, last->fileName),
        std::tuple(300000, 300000, u"\u00e9t\u00e9\\\U0001F600.txt"));
}

// The digest taken while writing (the engine gives the count of entries, which is wrong when a
// source is skipped) and the one given to a reader (an inner package decrypted ahead) are the
// package engine's tests: every package it makes must open, and a wrong inner digest is refused.

TEST(ContainerFile, RefusesEveryDamagedPackage)
{
    const fs::path folder = freshFolder("damaged");
    ASSERT_TRUE(
        writePackage(folder / "good.kvx", { { u"a", randomBytes(5000, 7) }, { u"b", randomBytes(100, 8) } }).ok());
    const Bytes good = readBytes(folder / "good.kvx");

    auto verdict = [&](const Bytes& bytes) {
        writeBytes(folder / "bad.kvx", bytes);
        Recorder recorder;
        const Opened opened = readPackage(folder / "bad.kvx", &recorder);
        // A refused package is always reported through OpError with the same code first.
        if (!opened.status.ok() && recorder.count(OpError) == 1) {
            EXPECT_EQ(recorder.reports.back().code, opened.status.code());
        }
        return std::make_pair(opened.status.code(), recorder.count(OpHash));
    };

    // Any change is found, in the digest itself too; a wrong magic or no entries is refused before
    // any hashing; any version is accepted when the digest matches.
    auto changed = [&](std::size_t offset, std::uint8_t mask) {
        Bytes bytes = good;
        bytes[offset] ^= mask;
        return bytes;
    };
    for (std::size_t offset : { std::size_t(20), std::size_t(24), std::size_t(28), std::size_t(40), std::size_t(60),
             good.size() / 2, good.size() - 1, std::size_t(9) })
        EXPECT_EQ(verdict(changed(offset, 0x01)).first, win::ERROR_BAD_FORMAT) << "offset " << offset;
    EXPECT_EQ(verdict(changed(1, 0x20)), std::make_pair(win::ERROR_BAD_FORMAT, 0));
    Bytes zeroCount = good;
    putU32(zeroCount.data() + 28, 0);
    EXPECT_EQ(verdict(zeroCount), std::make_pair(win::ERROR_BAD_FORMAT, 0));
    Bytes appended = good;
    appended.push_back(0);
    EXPECT_EQ(verdict(appended).first, win::ERROR_BAD_FORMAT);
    EXPECT_EQ(verdict(Bytes(good.begin(), good.end() - 10)).first, win::ERROR_BAD_FORMAT);
    EXPECT_NE(verdict(Bytes(good.begin(), good.begin() + 31)).first, 0u);
    Bytes version = good;
    putU32(version.data() + 24, 7);
    rehash(version);
    EXPECT_EQ(verdict(version).first, 0u);

    // A broken second entry empties the whole list, though the first was read.
    Bytes secondBroken = good;
    const std::size_t second = 32 + 20 + 4 + 5000;
    ASSERT_EQ(secondBroken[second], 0x6B);
    secondBroken[second] = 0;
    rehash(secondBroken);
    writeBytes(folder / "bad.kvx", secondBroken);
    const Opened opened = readPackage(folder / "bad.kvx");
    EXPECT_EQ(opened.status.code(), win::ERROR_BAD_FORMAT);
    EXPECT_TRUE(opened.items.empty());
}

TEST(ContainerFile, HostileLengthsFailWithoutReadingPastOrAllocatingHugely)
{
    const fs::path folder = freshFolder("hostile");
    auto status = [&](const Bytes& bytes) {
        writeBytes(folder / "h.kvx", bytes);
        return readPackage(folder / "h.kvx");
    };
    // An entry "a" holding "z" behind the given header fields.
    auto entry = [](std::uint32_t nameBytes, std::uint64_t size, Bytes field = { 'a', 0, 0, 0, 'z' }) {
        Bytes body = entryHeader(EntryTypeData, nameBytes, size);
        body.insert(body.end(), field.begin(), field.end());
        return body;
    };
    // A name or count near 2^32 is the hardening test's, which watches the memory it takes too.
    EXPECT_EQ(status(craftedPackage(2, entry(4, 1))).status.code(), win::ERROR_BAD_FORMAT);
    for (std::uint64_t size : { std::uint64_t(2), std::uint64_t(1) << 40, std::uint64_t(1) << 63, ~std::uint64_t(0) })
        EXPECT_EQ(status(craftedPackage(1, entry(4, size))).status.code(), win::ERROR_BAD_FORMAT) << size;

    // A name field without a terminator keeps what it holds, an odd length drops the odd byte,
    // and a zero in the middle ends the name.
    for (const auto& [body, name] : { std::pair { entry(4, 1, { 'o', 0, 'k', 0, 'z' }), u"ok" },
             std::pair { entry(3, 1, { 'o', 0, 'k', 'z' }), u"o" },
             std::pair { entry(8, 0, { 'a', 0, 0, 0, 'b', 0, 0, 0 }), u"a" } }) {
        const Opened opened = status(craftedPackage(1, body));
        ASSERT_TRUE(opened.status.ok()) << u8(name);
        EXPECT_EQ(opened.items[0].first, name);
    }
}

// A stop while a package is written, hashed or read is the package engine's test, through a whole run.

TEST(ContainerFile, SizesAndOffsetsAreSixtyFourBit)
{
    // A sparse package whose first entry is just over 4 GiB: the second entry's data lies beyond
    // every 32-bit offset, and the walk and the copy must still find it.
    const fs::path folder = freshFolder("large");
    const std::uint64_t bigSize = (std::uint64_t(1) << 32) + 7;
    const fs::path package = folder / "large.kvx";
    {
        // The header and the first entry's, a hole for its data, then the second entry whole.
        Bytes head = craftedPackage(2, entryHeader(EntryTypeData, 4, bigSize));
        const Bytes name = utf16z(u"a");
        head.insert(head.end(), name.begin(), name.end());
        const Bytes second = craftedPackage({ { EntryTypeData, u"b", { 'h', 'e', 'l', 'l', 'o' } } });
        writeBytes(package, head);
        fs::resize_file(package, head.size() + bigSize);
        std::ofstream(package, std::ios::binary | std::ios::app)
            .write(reinterpret_cast<const char*>(second.data()) + 32, static_cast<std::streamsize>(second.size()) - 32);
        // The digest over the whole, hole and all.
        ScopedFile file;
        ASSERT_TRUE(file.open(u16(package), win::OPEN_EXISTING, win::GENERIC_READ | win::GENERIC_WRITE, 3));
        ASSERT_TRUE(platform::seekFile(file.handle(), HashedRangeStart, platform::SeekFrom::Begin));
        const auto digest = hashFile(file.handle(), nullptr, nullptr);
        ASSERT_TRUE(digest);
        ASSERT_TRUE(platform::seekFile(file.handle(), 4, platform::SeekFrom::Begin));
        ASSERT_TRUE(platform::writeFile(file.handle(), digest->data(), digest->size()));
    }
    // Millions of hash reports: keep only the last.
    static std::int64_t lastHashed;
    lastHashed = 0;
    KvxUtils::UserParameter record;
    ContainerFile container;
    container.setCallback(
        [](std::uint32_t, std::int64_t, std::int64_t processed, KvxUtils::UserParameter*) {
            lastHashed = processed;
            return 1;
        },
        &record);
    ASSERT_TRUE(container.openForRead(openReadWrite(package)).ok());
    ContainerEntryList entries;
    ASSERT_TRUE(container.readEntries(entries).ok());
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(static_cast<std::uint64_t>(entries[0].size()), bigSize);
    EXPECT_GT(entries[1].dataOffset(), std::int64_t(1) << 32);
    ScopedFile target;
    ASSERT_TRUE(target.open(u16(folder / "b"), win::CREATE_ALWAYS, win::GENERIC_READ | win::GENERIC_WRITE, 3));
    ASSERT_TRUE(entries[1].extractTo(target.handle()).ok());
    target.close();
    EXPECT_EQ(readBytes(folder / "b"), (Bytes { 'h', 'e', 'l', 'l', 'o' }));
    // The last hash report covers the whole file less the first 20 bytes, far above 4 GiB.
    EXPECT_EQ(lastHashed, static_cast<std::int64_t>(fs::file_size(package)) - 20);
    container.close();
}
