#include "cli/CommandLine.h"

#include <cstring>

namespace {
// Options that take a value, and where the value goes.
std::string* valueSlot(CommandLine& line, const std::string& name, std::optional<std::string>*& detail)
{
    detail = nullptr;
    if (name == "--profile")
        return &line.profile;
    if (name == "-o" || name == "--output")
        return &line.output;
    if (name == "-C" || name == "--directory")
        return &line.folder;
    auto& d = line.details;
    if (name == "--first-name")
        detail = &d.firstName;
    else if (name == "--last-name")
        detail = &d.lastName;
    else if (name == "--organization")
        detail = &d.organization;
    else if (name == "--email")
        detail = &d.email;
    else if (name == "--comments")
        detail = &d.comments;
    return nullptr;
}
}  // namespace

bool parseCommandLine(int argc, char** argv, CommandLine& line, std::string& error)
{
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (optionsEnded || arg.empty() || arg[0] != '-' || arg == "-") {
            line.words.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg == "-h" || arg == "--help") {
            line.help = true;
            continue;
        }
        if (arg == "--version") {
            line.version = true;
            continue;
        }
        if (arg == "--skip-unreadable") {
            line.skipUnreadable = true;
            continue;
        }
        if (arg == "--self" || arg == "--plain" || arg == "--flat") {
            (arg == "--self" ? line.self : arg == "--plain" ? line.plain : line.flat) = true;
            continue;
        }
        std::string value;
        bool inlineValue = false;
        if (const auto equals = arg.find('='); arg.rfind("--", 0) == 0 && equals != std::string::npos) {
            value = arg.substr(equals + 1);
            arg = arg.substr(0, equals);
            inlineValue = true;
        }
        std::optional<std::string>* detail = nullptr;
        std::string* slot = valueSlot(line, arg, detail);
        const bool recipient = arg == "-r" || arg == "--recipient";
        if (!slot && !detail && !recipient) {
            error = "unknown option '" + arg + "'";
            return false;
        }
        if (!inlineValue) {
            if (i + 1 >= argc) {
                error = "option '" + arg + "' needs a value";
                return false;
            }
            value = argv[++i];
        }
        if (recipient)
            line.recipients.push_back(value);
        else if (detail)
            *detail = value;
        else
            *slot = value;
    }
    return true;
}
