#pragma once
// Where the program keeps its data: the XDG data location plus "Halvoren/", computed as Qt's
// GenericDataLocation does on Linux, so that the GUI and the command-line tool share one profile.

#include <string>

namespace platform {

// Replaces the profile folder for this process (the command line's --profile, tests).
// An empty path returns to the default.
void setProfileDirectory(const std::u16string& folder);

}  // namespace platform

// The profile folder with a trailing separator; created 0700 (that one level) if it is missing.
std::u16string dataDirectory();
std::u16string configPath();
std::u16string recipientsPath();
