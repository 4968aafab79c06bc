#pragma once
// Every test program runs in a fresh private profile: XDG_DATA_HOME, XDG_CONFIG_HOME, TMPDIR and
// HOME point into a new temporary folder, which is removed at the end.

#include <filesystem>

namespace testing_support {

// Creates the folder and points the environment at it; false if no folder could be made.
bool enterSandbox();
// Removes the folder unless HALVOREN_KEEP_SANDBOX is set.
void leaveSandbox();

}  // namespace testing_support
