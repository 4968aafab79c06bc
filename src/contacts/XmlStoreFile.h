#pragma once
// Loading and saving of the two XML stores, which differ only in the name of their root element.

#include <pugixml.hpp>

#include <string>
#include <string_view>

#include "engine/EngineStatus.h"

namespace xmlstore {

// Parses the file into `document` and finds or adds `rootName` under it. A file that can't be
// read or parsed gives pugixml's parse status with severity 0 and a null root; a root that
// can't be added gives 1616. A blank file is an empty document, not a failure.
EngineStatus loadDocument(
    pugi::xml_document& document, const std::u16string& path, const char* rootName, pugi::xml_node& root);

// Writes the whole document, tab-indented UTF-8 without a byte-order mark, to a temporary file
// beside `path` and renames it over `path`; the old file survives any failure. The last error
// tells why it failed.
bool saveDocument(const pugi::xml_document& document, const std::u16string& path);

std::string toXml(std::u16string_view text);
std::u16string fromXml(const char* text);

} // namespace xmlstore
