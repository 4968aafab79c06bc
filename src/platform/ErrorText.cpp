#include "platform/ErrorText.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/StatusCodes.h"
#include "platform/Utf.h"

namespace platform {

namespace {
struct Entry {
    std::uint32_t code;
    std::string_view text;
};

constexpr Entry Table[] = {
    {win::ERROR_INVALID_FUNCTION, "Incorrect function."},
    {win::ERROR_FILE_NOT_FOUND, "The system cannot find the file specified."},
    {win::ERROR_PATH_NOT_FOUND, "The system cannot find the path specified."},
    {win::ERROR_TOO_MANY_OPEN_FILES, "The system cannot open the file because too many files are open."},
    {win::ERROR_ACCESS_DENIED, "Access is denied."},
    {win::ERROR_INVALID_HANDLE, "The handle is invalid."},
    {win::ERROR_NOT_ENOUGH_MEMORY, "Not enough memory resources are available to process this command."},
    {win::ERROR_BAD_FORMAT, "An attempt was made to load a program with an incorrect format."},
    {win::ERROR_INVALID_DATA, "The data is invalid."},
    {win::ERROR_OUTOFMEMORY, "Not enough memory resources are available to complete this operation."},
    {win::ERROR_WRITE_PROTECT, "The media is write protected."},
    {win::ERROR_NOT_READY, "The device is not ready."},
    {win::ERROR_SEEK, "The drive cannot locate a specific area or track on the disk."},
    {win::ERROR_WRITE_FAULT, "The system cannot write to the specified device."},
    {win::ERROR_READ_FAULT, "The system cannot read from the specified device."},
    {win::ERROR_SHARING_VIOLATION, "The process cannot access the file because it is being used by another process."},
    {win::ERROR_HANDLE_EOF, "Reached the end of the file."},
    {win::ERROR_HANDLE_DISK_FULL, "The disk is full."},
    {win::ERROR_NOT_SUPPORTED, "The request is not supported."},
    {win::ERROR_FILE_EXISTS, "The file exists."},
    {win::ERROR_CANNOT_MAKE, "The directory or file cannot be created."},
    {win::ERROR_INVALID_PARAMETER, "The parameter is incorrect."},
    {win::ERROR_BROKEN_PIPE, "The pipe has been ended."},
    {win::ERROR_DISK_FULL, "There is not enough space on the disk."},
    {win::ERROR_INSUFFICIENT_BUFFER, "The data area passed to a system call is too small."},
    {win::ERROR_INVALID_NAME, "The filename, directory name, or volume label syntax is incorrect."},
    {win::ERROR_NEGATIVE_SEEK, "An attempt was made to move the file pointer before the beginning of the file."},
    {win::ERROR_DIR_NOT_EMPTY, "The directory is not empty."},
    {win::ERROR_BUSY, "The requested resource is in use."},
    {win::ERROR_ALREADY_EXISTS, "Cannot create a file when that file already exists."},
    {win::ERROR_FILENAME_EXCED_RANGE, "The filename or extension is too long."},
    {win::ERROR_FILE_TOO_LARGE, "The file size exceeds the limit allowed and cannot be saved."},
    {win::ERROR_DIRECTORY, "The directory name is invalid."},
    {win::ERROR_INVALID_ADDRESS, "Attempt to access invalid address."},
    {win::ERROR_ARITHMETIC_OVERFLOW, "Arithmetic result exceeded 32 bits."},
    {win::ERROR_FILE_INVALID, "The volume for a file has been externally altered so that the opened file is no longer valid."},
    {win::ERROR_IO_DEVICE, "The request could not be performed because of an I/O device error."},
    {win::ERROR_NOT_FOUND, "Element not found."},
    {win::ERROR_CANCELLED, "The operation was canceled by the user."},
    {win::ERROR_TIMEOUT, "This operation returned because the timeout period expired."},
    {win::ERROR_INVALID_FIELD, "Invalid field."},
    {win::ERROR_CANT_ACCESS_FILE, "The file cannot be accessed by the system: it is not a regular file."},
    {win::ERROR_CANT_RESOLVE_FILENAME, "The name of the file cannot be resolved by the system."},
    {win::NTE_BAD_HASH, "Bad Hash."},
    {win::NTE_BAD_KEY, "Bad Key."},
    {win::NTE_BAD_LEN, "Bad Length."},
    {win::NTE_BAD_DATA, "Bad Data."},
    {win::NTE_NO_KEY, "Key does not exist."},
    {win::NTE_BAD_KEYSET, "Your private key can't be read: its file in the profile's keys folder is damaged or belongs to another certificate."},
    {win::NTE_FAIL, "An internal error occurred."},
    {win::CRYPT_E_RECIPIENT_NOT_FOUND, "The enveloped-data message does not contain the specified recipient."},
    {win::CRYPT_E_NOT_FOUND, "Cannot find object or property."},
    {win::CRYPT_E_BAD_ENCODE, "An error occurred during encode or decode operation."},
    {win::CRYPT_E_NO_MATCH, "Cannot find the requested object."},
    {win::CRYPT_E_UNEXPECTED_MSG_TYPE, "The cryptographic message is not of the expected type."},
    {win::CRYPT_E_INVALID_X500_STRING, "The string contains an invalid X500 name attribute key, object identifier, value or delimiter."},
    {win::CRYPT_E_ASN1_BADTAG, "ASN1 bad tag value met."},
};
}  // namespace

std::u16string errorText(std::uint32_t code)
{
    if (code == 0)
        return {};
    for (const Entry& entry : Table) {
        if (entry.code == code)
            return fromUtf8(entry.text);
    }
    if ((code & 0xFFFF0000u) == win::ERRNO_FALLBACK_BASE) {
        char buffer[256];
        const char* text = strerror_r(static_cast<int>(code & 0xFFFF), buffer, sizeof buffer);
        return fromUtf8(std::string(text) + ".");
    }
    return fromUtf8("Unknown error 0x" + [code] {
        char hex[16];
        std::snprintf(hex, sizeof hex, "%08X", code);
        return std::string(hex);
    }() + ".");
}

std::u16string userText(std::uint32_t code)
{
    if (code == win::ERROR_BAD_FORMAT || code == win::NTE_BAD_HASH)
        return InvalidPackageText;
    if (code == win::CRYPT_E_RECIPIENT_NOT_FOUND)
        return NotARecipientText;
    return errorText(code);
}

}  // namespace platform
