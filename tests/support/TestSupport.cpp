#include "TestSupport.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

#include "platform/Utf.h"

namespace testing_support {

namespace fs = std::filesystem;

const fs::path& sandboxRoot()
{
    static const fs::path root = [] {
        const char* tmp = std::getenv("HALVOREN_TEST_SANDBOX");
        return fs::path(tmp ? tmp : "/tmp");
    }();
    return root;
}

fs::path freshFolder(const std::string& hint)
{
    static std::atomic<int> counter{0};
    fs::path folder = sandboxRoot() / "cases" / (hint + "-" + std::to_string(++counter));
    fs::remove_all(folder);
    fs::create_directories(folder);
    return folder;
}

std::u16string u16(const fs::path& path) { return platform::fromUtf8(path.string()); }
std::u16string u16(const std::string& utf8) { return platform::fromUtf8(utf8); }
std::string u8(const std::u16string& text) { return platform::toUtf8(text); }

std::vector<std::uint8_t> readBytes(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeBytes(const fs::path& path, const std::vector<std::uint8_t>& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void writeText(const fs::path& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

std::string readText(const fs::path& path)
{
    const std::vector<std::uint8_t> bytes = readBytes(path);
    return std::string(bytes.begin(), bytes.end());
}

std::map<std::string, std::vector<std::uint8_t>> treeContents(const fs::path& root)
{
    std::map<std::string, std::vector<std::uint8_t>> contents;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.is_regular_file())
            contents[fs::relative(entry.path(), root).string()] = readBytes(entry.path());
    return contents;
}

std::string hex(const std::uint8_t* bytes, std::size_t size)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

std::vector<std::uint8_t> randomBytes(std::size_t size, std::uint32_t seed)
{
    std::mt19937 generator(seed);
    std::vector<std::uint8_t> bytes(size);
    for (auto& byte : bytes)
        byte = static_cast<std::uint8_t>(generator());
    return bytes;
}

std::vector<fs::path> leftoverTempFiles()
{
    std::vector<fs::path> found;
    const char* tmp = std::getenv("TMPDIR");
    if (!tmp)
        return found;
    for (const auto& entry : fs::directory_iterator(tmp)) {
        if (entry.path().filename().string().rfind("KVX", 0) == 0)
            found.push_back(entry.path());
    }
    return found;
}

}  // namespace testing_support
