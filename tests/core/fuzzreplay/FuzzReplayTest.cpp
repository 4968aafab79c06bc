// Every seed of the fuzz targets and every input that once made one fail goes through the same
// entry point again, under the sanitizers of this build.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "FuzzEntries.h"

namespace fs = std::filesystem;

TEST(FuzzReplay, SeedsAndRegressionsPassEveryReader)
{
    int replayed = 0;
    for (const std::string target : {"container", "encrypted", "keyblob", "envelope", "certificate", "config", "recipients"}) {
        const fuzzing::Entry entry = fuzzing::entryFor(target);
        ASSERT_NE(entry, nullptr) << target;
        for (const fs::path& folder : {fs::path(HALVOREN_SOURCE_DIR) / "fuzz" / "corpus" / target,
                                      fs::path(HALVOREN_SOURCE_DIR) / "tests" / "data" / "regressions" / target}) {
            if (!fs::is_directory(folder))
                continue;
            for (const auto& file : fs::directory_iterator(folder)) {
                std::ifstream in(file.path(), std::ios::binary);
                const std::string bytes {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
                SCOPED_TRACE(file.path().string());
                entry(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
                ++replayed;
            }
        }
    }
    // Each target has seeds; an empty replay would prove nothing.
    EXPECT_GE(replayed, 6);
}
