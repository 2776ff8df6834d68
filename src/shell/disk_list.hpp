// The disks of disk-swapping mode: directories over which scratch files are striped. The empty
// path is a valid disk and means the current directory.
#pragma once

#include <string>
#include <vector>

namespace zx {

struct DiskList {
  std::vector<std::string> paths;
};

void AddDiskPath(DiskList& disks, const std::string& path);
void DiskListClear(DiskList& disks);

}  // namespace zx
