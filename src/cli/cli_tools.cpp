// The digit file tools from the command line: the menu tools' cores with the answers taken from
// the options. Files are checked before the tool opens them, so a missing file is a usage error
// (exit code 2) rather than the tool's own stop.
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cli/cli_main.hpp"
#include "cli/cli_options.hpp"
#include "shell/fatal.hpp"
#include "shell/progress.hpp"
#include "tools/digit_files.hpp"
#include "tools/digit_tools.hpp"

namespace zx {
namespace {

// Empty when every operand from the first count on can be read.
std::string UnreadableFile(const CliRequest& request, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const std::string& path = request.operands[i];
    FILE* file = OpenDigitFile(path, "rb");
    if (file == nullptr) {
      return "cannot read '" + path + "': " + (errno == 0 ? "not a file" : std::strerror(errno));
    }
    std::fclose(file);
  }
  return "";
}

// The tools show progress only to a person; their stops return at once.
void ToolConsole() {
  PauseSetWaiting(false);
  ProgressSetShown(isatty(STDOUT_FILENO) != 0);
}

}  // namespace

int CliView(const CliRequest& request) {
  if (request.fromDigit == 0) return UsageError("--from counts from 1");
  if (request.viewDigits == 0 || request.viewDigits > kMostViewedDigits) {
    return UsageError("--count must lie between 1 and 10,000: " + std::to_string(request.viewDigits));
  }
  const std::string problem = UnreadableFile(request, 1);
  if (!problem.empty()) return UsageError(problem);
  ToolConsole();
  DigitView view = DigitViewOpen(request.operands[0]);
  const uint64_t digitCount = view.sizeBytes - view.pointBytes;
  if (request.fromDigit > digitCount) {
    std::fclose(view.file);
    return UsageError("--from " + std::to_string(request.fromDigit) + " is past the last digit (" +
                      std::to_string(digitCount) + ")");
  }
  DigitViewShow(view, request.fromDigit, request.viewDigits);
  return kCliSuccess;
}

int CliCompare(const CliRequest& request) {
  const std::string problem = UnreadableFile(request, 2);
  if (!problem.empty()) return UsageError(problem);
  ToolConsole();
  const std::string& first = request.operands[0];
  const std::string& second = request.operands[1];
  const uint64_t matchedBytes = FileCompareReport(first, second, "");
  const bool identical = matchedBytes == FileSizeOf(first) && matchedBytes == FileSizeOf(second);
  return identical ? kCliSuccess : kCliFailed;
}

int CliTruncate(const CliRequest& request) {
  if (!request.digitsGiven || request.digitCount == 0) {
    return UsageError("truncate needs --digits N, the digits after the point to keep");
  }
  const std::string problem = UnreadableFile(request, 1);
  if (!problem.empty()) return UsageError(problem);
  const std::string& sourcePath = request.operands[0];
  const uint64_t pointBytes = DigitFilePointBytes(sourcePath);
  if (pointBytes == 0) return UsageError("no point in the first 64 bytes of '" + sourcePath + "'");
  const uint64_t digitCount = FileSizeOf(sourcePath) - pointBytes;
  if (request.digitCount > digitCount) {
    return UsageError("--digits " + std::to_string(request.digitCount) + " is more than '" +
                      sourcePath + "' holds (" + std::to_string(digitCount) + ")");
  }
  ToolConsole();
  FILE* source = OpenDigitFile(sourcePath, "rb");
  if (source == nullptr) FatalExit("Unable to open file\n");
  TruncateCopy(source, TruncateTargetOpen(sourcePath, request.operands[1]),
               pointBytes + request.digitCount);
  return kCliSuccess;
}

}  // namespace zx
