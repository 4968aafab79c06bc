#include "platform/ErrorText.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/StatusCodes.h"
#include "platform/Translate.h"
#include "platform/Utf.h"

namespace platform {

namespace {
struct Entry {
    std::uint32_t code;
    const char* text;
};

constexpr Entry Table[] = {
    {win::ERROR_INVALID_FUNCTION, QT_TRANSLATE_NOOP("ErrorText", "Incorrect function.")},
    {win::ERROR_FILE_NOT_FOUND, QT_TRANSLATE_NOOP("ErrorText", "The system cannot find the file specified.")},
    {win::ERROR_PATH_NOT_FOUND, QT_TRANSLATE_NOOP("ErrorText", "The system cannot find the path specified.")},
    {win::ERROR_TOO_MANY_OPEN_FILES, QT_TRANSLATE_NOOP("ErrorText", "The system cannot open the file because too many files are open.")},
    {win::ERROR_ACCESS_DENIED, QT_TRANSLATE_NOOP("ErrorText", "Access is denied.")},
    {win::ERROR_INVALID_HANDLE, QT_TRANSLATE_NOOP("ErrorText", "The handle is invalid.")},
    {win::ERROR_NOT_ENOUGH_MEMORY, QT_TRANSLATE_NOOP("ErrorText", "Not enough memory resources are available to process this command.")},
    {win::ERROR_BAD_FORMAT, QT_TRANSLATE_NOOP("ErrorText", "An attempt was made to load a program with an incorrect format.")},
    {win::ERROR_INVALID_DATA, QT_TRANSLATE_NOOP("ErrorText", "The data is invalid.")},
    {win::ERROR_OUTOFMEMORY, QT_TRANSLATE_NOOP("ErrorText", "Not enough memory resources are available to complete this operation.")},
    {win::ERROR_WRITE_PROTECT, QT_TRANSLATE_NOOP("ErrorText", "The media is write protected.")},
    {win::ERROR_NOT_READY, QT_TRANSLATE_NOOP("ErrorText", "The device is not ready.")},
    {win::ERROR_SEEK, QT_TRANSLATE_NOOP("ErrorText", "The drive cannot locate a specific area or track on the disk.")},
    {win::ERROR_WRITE_FAULT, QT_TRANSLATE_NOOP("ErrorText", "The system cannot write to the specified device.")},
    {win::ERROR_READ_FAULT, QT_TRANSLATE_NOOP("ErrorText", "The system cannot read from the specified device.")},
    {win::ERROR_SHARING_VIOLATION, QT_TRANSLATE_NOOP("ErrorText", "The process cannot access the file because it is being used by another process.")},
    {win::ERROR_HANDLE_EOF, QT_TRANSLATE_NOOP("ErrorText", "Reached the end of the file.")},
    {win::ERROR_HANDLE_DISK_FULL, QT_TRANSLATE_NOOP("ErrorText", "The disk is full.")},
    {win::ERROR_NOT_SUPPORTED, QT_TRANSLATE_NOOP("ErrorText", "The request is not supported.")},
    {win::ERROR_FILE_EXISTS, QT_TRANSLATE_NOOP("ErrorText", "The file exists.")},
    {win::ERROR_CANNOT_MAKE, QT_TRANSLATE_NOOP("ErrorText", "The directory or file cannot be created.")},
    {win::ERROR_INVALID_PARAMETER, QT_TRANSLATE_NOOP("ErrorText", "The parameter is incorrect.")},
    {win::ERROR_BROKEN_PIPE, QT_TRANSLATE_NOOP("ErrorText", "The pipe has been ended.")},
    {win::ERROR_DISK_FULL, QT_TRANSLATE_NOOP("ErrorText", "There is not enough space on the disk.")},
    {win::ERROR_INSUFFICIENT_BUFFER, QT_TRANSLATE_NOOP("ErrorText", "The data area passed to a system call is too small.")},
    {win::ERROR_INVALID_NAME, QT_TRANSLATE_NOOP("ErrorText", "The filename, directory name, or volume label syntax is incorrect.")},
    {win::ERROR_NEGATIVE_SEEK, QT_TRANSLATE_NOOP("ErrorText", "An attempt was made to move the file pointer before the beginning of the file.")},
    {win::ERROR_DIR_NOT_EMPTY, QT_TRANSLATE_NOOP("ErrorText", "The directory is not empty.")},
    {win::ERROR_BUSY, QT_TRANSLATE_NOOP("ErrorText", "The requested resource is in use.")},
    {win::ERROR_ALREADY_EXISTS, QT_TRANSLATE_NOOP("ErrorText", "Cannot create a file when that file already exists.")},
    {win::ERROR_FILENAME_EXCED_RANGE, QT_TRANSLATE_NOOP("ErrorText", "The filename or extension is too long.")},
    {win::ERROR_FILE_TOO_LARGE, QT_TRANSLATE_NOOP("ErrorText", "The file size exceeds the limit allowed and cannot be saved.")},
    {win::ERROR_DIRECTORY, QT_TRANSLATE_NOOP("ErrorText", "The directory name is invalid.")},
    {win::ERROR_INVALID_ADDRESS, QT_TRANSLATE_NOOP("ErrorText", "Attempt to access invalid address.")},
    {win::ERROR_ARITHMETIC_OVERFLOW, QT_TRANSLATE_NOOP("ErrorText", "Arithmetic result exceeded 32 bits.")},
    {win::ERROR_FILE_INVALID, QT_TRANSLATE_NOOP("ErrorText", "The volume for a file has been externally altered so that the opened file is no longer valid.")},
    {win::ERROR_IO_DEVICE, QT_TRANSLATE_NOOP("ErrorText", "The request could not be performed because of an I/O device error.")},
    {win::ERROR_NOT_FOUND, QT_TRANSLATE_NOOP("ErrorText", "Element not found.")},
    {win::ERROR_CANCELLED, QT_TRANSLATE_NOOP("ErrorText", "The operation was canceled by the user.")},
    {win::ERROR_TIMEOUT, QT_TRANSLATE_NOOP("ErrorText", "This operation returned because the timeout period expired.")},
    {win::ERROR_INVALID_FIELD, QT_TRANSLATE_NOOP("ErrorText", "Invalid field.")},
    {win::ERROR_CANT_ACCESS_FILE, QT_TRANSLATE_NOOP("ErrorText", "The file cannot be accessed by the system: it is not a regular file.")},
    {win::ERROR_CANT_RESOLVE_FILENAME, QT_TRANSLATE_NOOP("ErrorText", "The name of the file cannot be resolved by the system.")},
    {win::NTE_BAD_HASH, QT_TRANSLATE_NOOP("ErrorText", "Bad Hash.")},
    {win::NTE_BAD_KEY, QT_TRANSLATE_NOOP("ErrorText", "Bad Key.")},
    {win::NTE_BAD_LEN, QT_TRANSLATE_NOOP("ErrorText", "Bad Length.")},
    {win::NTE_BAD_DATA, QT_TRANSLATE_NOOP("ErrorText", "Bad Data.")},
    {win::NTE_NO_KEY, QT_TRANSLATE_NOOP("ErrorText", "Key does not exist.")},
    {win::NTE_BAD_KEYSET, QT_TRANSLATE_NOOP("ErrorText", "Your private key can't be read: its file in the profile's keys folder is damaged or belongs to another certificate.")},
    {win::NTE_FAIL, QT_TRANSLATE_NOOP("ErrorText", "An internal error occurred.")},
    {win::CRYPT_E_RECIPIENT_NOT_FOUND, QT_TRANSLATE_NOOP("ErrorText", "The enveloped-data message does not contain the specified recipient.")},
    {win::CRYPT_E_NOT_FOUND, QT_TRANSLATE_NOOP("ErrorText", "Cannot find object or property.")},
    {win::CRYPT_E_BAD_ENCODE, QT_TRANSLATE_NOOP("ErrorText", "An error occurred during encode or decode operation.")},
    {win::CRYPT_E_NO_MATCH, QT_TRANSLATE_NOOP("ErrorText", "Cannot find the requested object.")},
    {win::CRYPT_E_UNEXPECTED_MSG_TYPE, QT_TRANSLATE_NOOP("ErrorText", "The cryptographic message is not of the expected type.")},
    {win::CRYPT_E_INVALID_X500_STRING, QT_TRANSLATE_NOOP("ErrorText", "The string contains an invalid X500 name attribute key, object identifier, value or delimiter.")},
    {win::CRYPT_E_ASN1_BADTAG, QT_TRANSLATE_NOOP("ErrorText", "ASN1 bad tag value met.")},
};
}  // namespace

std::u16string errorText(std::uint32_t code)
{
    if (code == 0)
        return {};
    for (const Entry& entry : Table) {
        if (entry.code == code)
            return translated("ErrorText", entry.text);
    }
    if ((code & 0xFFFF0000u) == win::ERRNO_FALLBACK_BASE) {
        char buffer[256];
        const char* text = strerror_r(static_cast<int>(code & 0xFFFF), buffer, sizeof buffer);
        return fromUtf8(std::string(text) + ".");
    }
    char hex[16];
    std::snprintf(hex, sizeof hex, "%08X", code);
    return translated("ErrorText", QT_TRANSLATE_NOOP("ErrorText", "Unknown error 0x%1."), {fromUtf8(hex)});
}

std::u16string userText(std::uint32_t code)
{
    if (code == win::ERROR_BAD_FORMAT || code == win::NTE_BAD_HASH)
        return translated("ErrorText", InvalidPackageText);
    if (code == win::CRYPT_E_RECIPIENT_NOT_FOUND)
        return translated("ErrorText", NotARecipientText);
    return errorText(code);
}

}  // namespace platform
