// Every test program starts in a fresh private profile and removes it at the end.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

int main(int argc, char** argv)
{
    namespace fs = std::filesystem;
    const char* base = getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/halvoren-test-XXXXXX";
    if (!mkdtemp(pattern.data()))
        return 2;
    const fs::path root(pattern);
    fs::create_directories(root / "data");
    fs::create_directories(root / "config");
    fs::create_directories(root / "tmp");
    fs::create_directories(root / "home");
    setenv("HALVOREN_TEST_SANDBOX", root.c_str(), 1);
    setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
    setenv("TMPDIR", (root / "tmp").c_str(), 1);
    setenv("HOME", (root / "home").c_str(), 1);

    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    if (!getenv("HALVOREN_KEEP_SANDBOX")) {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
    return result;
}
