// The command line of scripted runs: one table of options, each with its help text and the
// commands it applies to, and a parser that turns argv into a CliRequest or one error message.
// Checks that need the constant or the file system (digit limits, directories) come later, in
// CliMain; the parser only reads what was typed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "drivers/run_driver.hpp"

namespace zx {

enum class CliCommand { kNone, kRun, kView, kCompare, kTruncate };

// A constant as the command line names it, with its menu's two algorithms.
struct CliConstant {
  const char* name;  // "pi"
  const ConstantRun* run;
  const char* algorithmNames[2];  // menu options 1 and 2
};

// The constant called name; null when there is none.
const CliConstant* FindCliConstant(const std::string& name);

struct CliRequest {
  CliCommand command = CliCommand::kNone;
  const CliConstant* constant = nullptr;
  std::vector<std::string> operands;  // the files of view, compare and truncate
  bool digitsGiven = false;
  uint64_t digitCount = 0;
  std::string algorithm;  // as typed; empty: the menu's option 1
  bool verify = false;
  bool threadsGiven = false;
  uint64_t threadCount = 0;
  std::vector<std::string> swapDirectories;
  std::string outputDirectory;
  bool eulerSizeGiven = false;
  uint64_t eulerRow = 0;
  bool quiet = false;
  bool json = false;
  bool help = false;
  bool version = false;
  uint64_t fromDigit = 1;
  uint64_t viewDigits = 50;
};

struct CliParse {
  CliRequest request;
  std::string error;  // empty when the command line was read
};

CliParse ParseCommandLine(int argc, char** argv);

// The --help text, options listed from the table.
std::string HelpText();

}  // namespace zx
