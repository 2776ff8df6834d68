// What a run checks before it reserves memory or computes anything: that the current directory
// takes the digit files and the swap disks take the swap files, with room for both. A run of
// billions of digits that fails at its last step has wasted days, so a shortfall is reported up
// front, one line, and the run waits for the user to make room.
#pragma once

#include <cstdint>
#include <string>

#include "shell/disk_list.hpp"

namespace zx {

// Bytes a run writes and scratches, and where.
struct RunRoom {
  std::string outputDirectory;      // "" is the current directory
  uint64_t outputBytes = 0;         // all digit files of the run together
  const DiskList* disks = nullptr;  // null: no swap disks
  uint64_t swapBytes = 0;           // the swap files, striped evenly over the disks
};

// The first shortfall as one line (with its line end), or "" when the run can go ahead.
std::string RunRoomProblem(const RunRoom& room);
// Reports each shortfall and waits through the retry pause until there is none; at the end of
// input the program ends.
void AwaitRunRoom(const RunRoom& room);

// The bytes of a digit file of digitCount digits: the digits, the integer part and the point.
uint64_t DigitFileBytes(uint64_t digitCount);

}  // namespace zx
