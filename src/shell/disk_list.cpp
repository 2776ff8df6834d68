#include "shell/disk_list.hpp"

namespace zx {

void AddDiskPath(DiskList& disks, const std::string& path) { disks.paths.push_back(path); }

void DiskListClear(DiskList& disks) {
  disks.paths.clear();
  disks.paths.shrink_to_fit();
}

}  // namespace zx
