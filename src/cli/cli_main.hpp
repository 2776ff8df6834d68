// The program run with arguments: a constant computed from options instead of the menu's
// questions, or one of the digit file tools. Nothing waits for a key.
#pragma once

#include <string>

namespace zx {

// Exit codes of the command line.
inline constexpr int kCliSuccess = 0;
inline constexpr int kCliFailed = 1;  // a failed run, a verify mismatch, files that differ
inline constexpr int kCliUsage = 2;

// Reads argv, checks everything that can be checked before any work, then runs. Returns the
// exit code.
int CliMain(int argc, char** argv);

// The tools' commands, after the command line has been read (cli_tools.cpp).
struct CliRequest;
int CliView(const CliRequest& request);
int CliCompare(const CliRequest& request);
int CliTruncate(const CliRequest& request);
// "zentrix: <problem>" and the hint to --help on standard error; returns kCliUsage.
int UsageError(const std::string& problem);

}  // namespace zx
