// The checks group the demands by file system, as the disks, the output directory or both may
// share one: each file system must hold the sum of what is put on it.
#include "drivers/run_checks.hpp"

#include <vector>

#include "runtime/platform.hpp"
#include "shell/console.hpp"
#include "shell/number_print.hpp"

namespace zx {
namespace {

// Integer digits and the point of a digit file, with room for the longest lead-in form.
constexpr uint64_t kLeadInBytes = 64;

struct Demand {
  std::string directory;
  uint64_t device;
  uint64_t bytes;
};

std::string Shown(const std::string& directory) {
  return directory.empty() ? "The current directory" : "\"" + directory + "\"";
}

std::string NotEnoughRoom(const Demand& demand, uint64_t freeBytes) {
  return "\nDisk Space Error: " + Shown(demand.directory) + " needs " +
         FormatBytesInText(demand.bytes) + " for this run, but has only " +
         FormatBytesInText(freeBytes) + " free.\n";
}

}  // namespace

uint64_t DigitFileBytes(uint64_t digitCount) {
  return digitCount + kLeadInBytes;
}

std::string RunRoomProblem(const RunRoom& room) {
  if (const char* problem = DirectoryProblem(room.outputDirectory)) {
    return "\nOutput Directory Error: " + Shown(room.outputDirectory) + " " + problem + ".\n";
  }
  std::vector<Demand> demands;
  const auto demand = [&demands](const std::string& directory, uint64_t bytes) {
    uint64_t device = 0;
    uint64_t inode = 0;
    FileIdentity(directory.empty() ? "." : directory.c_str(), &device, &inode);
    for (Demand& known : demands) {
      if (known.device == device) {
        known.bytes += bytes;
        return;
      }
    }
    demands.push_back({directory, device, bytes});
  };
  demand(room.outputDirectory, room.outputBytes);
  if (room.disks != nullptr) {
    // No paths means one disk at the current directory, as the swap layer takes it.
    const std::vector<std::string> disks =
        room.disks->paths.empty() ? std::vector<std::string>{""} : room.disks->paths;
    const uint64_t diskCount = disks.size();
    for (const std::string& disk : disks) {
      if (const char* problem = DirectoryProblem(disk)) {
        return "\nSwap Disk Error: " + Shown(disk) + " " + problem + ".\n";
      }
      demand(disk, (room.swapBytes + diskCount - 1) / diskCount);
    }
  }
  for (const Demand& known : demands) {
    const uint64_t freeBytes = DirectoryFreeBytes(known.directory);
    if (known.bytes > freeBytes) return NotEnoughRoom(known, freeBytes);
  }
  return "";
}

void AwaitRunRoom(const RunRoom& room) {
  for (std::string problem = RunRoomProblem(room); !problem.empty();
       problem = RunRoomProblem(room)) {
    ConsoleWrite(problem);
    AwaitRetry();
  }
}

}  // namespace zx
