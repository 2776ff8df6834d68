// The out-of-core front: which products go to disk, the product's RaidFile, the choice between the
// two variants by the heap's free space, and the memory-hungry variant. Every variant works on the
// operands as TruncateOperands cuts them, so the words it keeps are the in-memory product's.
#include "multiply/out_of_core/out_of_core.hpp"

#include <algorithm>

#include "multiply/basecase/basecase.hpp"
#include "multiply/hybrid/hybrid_mul.hpp"
#include "multiply/hybrid/hybrid_tables.hpp"
#include "runtime/run_record.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

uint64_t HungryBytes(const OutOfCoreShape& s, bool square, uint32_t threadExponent) {
  const uint64_t productWords = s.la + s.lb;
  const uint32_t threads = OutOfCoreProductThreads(productWords, square, threadExponent);
  const uint64_t transformBytes = square ? HybridSquareMemoryBytes(s.la, s.t, threads)
                                         : HybridMultiplyMemoryBytes(s.la, s.lb, s.t, threads);
  const uint64_t bufferWords = s.la + (square ? 0 : s.lb) + (productWords - s.t);
  return bufferWords * sizeof(uint32_t) + 3 * kOutOfCorePieceBytes + transformBytes;
}

uint32_t* ReadWords(AllocationHeap* heap, RaidFile& file, uint64_t firstWord, uint64_t words) {
  uint32_t* buffer = AllocWords32(heap, words);
  if (buffer != nullptr) RaidFileReadRange(file, firstWord, buffer, words);
  return buffer;
}

// Reads the operands whole, multiplies them in memory and writes the product out in one transfer.
// b is null for a square.
uint64_t RunHungry(AllocationHeap* heap, RaidFile& a, RaidFile* b, const OutOfCoreShape& s,
                   RaidFile& out, uint32_t threadExponent) {
  const bool square = b == nullptr;
  const uint64_t productWords = s.la + s.lb - s.t;
  uint32_t* x = ReadWords(heap, a, s.firstA, s.la);
  uint32_t* y = square || x == nullptr ? nullptr : ReadWords(heap, *b, s.firstB, s.lb);
  uint32_t* product = AllocWords32(heap, productWords);
  uint64_t status = HungryBytes(s, square, threadExponent);
  if (x != nullptr && (square || y != nullptr) && product != nullptr) {
    const uint32_t threads = OutOfCoreProductThreads(s.la + s.lb, square, threadExponent);
    status = square ? HybridSquare(heap, x, s.la, product, s.t, threads)
                    : HybridMultiply(heap, x, s.la, y, s.lb, product, s.t, threads);
    if (status == 0) RaidFileWritePrefix(out, product, productWords);
  }
  Release(product);
  Release(y);
  Release(x);
  return status;
}

// The product's RaidFile, the variant the free space allows, and out's record.
uint64_t ProductToDisk(AllocationHeap* heap, BigInt& a, BigInt* b, BigInt& out, uint64_t t,
                       uint32_t threadExponent) {
  BigIntSetZero(out);
  const bool square = b == nullptr;
  const uint64_t la = a.length;
  const uint64_t lb = square ? la : b->length;
  const uint64_t productWords = la + lb - t;
  auto* raid = static_cast<RaidFile*>(AllocBytes(heap, sizeof(RaidFile)));
  if (raid == nullptr) FatalAllocation();
  *raid = RaidFile{};
  RaidFileCreate(heap, *raid, CurrentRun().swapDisks, productWords);

  const uint64_t hungryBytes = square ? OutOfCoreSquareMemoryBytes(la, t, threadExponent)
                                      : OutOfCoreMultiplyMemoryBytes(la, lb, t, threadExponent);
  // The general allocator (no heap) has no limit to respect.
  const bool hungry = heap == nullptr || HeapFreeSpace(heap) > hungryBytes;
  uint64_t status = 0;
  if (square) {
    status = hungry ? OutOfCoreSquareHungry(heap, *a.swap, la, *raid, t, threadExponent)
                    : OutOfCoreSquareLean(heap, *a.swap, la, *raid, t, threadExponent);
  } else {
    status = hungry ? OutOfCoreMultiplyHungry(heap, *a.swap, la, *b->swap, lb, *raid, t,
                                              threadExponent)
                    : OutOfCoreMultiplyLean(heap, *a.swap, la, *b->swap, lb, *raid, t,
                                            threadExponent);
  }
  uint32_t top = 0;
  if (status == 0) RaidFileReadRange(*raid, productWords - 1, &top, 1);
  // A zero top word (the product fell one word short) is dropped; a one-word product may vanish.
  const uint64_t length = productWords - (top == 0 ? 1 : 0);
  if (status != 0 || length == 0) {
    RaidFileDestroy(*raid);
    Release(raid);
    return status;
  }
  out.length = length;
  out.swap = raid;
  return 0;
}

bool OnDiskOnly(const BigInt& a) {
  return a.length != 0 && a.words == nullptr && a.swap != nullptr;
}

}  // namespace

bool OutOfCoreEligible(const BigInt& a, const BigInt& b) {
  if (!OnDiskOnly(a) || !OnDiskOnly(b)) return false;
  if (a.length < kOutOfCoreMinWords || b.length < kOutOfCoreMinWords) return false;
  return a.length <= kOutOfCoreMaxRatio * b.length && b.length <= kOutOfCoreMaxRatio * a.length;
}

bool OutOfCoreSquareEligible(const BigInt& a) {
  return OnDiskOnly(a) && a.length >= kOutOfCoreMinWords;
}

uint64_t OutOfCoreMultiply(AllocationHeap* heap, BigInt& a, BigInt& b, BigInt& out, uint64_t t,
                           uint32_t threadExponent) {
  if (a.length < b.length) return ProductToDisk(heap, b, &a, out, t, threadExponent);
  return ProductToDisk(heap, a, &b, out, t, threadExponent);
}

uint64_t OutOfCoreSquare(AllocationHeap* heap, BigInt& a, BigInt& out, uint64_t t,
                         uint32_t threadExponent) {
  return ProductToDisk(heap, a, nullptr, out, t, threadExponent);
}

uint32_t OutOfCoreThreads(uint32_t transformExponent, uint32_t threadExponent) {
  return transformExponent >= 3 ? std::min(transformExponent - 2, threadExponent) : 0;
}

uint32_t OutOfCoreProductThreads(uint64_t productWords, bool square, uint32_t threadExponent) {
  return OutOfCoreThreads(HybridChooseParams(productWords, square).k, threadExponent);
}

OutOfCoreShape OutOfCoreShapeFor(uint64_t la, uint64_t lb, uint64_t t) {
  const TruncatedShape cut = TruncateOperands(la, lb, t);
  return {cut.dropA, la - cut.dropA, cut.dropB, lb - cut.dropB, cut.t};
}

uint64_t OutOfCoreMultiplyHungry(AllocationHeap* heap, RaidFile& a, uint64_t la, RaidFile& b,
                                 uint64_t lb, RaidFile& out, uint64_t t, uint32_t threadExponent) {
  if (la < lb) return OutOfCoreMultiplyHungry(heap, b, lb, a, la, out, t, threadExponent);
  return RunHungry(heap, a, &b, OutOfCoreShapeFor(la, lb, t), out, threadExponent);
}

uint64_t OutOfCoreSquareHungry(AllocationHeap* heap, RaidFile& a, uint64_t n, RaidFile& out,
                               uint64_t t, uint32_t threadExponent) {
  return RunHungry(heap, a, nullptr, OutOfCoreShapeFor(n, n, t), out, threadExponent);
}

uint64_t OutOfCoreMultiplyMemoryBytes(uint64_t la, uint64_t lb, uint64_t t,
                                      uint32_t threadExponent) {
  if (la < lb) std::swap(la, lb);
  if (lb == 0 || t >= la + lb) return 0;
  return HungryBytes(OutOfCoreShapeFor(la, lb, t), false, threadExponent);
}

uint64_t OutOfCoreSquareMemoryBytes(uint64_t n, uint64_t t, uint32_t threadExponent) {
  if (n == 0 || t >= 2 * n) return 0;
  return HungryBytes(OutOfCoreShapeFor(n, n, t), true, threadExponent);
}

}  // namespace zx
