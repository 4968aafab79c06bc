#pragma once
// The commands of halvoren-cli over the program's own engine, stores and profile.

#include "cli/CommandLine.h"

// Exit codes of the tool.
inline constexpr int ExitOk = 0;
inline constexpr int ExitFailed = 1;
inline constexpr int ExitUsage = 2;
inline constexpr int ExitStopped = 130;

// Runs the command the line names; returns the exit code. Usage errors are printed here too.
int runCommand(const CommandLine& line);
