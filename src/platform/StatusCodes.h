#pragma once
// Status codes keep the numbers of the Windows headers: the words the user sees are chosen by them,
// and packages and stores made on other platforms report the same codes.

#include <cstdint>

namespace win {

inline constexpr std::uint32_t ERROR_SUCCESS = 0;
inline constexpr std::uint32_t ERROR_INVALID_FUNCTION = 1;
inline constexpr std::uint32_t ERROR_FILE_NOT_FOUND = 2;
inline constexpr std::uint32_t ERROR_PATH_NOT_FOUND = 3;
inline constexpr std::uint32_t ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr std::uint32_t ERROR_ACCESS_DENIED = 5;
inline constexpr std::uint32_t ERROR_INVALID_HANDLE = 6;
inline constexpr std::uint32_t ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr std::uint32_t ERROR_BAD_FORMAT = 11;
inline constexpr std::uint32_t ERROR_INVALID_DATA = 13;
inline constexpr std::uint32_t ERROR_OUTOFMEMORY = 14;
inline constexpr std::uint32_t ERROR_WRITE_PROTECT = 19;
inline constexpr std::uint32_t ERROR_NOT_READY = 21;
inline constexpr std::uint32_t ERROR_SEEK = 25;
inline constexpr std::uint32_t ERROR_WRITE_FAULT = 29;
inline constexpr std::uint32_t ERROR_READ_FAULT = 30;
inline constexpr std::uint32_t ERROR_SHARING_VIOLATION = 32;
inline constexpr std::uint32_t ERROR_HANDLE_EOF = 38;
inline constexpr std::uint32_t ERROR_HANDLE_DISK_FULL = 39;
inline constexpr std::uint32_t ERROR_NOT_SUPPORTED = 50;
inline constexpr std::uint32_t ERROR_FILE_EXISTS = 80;
inline constexpr std::uint32_t ERROR_CANNOT_MAKE = 82;
inline constexpr std::uint32_t ERROR_INVALID_PARAMETER = 87;
inline constexpr std::uint32_t ERROR_BROKEN_PIPE = 109;
inline constexpr std::uint32_t ERROR_DISK_FULL = 112;
inline constexpr std::uint32_t ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr std::uint32_t ERROR_INVALID_NAME = 123;
inline constexpr std::uint32_t ERROR_NEGATIVE_SEEK = 131;
inline constexpr std::uint32_t ERROR_DIR_NOT_EMPTY = 145;
inline constexpr std::uint32_t ERROR_BUSY = 170;
inline constexpr std::uint32_t ERROR_ALREADY_EXISTS = 183;
inline constexpr std::uint32_t ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr std::uint32_t ERROR_FILE_TOO_LARGE = 223;
inline constexpr std::uint32_t ERROR_DIRECTORY = 267;
inline constexpr std::uint32_t ERROR_INVALID_ADDRESS = 487;
inline constexpr std::uint32_t ERROR_ARITHMETIC_OVERFLOW = 534;
inline constexpr std::uint32_t ERROR_FILE_INVALID = 1006;
inline constexpr std::uint32_t ERROR_IO_DEVICE = 1117;
inline constexpr std::uint32_t ERROR_NOT_FOUND = 1168;
inline constexpr std::uint32_t ERROR_CANT_ACCESS_FILE = 1920;
inline constexpr std::uint32_t ERROR_CANT_RESOLVE_FILENAME = 1921;
inline constexpr std::uint32_t ERROR_CANCELLED = 1223;
inline constexpr std::uint32_t ERROR_INVALID_FIELD = 1616;
inline constexpr std::uint32_t ERROR_TIMEOUT = 1460;

inline constexpr std::uint32_t NTE_BAD_HASH = 0x80090002;
inline constexpr std::uint32_t NTE_BAD_DATA = 0x80090005;
inline constexpr std::uint32_t NTE_BAD_KEY = 0x80090003;
inline constexpr std::uint32_t NTE_BAD_LEN = 0x80090004;
inline constexpr std::uint32_t NTE_NO_KEY = 0x8009000D;
inline constexpr std::uint32_t NTE_BAD_KEYSET = 0x80090016;
inline constexpr std::uint32_t NTE_FAIL = 0x80090020;
inline constexpr std::uint32_t CRYPT_E_RECIPIENT_NOT_FOUND = 0x8009100B;
inline constexpr std::uint32_t CRYPT_E_NOT_FOUND = 0x80092004;
inline constexpr std::uint32_t CRYPT_E_BAD_ENCODE = 0x80092002;
inline constexpr std::uint32_t CRYPT_E_ASN1_BADTAG = 0x8009310B;
inline constexpr std::uint32_t CRYPT_E_NO_MATCH = 0x80092009;
inline constexpr std::uint32_t CRYPT_E_UNEXPECTED_MSG_TYPE = 0x8009200A;
inline constexpr std::uint32_t CRYPT_E_INVALID_X500_STRING = 0x80092023;

// An errno value that the table does not know is kept, in the range Windows leaves to
// applications (bit 29), so that its text can still come from strerror.
inline constexpr std::uint32_t ERRNO_FALLBACK_BASE = 0x20000000;

}  // namespace win
