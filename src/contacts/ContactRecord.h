#pragma once
// One contact in memory: its certificate with the certificate's display name, and the details
// kept in the contacts file. Copies share the certificate object, never duplicate it.

#include <string>

#include "crypto/IdentityCertificate.h"

struct ContactRecord {
    IdentityCertificate identity;
    std::u16string name;
    std::u16string firstName;
    std::u16string lastName;
    std::u16string organization;
    std::u16string comments;
    std::u16string email;
};
