#pragma once
// Per-user key containers: one private key per container name, kept as an unencrypted PKCS#8 PEM
// file in the profile's key folder. Like a per-user key container elsewhere, the key is protected
// by the account alone: the folder is 0700 and each file is 0600 from the moment it exists.

#include <string>

typedef struct evp_pkey_st EVP_PKEY;

namespace platform {

// "<profile>/keys/", made 0700 if missing; empty with the last error set if it cannot be made.
std::u16string keyFolder();

// The file name a container name maps to. Every name (slashes, dots, blanks, any script, empty)
// gives a distinct name that is safe as one path component.
std::u16string keyContainerFileName(const std::u16string& containerName);

// Full path of the container's file; empty if the key folder cannot be made.
std::u16string keyContainerPath(const std::u16string& containerName);

// Replaces the container's key atomically. The key is never written anywhere else.
bool storePrivateKey(const std::u16string& containerName, EVP_PKEY* key);

// The container's key, or null (ERROR_FILE_NOT_FOUND for no container, NTE_BAD_KEYSET for a file
// that holds no usable key). The caller frees it with EVP_PKEY_free.
EVP_PKEY* loadPrivateKey(const std::u16string& containerName);

}  // namespace platform
