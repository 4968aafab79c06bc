#pragma once
// The command line of halvoren-cli, parsed into one record before anything is touched.

#include <optional>
#include <string>
#include <vector>

struct ContactDetailOptions {
    std::optional<std::string> firstName;
    std::optional<std::string> lastName;
    std::optional<std::string> organization;
    std::optional<std::string> email;
    std::optional<std::string> comments;
};

struct CommandLine {
    std::string profile;
    // The command words and the positional arguments, in order ("identity", "create", "Ann").
    std::vector<std::string> words;
    std::string output;
    std::string folder;
    std::vector<std::string> recipients;
    bool self = false;
    bool plain = false;
    bool flat = false;
    bool skipUnreadable = false;
    bool help = false;
    bool version = false;
    ContactDetailOptions details;
};

// Fills `line` from argv; on a malformed line returns false with `error` saying what is wrong.
bool parseCommandLine(int argc, char** argv, CommandLine& line, std::string& error);
