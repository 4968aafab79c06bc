#pragma once
// Helpers of the crypto tests: an own profile per test group, and the openssl command-line tool as
// an independent second implementation to check our output against.

#include <sys/wait.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/TestSupport.h"
#include "crypto/CertificateStore.h"
#include "platform/Profile.h"

namespace crypto_tests {

namespace fs = std::filesystem;

inline std::string shellArg(const fs::path& path)
{
    std::string out = "'";
    for (char c : path.string()) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

// Runs a shell command, its output discarded unless `output` is given; returns the exit status.
inline int run(const std::string& command, std::string* output = nullptr)
{
    FILE* pipe = ::popen((command + " 2>/dev/null").c_str(), "r");
    if (!pipe)
        return -1;
    char buffer[4096];
    std::size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) {
        if (output)
            output->append(buffer, got);
    }
    const int status = ::pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Points the program at a new, empty profile and forgets the open store.
inline fs::path useFreshProfile(const std::string& hint)
{
    const fs::path folder = testing_support::freshFolder(hint);
    platform::setProfileDirectory(testing_support::u16(folder));
    closeCertificateStore();
    return folder;
}

// A small self-signed certificate made by openssl, for contacts whose private key the program
// never needs. Returns the PEM certificate's path; the key lies beside it as "<stem>.key".
inline fs::path opensslCertificate(const fs::path& folder, const std::string& stem, const std::string& subject)
{
    const fs::path cert = folder / (stem + ".pem");
    const std::string command = "openssl req -utf8 -x509 -newkey rsa:1024 -nodes -days 2 -subj " + shellArg(subject)
        + " -keyout " + shellArg(folder / (stem + ".key")) + " -out " + shellArg(cert);
    return run(command) == 0 ? cert : fs::path();
}

}  // namespace crypto_tests
