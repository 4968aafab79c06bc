#pragma once
// Shared helpers for the tests: every test program runs in a private temporary profile
// (XDG_DATA_HOME, XDG_CONFIG_HOME and TMPDIR point into a fresh folder) and never touches the
// real user's files.

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

// The fresh folder the whole test program runs in.
const std::filesystem::path& sandboxRoot();

// A new empty folder below the sandbox, unique per call.
std::filesystem::path freshFolder(const std::string& hint = "case");

std::u16string u16(const std::filesystem::path& path);
std::u16string u16(const std::string& utf8);
std::string u8(const std::u16string& text);

std::vector<std::uint8_t> readBytes(const std::filesystem::path& path);
void writeBytes(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes);
void writeText(const std::filesystem::path& path, const std::string& text);
std::string readText(const std::filesystem::path& path);
std::vector<std::uint8_t> randomBytes(std::size_t size, std::uint32_t seed = 1);
// Every regular file below `root`, by its path relative to `root`, with its contents.
std::map<std::string, std::vector<std::uint8_t>> treeContents(const std::filesystem::path& root);
// Lower-case hex of the bytes.
std::string hex(const std::uint8_t* bytes, std::size_t size);

// Files in $TMPDIR whose names start with "KVX": what the engine must never leave behind.
std::vector<std::filesystem::path> leftoverTempFiles();

}  // namespace testing_support
