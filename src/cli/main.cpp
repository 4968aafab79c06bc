// halvoren-cli: the package engine, stores and profile of the desktop program, for scripts,
// servers and people who live in a terminal.

#include <cstdio>
#include <string>

#include "cli/CliCommands.h"
#include "cli/CommandLine.h"
#include "crypto/CryptoSession.h"
#include "engine/AppConstants.h"
#include "platform/Utf.h"

int main(int argc, char** argv)
{
    // Before any key is read: private keys and session keys stay out of core dumps.
    initSecureHeap();
    CommandLine line;
    std::string error;
    if (!parseCommandLine(argc, argv, line, error)) {
        std::fprintf(stderr, "halvoren-cli: %s\nRun 'halvoren-cli --help' for usage.\n", error.c_str());
        return ExitUsage;
    }
    // The first line is "name version", as help2man and packagers' scripts read it.
    if (line.version && !line.help) {
        std::printf("halvoren-cli %s\n", platform::toUtf8(AppVersion).c_str());
        return ExitOk;
    }
    return runCommand(line);
}
