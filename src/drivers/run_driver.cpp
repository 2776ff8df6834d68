#include "drivers/run_driver.hpp"

#include <string>

#include "drivers/run_checks.hpp"
#include "multiply/fft/fft_mul.hpp"
#include "multiply/multiply.hpp"
#include "radix/digit_writers.hpp"
#include "runtime/run_record.hpp"
#include "runtime/swap_file.hpp"
#include "shell/console.hpp"
#include "shell/fatal.hpp"
#include "shell/number_print.hpp"
#include "shell/progress.hpp"
#include "tools/digit_files.hpp"

namespace zx {
namespace {

// Extra words of FFT tables beyond the precision, for the products just above it.
constexpr uint64_t kFftTableMarginWords = 100;

RunReport gReport;

struct RunTimer {
  int64_t startMillis;
  int64_t startSeconds;
};

RunTimer TimerStart() { return {ClockMillis(), ClockSeconds()}; }
double SecondsSince(const RunTimer& start) {
  return ElapsedSeconds(start.startMillis, start.startSeconds);
}

// The run-wide state a driver sets before anything else and tears down at the end.
struct RunScope {
  AllocationHeap* heap;
  RunTimer timer;
};

// The digit files go to the output directory: one pair, two in a verify run, and a verify run's
// extra value beside them.
void AwaitRoomFor(const ConstantRun& run, const RunSettings& settings, bool verify) {
  const uint64_t pairBytes =
      DigitFileBytes(settings.decimalDigits + 1) + DigitFileBytes(settings.hexDigits + 1);
  RunRoom room;
  room.outputDirectory = settings.outputDirectory;
  room.outputBytes = verify ? 2 * pairBytes : pairBytes;
  if (verify && run.extra.heading != nullptr) {
    room.outputBytes += DigitFileBytes(settings.hexDigits + 1);
  }
  if (settings.mode == 2) {
    static const DiskList kDefaultDisk;
    room.disks = settings.disks != nullptr ? settings.disks : &kDefaultDisk;
    room.swapBytes = settings.swapDiskBytes;
  }
  AwaitRunRoom(room);
}

RunScope BeginRun(const char* firstLine, const RunSettings& settings) {
  RunRecord record;
  record.multiplyThreadCap = settings.threadExponent;
  record.swapDisks = settings.mode == 2 ? settings.disks : nullptr;
  record.tableWords = settings.precisionWords + kFftTableMarginWords;
  record.sizeTableRow = settings.sizeTableRow;
  InstallRun(record);
  gReport = RunReport{};
  ConsoleWrite(firstLine);
  ConsoleWrite("Decimal Digits    :   ");
  PrintCommas(settings.decimalDigits, 0);
  ConsoleWrite("\nHexadecimal Digits:   ");
  PrintCommas(settings.hexDigits, 0);
  ConsoleWrite("\n\n");
  ConsoleWrite(settings.mode == 2 ? "Mode: Basic Disk Swapping\n\n" : "Mode: Ram Only\n\n");

  ConsoleWrite("Allocating and Reserving Memory...  \t");
  ConsoleFlush();
  auto* heap = new AllocationHeap;
  HeapCreate(nullptr, heap, settings.memoryBytes);
  PrintBytes(settings.memoryBytes);
  ConsoleWrite("\n");

  ConsoleWrite("Constructing FFT lookup tables...\n");
  ConsoleFlush();
  PrepareFftTables(record.tableWords);

  ConsoleWrite("\nBegin Computation:\n\n");
  ConsoleFlush();
  return {heap, TimerStart()};
}

void EndRun(RunScope& scope) {
  InstallRun(RunRecord{});
  gReport.totalSeconds = SecondsSince(scope.timer);
  gReport.peakBytes = HeapPeakBytes(scope.heap);
  HeapDestroy(scope.heap);
  delete scope.heap;
  ReleaseFftTables();
}

void CompactResult(BigFloat& result) {
  if (result.magnitude.words != nullptr && result.magnitude.length != 0) {
    result.magnitude.words = static_cast<uint32_t*>(HeapCompact(result.magnitude.words));
  }
}

void Compute(const ConstantRun& run, int algorithm, const RunSettings& settings, AllocationHeap* heap,
             BigFloat& result) {
  const AlgorithmRun& entry = run.algorithms[algorithm];
  const ComputeFn compute = settings.mode == 2 ? entry.swapping : entry.memory;
  compute(heap, result, settings.precisionWords, 1, settings.threadExponent);
  CompactResult(result);
}

std::string FilePath(const RunSettings& settings, const char* constantName, DigitRadix radix,
                     const char* label) {
  const std::string name = DigitFileName(constantName, radix, label);
  const std::string& directory = settings.outputDirectory;
  if (directory.empty()) return name;
  return directory.back() == '/' ? directory + name : directory + "/" + name;
}

// The path of a file about to be written, noted in the run's report.
std::string NewFilePath(const RunSettings& settings, const char* constantName, DigitRadix radix,
                        const char* label) {
  gReport.files.push_back(FilePath(settings, constantName, radix, label));
  return gReport.files.back();
}

// The extra value's file, written right after the result's hexadecimal file; the value is
// released.
double WriteExtra(const ConstantRun& run, const RunSettings& settings, AllocationHeap* heap,
                  BigFloat& extra) {
  ConsoleWrite(run.extra.heading);
  const double seconds =
      WriteHexDigits(heap, extra, settings.hexDigits + 1,
                     NewFilePath(settings, run.extra.constantName, DigitRadix::kHex, run.extra.label));
  BigFloatRelease(extra);
  return seconds;
}

// Writes both files of one result (and the extra value's between them, when given); the decimal
// writer consumes the result. Returns the writers' seconds.
double WriteResult(const ConstantRun& run, const char* label, const RunSettings& settings,
                   AllocationHeap* heap, BigFloat& result, ConversionTable& table, bool buildTable,
                   bool secondary, BigFloat* extra = nullptr) {
  ConsoleWrite("\n");
  const RunTimer hexStart = TimerStart();
  double seconds = WriteHexDigits(heap, result, settings.hexDigits + 1,
                                  NewFilePath(settings, run.constantName, DigitRadix::kHex, label));
  if (extra != nullptr) seconds += WriteExtra(run, settings, heap, *extra);
  gReport.hexSeconds += SecondsSince(hexStart);
  ConsoleWrite("\n");
  const RunTimer decimalStart = TimerStart();
  if (settings.mode == 2) BigIntSwapOut(heap, result.magnitude);
  const bool swapping = settings.mode == 2;
  if (buildTable) {
    (swapping ? BuildConversionTableSwap : BuildConversionTable)(heap, result, table,
                                                                 settings.threadExponent);
  }
  seconds += (swapping ? WriteDecimalDigitsSwap : WriteDecimalDigits)(
      heap, result, settings.decimalDigits + 1,
      NewFilePath(settings, run.constantName, DigitRadix::kDecimal, label), table, secondary,
      settings.threadExponent);
  gReport.decimalSeconds += SecondsSince(decimalStart);
  BigFloatRelease(result);
  return seconds;
}

// label and the time since start, when the constant has such a line.
void PrintTimeLine(const char* label, const RunTimer& start) {
  if (label == nullptr) return;
  ConsoleWrite(label);
  PrintSeconds(SecondsSince(start));
}

uint64_t CompareFiles(const ConstantRun& run, const RunSettings& settings, DigitRadix radix) {
  return CompareDigitFiles(FilePath(settings, run.constantName, radix, kComputationLabel),
                           FilePath(settings, run.constantName, radix, kVerificationLabel), 2);
}

}  // namespace

uint64_t LastRunPeakBytes() { return gReport.peakBytes; }
const RunReport& LastRunReport() { return gReport; }

void RunCompute(const ConstantRun& run, int algorithm, const RunSettings& settings) {
  AwaitRoomFor(run, settings, false);
  RunScope scope = BeginRun(run.computeLine, settings);
  BigFloat result;
  const RunTimer computeStart = TimerStart();
  Compute(run, algorithm, settings, scope.heap, result);
  gReport.computeSeconds = SecondsSince(computeStart);
  const char* label = run.algorithms[algorithm].fileLabel;
  ConversionTable table;
  const double writing =
      WriteResult(run, label, settings, scope.heap, result, table, true, false);
  ReleaseConversionTable(table);

  const double total = SecondsSince(scope.timer);
  ConsoleWrite("\n\nTotal Computation Time:  ");
  PrintSeconds(total - writing);
  ConsoleWrite("\nTotal Time (including writing digits):  ");
  PrintSeconds(total);
  ConsoleWrite("\n\n");
  EndRun(scope);
}

bool RunComputeAndVerify(const ConstantRun& run, const RunSettings& settings) {
  AwaitRoomFor(run, settings, true);
  RunScope scope = BeginRun(run.verifyLine, settings);
  ConversionTable table;
  BigFloat result;

  const VerifyLines& lines = run.verifyLines;
  ConsoleWrite(lines.computing != nullptr ? lines.computing : "Computing...\n\n");
  const RunTimer computeStart = TimerStart();
  BigFloat second;
  BigFloat extra;
  const bool paired = run.verifyPair.memory != nullptr;
  const bool withExtra = run.extra.heading != nullptr;
  if (paired) {
    const ComputePairFn compute = settings.mode == 2 ? run.verifyPair.swapping : run.verifyPair.memory;
    compute(scope.heap, result, second, settings.precisionWords, 1, settings.threadExponent);
    // The second result waits on the swap disks, in that mode, while the first is written.
    if (settings.mode == 2) BigIntSwapOut(scope.heap, second.magnitude);
    CompactResult(result);
  } else if (withExtra) {
    const ComputeWithExtraFn compute = settings.mode == 2 ? run.extra.swapping : run.extra.memory;
    compute(scope.heap, result, &extra, settings.precisionWords, 1, settings.threadExponent);
    CompactResult(result);
  } else {
    Compute(run, 0, settings, scope.heap, result);
  }
  gReport.computeSeconds = SecondsSince(computeStart);
  PrintTimeLine(lines.computeTime, computeStart);
  WriteResult(run, kComputationLabel, settings, scope.heap, result, table, true, false,
              withExtra ? &extra : nullptr);
  ConsoleWrite("\n");

  ConsoleWrite(lines.verifying != nullptr ? lines.verifying : "Verifying...\n\n");
  const RunTimer verifyStart = TimerStart();
  if (paired) {
    result = second;
    CompactResult(result);
  } else {
    Compute(run, 1, settings, scope.heap, result);
  }
  gReport.verifyComputeSeconds = SecondsSince(verifyStart);
  PrintTimeLine(lines.verifyTime, verifyStart);
  WriteResult(run, kVerificationLabel, settings, scope.heap, result, table, false, true);
  ConsoleWrite("\n");
  ReleaseConversionTable(table);

  const RunTimer compareStart = TimerStart();
  ConsoleWrite("Comparing Hexadecimal Digits...\n");
  const uint64_t hexMatched = CompareFiles(run, settings, DigitRadix::kHex);
  ConsoleWrite("\n");
  ConsoleWrite("Comparing Decimal Digits...\n");
  const uint64_t decimalMatched = CompareFiles(run, settings, DigitRadix::kDecimal);
  ConsoleWrite("\n");
  gReport.compareSeconds = SecondsSince(compareStart);
  gReport.hexMatched = hexMatched;
  gReport.decimalMatched = decimalMatched;
  const bool success =
      decimalMatched >= settings.decimalDigits && hexMatched >= settings.hexDigits;
  ConsoleWrite(success ? "Computation Successful\n\n" : "Computation Failed\n\n");

  ConsoleWrite("\nTotal Time (including writing digits):  ");
  PrintSeconds(SecondsSince(scope.timer));
  ConsoleWrite("\n\n");
  EndRun(scope);
  return success;
}

}  // namespace zx
