// File Compare: how many bytes two files share from the start. Unlike the verify runs' comparison
// it counts every byte, the leading digit and the point included, and works on any two files.
#include "shell/console.hpp"
#include "shell/console_input.hpp"
#include "shell/fatal.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"
#include "tools/digit_files.hpp"
#include "tools/digit_tools.hpp"

namespace zx {

uint64_t FileCompareReport(const std::string& firstPath, const std::string& secondPath,
                           const char* lead) {
  FILE* first = OpenDigitFile(firstPath, "rb");
  FILE* second = OpenDigitFile(secondPath, "rb");
  if (first == nullptr || second == nullptr) FatalExit("Unable to open file\n");
  ConsoleWrite(lead);

  const uint64_t matchedBytes = CountMatchingBytes(first, second);
  ProgressClear();
  ConsoleWrite("Matching Bytes (from the start of files):\n");
  PrintCommas(matchedBytes, 0);
  ConsoleWrite("\n");
  std::fclose(first);
  std::fclose(second);
  return matchedBytes;
}

void FileCompare() {
  ConsoleWrite(
      "File Compare:\n\n"
      "Enter the paths of the two files (including extension):\n"
      "Path 1: ");
  const std::string firstPath = ReadPath();
  ConsoleWrite("Path 2: ");
  const std::string secondPath = ReadPath();
  FileCompareReport(firstPath, secondPath, "\n");
}

}  // namespace zx
