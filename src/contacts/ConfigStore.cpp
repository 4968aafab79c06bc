#include "contacts/ConfigStore.h"

#include "contacts/XmlStoreFile.h"
#include "platform/StatusCodes.h"

namespace {
constexpr char RootName[] = "Configuration";
}

EngineStatus ConfigStore::load(const std::u16string& path)
{
    // Forget the old file first: a failed reload must not leave saves aimed at a file we could
    // not read.
    this->path.clear();
    const EngineStatus status = xmlstore::loadDocument(document, path, RootName, rootElement);
    if (rootElement)
        this->path = path;
    return status;
}

EngineStatus ConfigStore::save()
{
    if (!xmlstore::saveDocument(document, path))
        return EngineStatus(win::ERROR_FILE_INVALID, SeverityError);
    return EngineStatus();
}

pugi::xml_text ConfigStore::valueOf(std::u16string_view key) const
{
    return rootElement.child(xmlstore::toXml(key).c_str()).text();
}

bool ConfigStore::getBool(std::u16string_view key) const { return valueOf(key).as_bool(false); }

std::int32_t ConfigStore::getInt(std::u16string_view key) const { return valueOf(key).as_int(0); }

std::u16string ConfigStore::getString(std::u16string_view key) const
{
    return xmlstore::fromXml(valueOf(key).as_string());
}

pugi::xml_node ConfigStore::keyNode(std::u16string_view key)
{
    const std::string name = xmlstore::toXml(key);
    pugi::xml_node node = rootElement.child(name.c_str());
    if (!node)
        node = rootElement.append_child(name.c_str());
    return node;
}

bool ConfigStore::saved(bool valueSet)
{
    // Without a loaded file there is nowhere to write, and a file that didn't parse is never
    // overwritten.
    return valueSet && !path.empty() && save().ok();
}

bool ConfigStore::setBool(std::u16string_view key, bool value) { return saved(keyNode(key).text().set(value)); }

bool ConfigStore::setInt(std::u16string_view key, std::int32_t value) { return saved(keyNode(key).text().set(value)); }

bool ConfigStore::setString(std::u16string_view key, const std::u16string& value)
{
    return saved(keyNode(key).text().set(xmlstore::toXml(value).c_str()));
}
