// A scripted constant run: every option is checked (digits against the menu's limits, threads,
// directories) before anything is reserved or written, then the settings go through the same
// RunSettingsFor and StartRun as the menu's answers, and the summary closes the run.
#include "cli/cli_main.hpp"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <thread>

#include "cli/cli_options.hpp"
#include "cli/cli_summary.hpp"
#include "constants/euler.hpp"
#include "menus/dialogues.hpp"
#include "menus/main_menu.hpp"
#include "menus/run_settings.hpp"
#include "runtime/platform.hpp"
#include "shell/console.hpp"
#include "shell/fatal.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"
#include "tools/file_hash.hpp"

namespace zx {
namespace {

constexpr uint64_t kMaxThreads = uint64_t{1} << kMaxThreadExponent;

// Built by appending: g++ 12 warns falsely (-Wrestrict) on "'" + path.
std::string Quoted(const std::string& text) {
  std::string quoted(1, '\'');
  quoted += text;
  quoted += '\'';
  return quoted;
}

std::string ThreadProblem(uint64_t threads, uint32_t* exponent) {
  for (uint32_t k = 0; k <= kMaxThreadExponent; ++k) {
    if (threads == uint64_t{1} << k) {
      *exponent = k;
      return "";
    }
  }
  if (threads > kMaxThreads) return "thread count must be at most 64: " + std::to_string(threads);
  uint64_t below = 1;
  while (below * 2 < threads) below *= 2;
  const std::string nearest =
      threads == 0 ? "1" : std::to_string(below) + " or " + std::to_string(below * 2);
  return "thread count must be a power of two: " + std::to_string(threads) +
         " (nearest: " + nearest + ")";
}

uint32_t DefaultThreadExponent() {
  const uint64_t processors = std::thread::hardware_concurrency();
  uint32_t k = 0;
  while (k < kMaxThreadExponent && (uint64_t{2} << k) <= processors) ++k;
  return k;
}

// Menu option 0 or 1 from a number or a name; -1 when it names neither.
int AlgorithmOption(const CliConstant& constant, const std::string& typed) {
  if (typed.empty() || typed == "1") return 0;
  if (typed == "2") return 1;
  for (int option = 0; option < 2; ++option) {
    if (typed == constant.algorithmNames[option]) return option;
  }
  return -1;
}

// What one run needs beyond the request, once every check has passed.
struct CliRun {
  const CliConstant* constant = nullptr;
  int option = 0;
  DigitSettings digits;
  uint32_t row = 0;
};

std::string CheckDigits(const CliRequest& request, CliRun& run) {
  const uint64_t count = request.digitCount;
  if (run.constant->run->sizeTableMenu) {
    if (request.eulerSizeGiven && request.digitsGiven) return "give either --digits or --euler-size";
    if (request.eulerSizeGiven) {
      if (request.eulerRow < kEulerFirstRow || request.eulerRow > EulerLastRow()) {
        return "--euler-size must lie between " + std::to_string(kEulerFirstRow) + " and " +
               std::to_string(EulerLastRow()) + ": " + std::to_string(request.eulerRow);
      }
      run.row = static_cast<uint32_t>(request.eulerRow);
    } else if (request.digitsGiven) {
      run.row = count == 0 ? 0 : EulerRowForDigits(count);
      if (run.row == 0) {
        return "digits must lie between 1 and " +
               FormatCommas(EulerSizeOfRow(EulerLastRow()).decimalDigits) + " for euler: " +
               FormatCommas(count);
      }
    } else {
      return "euler needs --digits N or --euler-size K";
    }
    run.digits = DigitSettingsForRow(run.row);
    return "";
  }
  if (request.eulerSizeGiven) return "--euler-size applies to euler only";
  if (!request.digitsGiven) return std::string(run.constant->name) + " needs --digits N";
  if (count < MinDecimalDigits() || count > MaxDecimalDigits()) {
    return "digits must lie between " + FormatCommas(MinDecimalDigits()) + " and " +
           FormatCommas(MaxDecimalDigits()) + ": " + FormatCommas(count);
  }
  if (count > kRamModeMaxDigits && request.swapDirectories.empty()) {
    return "more than " + FormatCommas(kRamModeMaxDigits) + " digits need --swap DIR";
  }
  run.digits = DigitSettingsFor(count);
  return "";
}

std::string CheckRun(const CliRequest& request, CliRun& run) {
  run.constant = request.constant;
  std::string problem = CheckDigits(request, run);
  if (!problem.empty()) return problem;
  if (request.verify && !request.algorithm.empty()) {
    return "--verify runs both algorithms; leave out --algorithm";
  }
  run.option = request.verify ? kVerifyOption : AlgorithmOption(*run.constant, request.algorithm);
  if (run.option < 0) {
    return "unknown algorithm " + Quoted(request.algorithm) + " for " + run.constant->name + " (1, 2, " +
           run.constant->algorithmNames[0] + " or " + run.constant->algorithmNames[1] + ")";
  }
  run.digits.threadExponent = DefaultThreadExponent();
  if (request.threadsGiven) {
    problem = ThreadProblem(request.threadCount, &run.digits.threadExponent);
    if (!problem.empty()) return problem;
  }
  DiskList disks;
  for (const std::string& directory : request.swapDirectories) {
    if (const char* reason = DiskPathProblem(disks, directory)) {
      return "swap directory " + Quoted(directory) + " " + reason;
    }
    AddDiskPath(disks, directory);
  }
  if (!request.outputDirectory.empty()) {
    if (const char* reason = DirectoryProblem(request.outputDirectory)) {
      return "output directory " + Quoted(request.outputDirectory) + " " + reason;
    }
  }
  return "";
}

// The run's own lines: on standard output, on standard error beside a JSON summary, or held
// back when quiet. Progress lines only where a person watches them.
void RouteConsole(const CliRequest& request) {
  PauseSetWaiting(false);
  if (request.quiet) {
    ConsoleSetSink(ConsoleSink::kHeld);
    ProgressSetShown(false);
    return;
  }
  ConsoleSetSink(request.json ? ConsoleSink::kStderr : ConsoleSink::kStdout);
  ProgressSetShown(isatty(request.json ? STDERR_FILENO : STDOUT_FILENO) != 0);
}

int RunConstant(const CliRequest& request) {
  CliRun run;
  const std::string problem = CheckRun(request, run);
  if (!problem.empty()) return UsageError(problem);

  const ConstantRun& constantRun = *run.constant->run;
  const bool swapping = !request.swapDirectories.empty();
  RunSettings settings = RunSettingsFor(constantRun, run.option, run.digits, run.row,
                                        swapping ? kModeDiskSwapping : kModeRamOnly);
  DiskList disks;
  for (const std::string& directory : request.swapDirectories) AddDiskPath(disks, directory);
  if (swapping) settings.disks = &disks;
  settings.outputDirectory = request.outputDirectory;

  RouteConsole(request);
  const bool passed = StartRun(constantRun, run.option, settings);
  ConsoleSetSink(ConsoleSink::kStdout);

  RunSummary summary;
  summary.constant = run.constant->name;
  const bool verifying = run.option == kVerifyOption;
  summary.algorithm = run.constant->algorithmNames[verifying ? 0 : run.option];
  if (verifying) summary.verifyAlgorithm = run.constant->algorithmNames[1];
  summary.decimalDigits = settings.decimalDigits;
  summary.hexDigits = settings.hexDigits;
  summary.threads = 1u << settings.threadExponent;
  summary.swapDirectories = request.swapDirectories;
  summary.reservedBytes = settings.memoryBytes;
  summary.report = LastRunReport();
  for (const std::string& path : summary.report.files) summary.files.push_back({path, Sha256OfFile(path)});
  summary.passed = passed;
  ConsoleWrite(request.json ? SummaryJson(summary) : SummaryText(summary));
  ConsoleFlush();
  return passed ? kCliSuccess : kCliFailed;
}

}  // namespace

int UsageError(const std::string& problem) {
  ConsoleWriteError("zentrix: " + problem + "\nTry 'zentrix --help' for more information.\n");
  return kCliUsage;
}

int CliMain(int argc, char** argv) {
  const CliParse parse = ParseCommandLine(argc, argv);
  if (!parse.error.empty()) return UsageError(parse.error);
  const CliRequest& request = parse.request;
  if (request.help) {
    ConsoleWrite(HelpText());
    return kCliSuccess;
  }
  if (request.version) {
    ConsolePrintf("zentrix %s\n", kVersion);
    return kCliSuccess;
  }
  switch (request.command) {
    case CliCommand::kView:
      return CliView(request);
    case CliCommand::kCompare:
      return CliCompare(request);
    case CliCommand::kTruncate:
      return CliTruncate(request);
    default:
      return RunConstant(request);
  }
}

}  // namespace zx
