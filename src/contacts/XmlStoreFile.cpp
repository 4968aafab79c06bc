#include "contacts/XmlStoreFile.h"

#include <sys/stat.h>

#include "platform/AtomicFile.h"
#include "platform/StatusCodes.h"
#include "platform/Utf.h"

namespace xmlstore {

namespace {
class StringWriter final : public pugi::xml_writer {
public:
    std::string text;
    void write(const void* data, size_t size) override { text.append(static_cast<const char*>(data), size); }
};

// The start-up creates both files empty, and pugixml 1.13 calls a file without an element a
// failure. Only a file with nothing but white space (and perhaps a byte-order mark) counts as
// empty: stray text outside any element gives the same pugixml status, and such a file must stay
// "broken" so that no save overwrites it.
bool isBlankFile(const std::u16string& path)
{
    std::string content;
    if (!platform::readWholeFile(path, content))
        return false;
    std::string_view rest(content);
    if (rest.substr(0, 3) == "\xEF\xBB\xBF")
        rest.remove_prefix(3);
    return rest.find_first_not_of(" \t\r\n") == std::string_view::npos;
}
} // namespace

EngineStatus loadDocument(
    pugi::xml_document& document, const std::u16string& path, const char* rootName, pugi::xml_node& root)
{
    root = pugi::xml_node();
    // A folder (or a device) where the file should be is a file that can't be read; the parser
    // would take its size for the length of a file and ask for all the memory there is.
    struct stat info {};
    if (::stat(platform::toUtf8(path).c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        document.reset();
        return EngineStatus(static_cast<std::uint32_t>(pugi::status_io_error), SeveritySuccess);
    }
    const pugi::xml_parse_result parsed
        = document.load_file(platform::toUtf8(path).c_str(), pugi::parse_default, pugi::encoding_auto);
    if (!parsed) {
        if (parsed.status != pugi::status_no_document_element || !isBlankFile(path)) {
            document.reset();
            return EngineStatus(static_cast<std::uint32_t>(parsed.status), SeveritySuccess);
        }
        document.reset();
    }
    root = document.child(rootName);
    if (!root)
        root = document.append_child(rootName);
    if (!root)
        return EngineStatus(win::ERROR_INVALID_FIELD, SeverityError);
    return EngineStatus();
}

bool saveDocument(const pugi::xml_document& document, const std::u16string& path)
{
    StringWriter writer;
    document.save(writer, "\t", pugi::format_indent, pugi::encoding_utf8);
    return platform::writeFileAtomically(path, writer.text, 0600);
}

std::string toXml(std::u16string_view text) { return platform::toValidUtf8(text); }

std::u16string fromXml(const char* text) { return platform::fromUtf8(text ? text : ""); }

} // namespace xmlstore
