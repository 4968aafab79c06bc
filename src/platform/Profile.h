#pragma once
// Where the program keeps its data: the XDG data location plus "Halvoren/", computed as Qt's
// GenericDataLocation does on Linux, so that the GUI and the command-line tool share one profile.

#include <string>
#include <string_view>

namespace platform {

// The name of the profile folder below the data location; the program's name.
inline constexpr std::u16string_view ProfileFolderName = u"Halvoren";

// Replaces the profile folder for this process (the command line's --profile, tests).
// An empty path returns to the default.
void setProfileDirectory(const std::u16string& folder);

}  // namespace platform

// The profile folder with a trailing separator; created 0700 (that one level) if it is missing.
std::u16string dataDirectory();
