#include "runtime/run_record.hpp"

namespace zx {
namespace {

// Written only by the main thread between computations; workers read it.
RunRecord gCurrentRun;

}  // namespace

const RunRecord& CurrentRun() { return gCurrentRun; }

RunRecord InstallRun(const RunRecord& record) {
  const RunRecord previous = gCurrentRun;
  gCurrentRun = record;
  return previous;
}

ScopedRun::ScopedRun(const RunRecord& record) : previous(InstallRun(record)) {}

ScopedRun::~ScopedRun() { InstallRun(previous); }

}  // namespace zx
