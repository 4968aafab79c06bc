#pragma once
// One entry point for each reader of untrusted bytes. libFuzzer drives them in the fuzz build;
// the normal tests replay the seed corpus and every input that once crashed through the same
// functions.

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzzing {

// Makes the private scratch profile (and, for the envelope, the identity) once per process.
void prepare();

void container(const std::uint8_t* data, std::size_t size);
// The bytes as the inner package of an encrypted package for the fuzz profile's own identity.
void encryptedPackage(const std::uint8_t* data, std::size_t size);
void keyBlob(const std::uint8_t* data, std::size_t size);
void envelope(const std::uint8_t* data, std::size_t size);
void certificate(const std::uint8_t* data, std::size_t size);
void configStore(const std::uint8_t* data, std::size_t size);
void recipientsStore(const std::uint8_t* data, std::size_t size);

// The entry point for a target's name ("container", "keyblob", ...), or null.
using Entry = void (*)(const std::uint8_t*, std::size_t);
Entry entryFor(const std::string& target);

}  // namespace fuzzing
