#include "Sandbox.h"

#include <stdlib.h>

#include <string>

namespace testing_support {

namespace {
std::filesystem::path root;
}

bool enterSandbox()
{
    namespace fs = std::filesystem;
    const char* base = getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/halvoren-test-XXXXXX";
    if (!mkdtemp(pattern.data()))
        return false;
    root = pattern;
    for (const char* folder : {"data", "config", "tmp", "home"})
        fs::create_directories(root / folder);
    setenv("HALVOREN_TEST_SANDBOX", root.c_str(), 1);
    setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
    setenv("TMPDIR", (root / "tmp").c_str(), 1);
    setenv("HOME", (root / "home").c_str(), 1);
    return true;
}

void leaveSandbox()
{
    if (!root.empty() && !getenv("HALVOREN_KEEP_SANDBOX")) {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
}

}  // namespace testing_support
