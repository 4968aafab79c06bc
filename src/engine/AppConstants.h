#pragma once
// Values that exist once in the program.

#include <string>
#include <string_view>

#include "platform/Profile.h"

inline constexpr std::u16string_view AppName = u"Halvoren";
inline constexpr std::u16string_view AppVersion = u"1.0";
inline constexpr std::u16string_view ConfigFileName = u"KvxCfg.xml";
inline constexpr std::u16string_view RecipientsFileName = u"RecipientsList.xml";
inline constexpr std::u16string_view PackageSuffix = u"kvx";
inline constexpr std::u16string_view KeySuffix = u"kvxk";
inline constexpr std::u16string_view HelpFileName = u"Halvoren.html";
inline constexpr std::u16string_view SetupMutexName = u"HalvorenSetup_8A89AD5D-9476-436C-AEB4-340D02667B2B";
inline constexpr std::u16string_view AutostartSwitch = u"--autostart";
inline constexpr std::u16string_view SupportAddress = u"support@halvoren.example";
inline constexpr std::u16string_view CrashUrl = u"https://halvoren.example/tools/crashrpt.php";
inline constexpr std::u16string_view CertificateStoreName = u"Halvoren Certificate Store";

// The profile folder is named after the program; the platform layer below us owns the name.
static_assert(AppName == platform::ProfileFolderName);

// The two XML stores in the profile folder.
std::u16string configPath();
std::u16string recipientsPath();
