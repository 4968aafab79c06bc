#pragma once
// The settings file, KvxCfg.xml: one element per key under <Configuration>, its text the value.
// Every setter writes the whole file at once; there is no batching and no cache.

#include <pugixml.hpp>

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/EngineStatus.h"

// The keys of the settings file. None of them holds an integer.
namespace ConfigKey {
inline constexpr std::u16string_view OwnerName = u"OwnerName";
inline constexpr std::u16string_view FirstTimeMinimized = u"FirstTimeMinimized";
inline constexpr std::u16string_view DoNotMinimizeToTray = u"DoNotMinimizeToTray";
inline constexpr std::u16string_view AutomaticallyAddToRecipients = u"AutomaticallyAddToRecipients";
inline constexpr std::u16string_view DoNotCompletitionNotify = u"DoNotCompletitionNotify";
inline constexpr std::u16string_view StartOnLogin = u"StartOnLogin";
} // namespace ConfigKey

class ConfigStore {
public:
    ConfigStore() = default;
    ConfigStore(const ConfigStore&) = delete;
    ConfigStore& operator=(const ConfigStore&) = delete;

    // A file that is missing or doesn't parse gives pugixml's parse status with severity 0: the
    // store then answers defaults and refuses every change, so the file on disk stays as it is.
    EngineStatus load(const std::u16string& path);
    // Whether the last load found readable settings (an empty file counts as readable).
    bool parsed() const { return static_cast<bool>(rootElement); }
    // 1006 with SeverityError if the file can't be written.
    EngineStatus save();

    // Defaults when the key is absent, has no text, or nothing was loaded: false, 0, empty.
    bool getBool(std::u16string_view key) const;
    std::int32_t getInt(std::u16string_view key) const;
    std::u16string getString(std::u16string_view key) const;

    // True if the whole file was written with the new value.
    bool setBool(std::u16string_view key, bool value);
    bool setInt(std::u16string_view key, std::int32_t value);
    bool setString(std::u16string_view key, const std::u16string& value);

    // The first child of the root with that name, appended at the end if there is none; null
    // when nothing is loaded.
    pugi::xml_node keyNode(std::u16string_view key);

private:
    pugi::xml_text valueOf(std::u16string_view key) const;
    bool saved(bool valueSet);

    std::u16string path;
    pugi::xml_document document;
    pugi::xml_node rootElement;
};
