// The option table and its parser. GNU habits: short and long forms, "--opt=N" and "--opt N",
// "-dN" and "-d N", "--" ending the options. To add an option: add its field to CliRequest, a row
// to kOptions with the commands it applies to, its value name and help text, and a handler that
// stores the value (returning what is wrong with it, or nothing).
#include "cli/cli_options.hpp"

#include <algorithm>
#include <string_view>

#include "cli/cli_numbers.hpp"
#include "drivers/constant_runs.hpp"

namespace zx {
namespace {

const CliConstant kCliConstants[] = {
    {"pi", &kPiRun, {"chudnovsky", "ramanujan"}},
    {"log2", &kLog2Run, {"machin1", "machin2"}},
    {"log10", &kLog10Run, {"machin1", "machin2"}},
    {"zeta3", &kZeta3Run, {"formula2", "formula1"}},
    {"catalan", &kCatalanRun, {"lupas", "logseries"}},
    {"euler", &kEulerRun, {"refined", "plain"}},
};

constexpr unsigned kForRun = 1;
constexpr unsigned kForView = 2;
constexpr unsigned kForTruncate = 4;
constexpr unsigned kForAll = 0xff;

unsigned CommandBit(CliCommand command) {
  switch (command) {
    case CliCommand::kRun:
      return kForRun;
    case CliCommand::kView:
      return kForView;
    case CliCommand::kTruncate:
      return kForTruncate;
    default:
      return 0;
  }
}

using OptionHandler = std::string (*)(CliRequest& request, const std::string& value);

struct CliOption {
  char shortName;         // 0: long form only
  const char* longName;
  const char* valueName;  // null: a flag
  unsigned commands;      // the commands that accept it
  const char* help;       // continuation lines start with "\n"
  OptionHandler apply;
};

std::string StoreCount(const std::string& value, uint64_t* count, bool* given) {
  const std::string problem = ParseCount(value, count);
  if (given != nullptr) *given = true;
  return problem.empty() ? "" : "'" + value + "' is " + problem;
}

const CliOption kOptions[] = {
    {'d', "digits", "N", kForRun | kForTruncate,
     "decimal digits: 1000000, 1e6, 1M or 2.5G (k, M, G\n"
     "are 10^3, 10^6, 10^9), 20 to 31,025,009,034; euler:\n"
     "the first size-table row with at least N digits;\n"
     "truncate: the digits after the point to keep",
     [](CliRequest& r, const std::string& v) { return StoreCount(v, &r.digitCount, &r.digitsGiven); }},
    {'a', "algorithm", "NAME", kForRun,
     "the menu's algorithm 1 or 2, by number or name:\n"
     "pi chudnovsky, ramanujan; log2, log10 machin1,\n"
     "machin2; zeta3 formula2, formula1; catalan lupas,\n"
     "logseries; euler refined, plain (default: 1)",
     [](CliRequest& r, const std::string& v) {
       r.algorithm = v;
       return std::string();
     }},
    {0, "verify", nullptr, kForRun,
     "Compute and Verify: both algorithms, their files\n"
     "compared digit for digit",
     [](CliRequest& r, const std::string&) {
       r.verify = true;
       return std::string();
     }},
    {'t', "threads", "N", kForRun,
     "a power of two from 1 to 64 (default: the largest\n"
     "power of two not above the processor count)",
     [](CliRequest& r, const std::string& v) { return StoreCount(v, &r.threadCount, &r.threadsGiven); }},
    {0, "swap", "DIR", kForRun,
     "Basic Disk Swapping, scratch files in DIR; repeat\n"
     "for more disks. Allowed at any size (the menu offers\n"
     "it from 5,000,000 digits), needed past 3,220,714,136",
     [](CliRequest& r, const std::string& v) {
       r.swapDirectories.push_back(v);
       return std::string();
     }},
    {'o', "output", "DIR", kForRun, "where the digit files go (default: here)",
     [](CliRequest& r, const std::string& v) {
       r.outputDirectory = v;
       return std::string();
     }},
    {0, "euler-size", "K", kForRun, "euler: row K of the menu's size table (10 to 33)",
     [](CliRequest& r, const std::string& v) { return StoreCount(v, &r.eulerRow, &r.eulerSizeGiven); }},
    {'q', "quiet", nullptr, kForRun,
     "no progress and no run lines, only the summary (a\n"
     "failure's lines still go to standard error)",
     [](CliRequest& r, const std::string&) {
       r.quiet = true;
       return std::string();
     }},
    {0, "json", nullptr, kForRun,
     "the summary as one JSON object; the run's lines go\n"
     "to standard error",
     [](CliRequest& r, const std::string&) {
       r.json = true;
       return std::string();
     }},
    {0, "from", "N", kForView, "view: the first digit after the point (default 1)",
     [](CliRequest& r, const std::string& v) { return StoreCount(v, &r.fromDigit, nullptr); }},
    {0, "count", "N", kForView, "view: digits to show, 1 to 10,000 (default 50)",
     [](CliRequest& r, const std::string& v) { return StoreCount(v, &r.viewDigits, nullptr); }},
    {'h', "help", nullptr, kForAll, "this text",
     [](CliRequest& r, const std::string&) {
       r.help = true;
       return std::string();
     }},
    {'V', "version", nullptr, kForAll, "the version",
     [](CliRequest& r, const std::string&) {
       r.version = true;
       return std::string();
     }},
};

const CliOption* FindLong(std::string_view name) {
  for (const CliOption& option : kOptions) {
    if (name == option.longName) return &option;
  }
  return nullptr;
}

const CliOption* FindShort(char name) {
  for (const CliOption& option : kOptions) {
    if (option.shortName != 0 && option.shortName == name) return &option;
  }
  return nullptr;
}

const char* CommandName(CliCommand command) {
  switch (command) {
    case CliCommand::kView:
      return "view";
    case CliCommand::kCompare:
      return "compare";
    case CliCommand::kTruncate:
      return "truncate";
    default:
      return "a constant run";
  }
}

size_t OperandCount(CliCommand command) {
  switch (command) {
    case CliCommand::kView:
      return 1;
    case CliCommand::kCompare:
    case CliCommand::kTruncate:
      return 2;
    default:
      return 0;
  }
}

// Reads the command word; false when it names nothing.
bool ReadCommand(const std::string& word, CliRequest& request) {
  request.constant = FindCliConstant(word);
  if (request.constant != nullptr) {
    request.command = CliCommand::kRun;
  } else if (word == "view") {
    request.command = CliCommand::kView;
  } else if (word == "compare") {
    request.command = CliCommand::kCompare;
  } else if (word == "truncate") {
    request.command = CliCommand::kTruncate;
  } else {
    return false;
  }
  return true;
}

}  // namespace

const CliConstant* FindCliConstant(const std::string& name) {
  for (const CliConstant& constant : kCliConstants) {
    if (name == constant.name) return &constant;
  }
  return nullptr;
}

CliParse ParseCommandLine(int argc, char** argv) {
  CliParse parse;
  CliRequest& request = parse.request;
  int at = 1;
  if (at < argc && argv[at][0] != '-') {
    if (!ReadCommand(argv[at], request)) {
      parse.error = "unknown constant or command '" + std::string(argv[at]) + "'";
      return parse;
    }
    ++at;
  }
  bool optionsEnded = false;
  for (; at < argc; ++at) {
    const std::string arg = argv[at];
    if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
      request.operands.push_back(arg);
      continue;
    }
    if (arg == "--") {
      optionsEnded = true;
      continue;
    }
    // The option, its name as typed, and its value when attached ("--digits=5", "-d5").
    const CliOption* option = nullptr;
    std::string typed;
    std::string value;
    bool attached = false;
    if (arg[1] == '-') {
      const size_t equals = arg.find('=');
      typed = arg.substr(0, equals);
      option = FindLong(std::string_view(typed).substr(2));
      attached = equals != std::string::npos;
      if (attached) value = arg.substr(equals + 1);
    } else {
      typed = arg.substr(0, 2);
      option = FindShort(arg[1]);
      attached = arg.size() > 2;
      if (attached) value = arg.substr(2);
    }
    if (option == nullptr) {
      parse.error = "unknown option '" + typed + "'";
      return parse;
    }
    if (request.command == CliCommand::kNone && option->commands != kForAll) {
      parse.error = "a constant or command must come before '" + typed + "'";
      return parse;
    }
    if ((option->commands & CommandBit(request.command)) == 0 && option->commands != kForAll) {
      parse.error = "option '" + typed + "' does not apply to " + CommandName(request.command);
      return parse;
    }
    if (option->valueName == nullptr && attached) {
      parse.error = "option '" + typed + "' takes no value";
      return parse;
    }
    if (option->valueName != nullptr && !attached) {
      if (at + 1 >= argc) {
        parse.error = "option '" + typed + "' needs a value (" + option->valueName + ")";
        return parse;
      }
      value = argv[++at];
    }
    const std::string problem = option->apply(request, value);
    if (!problem.empty()) {
      parse.error = "option '" + typed + "': " + problem;
      return parse;
    }
  }
  if (request.help || request.version) return parse;
  if (request.command == CliCommand::kNone) {
    parse.error = "no constant or command given";
  } else if (request.operands.size() != OperandCount(request.command)) {
    parse.error = request.operands.size() > OperandCount(request.command)
                      ? "unexpected argument '" + request.operands.back() + "'"
                      : std::string(CommandName(request.command)) + " needs " +
                            std::to_string(OperandCount(request.command)) + " file name(s)";
  }
  return parse;
}

std::string HelpText() {
  std::string text =
      "Usage: zentrix                            the interactive menu\n"
      "       zentrix CONSTANT -d N [options]    pi, log2, log10, zeta3, catalan, euler\n"
      "       zentrix view FILE [--from N] [--count N]\n"
      "       zentrix compare FILE FILE          exit code 0: the files are identical\n"
      "       zentrix truncate FILE OUTFILE -d N\n"
      "\n"
      "Options:\n";
  constexpr size_t kHelpColumn = 24;
  for (const CliOption& option : kOptions) {
    std::string line = option.shortName != 0 ? std::string("  -") + option.shortName + ", "
                                             : std::string("      ");
    line += std::string("--") + option.longName;
    if (option.valueName != nullptr) line += std::string(" ") + option.valueName;
    line.resize(std::max(line.size() + 1, kHelpColumn), ' ');
    for (const char c : std::string_view(option.help)) {
      line += c;
      if (c == '\n') line += std::string(kHelpColumn, ' ');
    }
    text += line + "\n";
  }
  text +=
      "\n"
      "The files are those the menu writes (\"Pi - Dec - Chudnovsky.txt\" and so on).\n"
      "The summary on standard output names the settings, the seconds of each stage,\n"
      "the heap reserved and its peak, each file with its SHA-256 (as sha256sum prints\n"
      "it) and the verify result. Progress lines appear only on a terminal.\n"
      "Exit codes: 0 success, 1 a failed run or a verify mismatch, 2 a usage error.\n";
  return text;
}

}  // namespace zx
