// The FFT entries: truncation, the rectangular choice, the chunked routine and the tables.
// Cost of one product of N points: three transforms of about 4.25·(N/2)·log2(N/2) flops each,
// two for a square, plus linear packing and carrying; memory: WorkspaceBytes(L) from the heap.
#include "multiply/fft/fft_mul.hpp"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "multiply/basecase/basecase.hpp"
#include "multiply/basecase/basecase_ops.hpp"
#include "multiply/fft/fft_convolve.hpp"
#include "multiply/fft/fft_outer.hpp"
#include "multiply/fft/fft_points.hpp"
#include "multiply/fft/fft_size_table.hpp"
#include "multiply/fft/fft_twiddles.hpp"
#include "multiply/fft/negacyclic.hpp"
#include "multiply/product_check.hpp"
#include "shell/fatal.hpp"

namespace zx {
namespace {

// The self-check: residues modulo the Mersenne prime M = 2^61 − 1, where 2^k ≡ 2^(k mod 61), so
// a number in digits of any width reduces with additions and one shift per digit class. A product
// whose residue differs from its operands' was miscomputed (a rounding the size table did not
// foresee, or the hardware), and the front-end computes it again. It costs one pass over the
// operands and the points, a few percent of a transform.
constexpr uint64_t kResidueModulus = (uint64_t{1} << 61) - 1;
constexpr uint32_t kResidueBits = 61;

uint64_t FoldResidue(WordPair2 x) {
  uint64_t r = static_cast<uint64_t>(x & kResidueModulus) +
               static_cast<uint64_t>((x >> kResidueBits) & kResidueModulus) +
               static_cast<uint64_t>(x >> (2 * kResidueBits));
  r = (r & kResidueModulus) + (r >> kResidueBits);
  return r >= kResidueModulus ? r - kResidueModulus : r;
}

uint64_t MulResidues(uint64_t x, uint64_t y) {
  return FoldResidue(static_cast<WordPair2>(x) * y);
}

typedef uint64_t U64x8 __attribute__((vector_size(64)));

// The weight exponents (bits·j) mod 61 of classes j < 64, for every digit width up to 32.
struct ResidueShifts {
  uint8_t of[33][64];
};

constexpr ResidueShifts MakeResidueShifts() {
  ResidueShifts shifts{};
  for (uint32_t bits = 0; bits <= 32; ++bits) {
    for (uint32_t j = 0; j < 64; ++j) shifts.of[bits][j] = static_cast<uint8_t>(bits * j % 61);
  }
  return shifts;
}

constexpr ResidueShifts kResidueShifts = MakeResidueShifts();

// x·2^s mod M, lane by lane, for x ≤ 2^61 and s < 61: the bits that pass 2^61 come back at the
// bottom. The result stays below 2^62.
inline U64x8 ShiftModM(U64x8 x, U64x8 s) {
  return ((x << s) & kResidueModulus) + (x >> (kResidueBits - s));
}

inline U64x8 FoldModM(U64x8 x) {
  return (x & kResidueModulus) + (x >> kResidueBits);
}

// Σ digit_i·2^(bits·i) mod M. The weights repeat every 61 digits, so the digits are summed by
// class first (at most 2^32 digits of 32 bits per class stay within 64 bits): class j in lane j of
// eight 8-lane vectors, a block of 61 digits being eight widening loads (the last load's three
// digits beyond the block land in lanes 61 to 63, which are cleared before the classes are
// weighted), and the classes are weighted eight at a time.
uint64_t Residue(const uint32_t* digits, uint64_t count, uint32_t bits) {
  typedef uint32_t U32x8 __attribute__((vector_size(32)));
  typedef uint8_t U8x8 __attribute__((vector_size(8)));
  U64x8 lanes[8] = {};
  uint64_t i = 0;
  // The eighth load of a block reads up to digit i + 63, which must exist.
  for (; i + 64 <= count; i += kResidueBits) {
    for (int v = 0; v < 8; ++v) {
      U32x8 loaded;
      std::memcpy(&loaded, digits + i + 8 * v, sizeof loaded);
      lanes[v] += __builtin_convertvector(loaded, U64x8);
    }
  }
  uint64_t sums[64];
  std::memcpy(sums, lanes, sizeof sums);
  sums[61] = sums[62] = sums[63] = 0;
  for (uint32_t j = 0; i < count; ++i) {
    sums[j] += digits[i];
    j = j + 1 == kResidueBits ? 0 : j + 1;
  }
  U64x8 total = {};
  for (int v = 0; v < 8; ++v) {
    U64x8 x;
    std::memcpy(&x, sums + 8 * v, sizeof x);
    U8x8 narrow;
    std::memcpy(&narrow, kResidueShifts.of[bits] + 8 * v, sizeof narrow);
    // Two folds take a class sum to at most 2^61; each weighted class and the running total stay
    // below 2^62.
    total = FoldModM(total + ShiftModM(FoldModM(FoldModM(x)), __builtin_convertvector(narrow, U64x8)));
  }
  WordPair2 sum = 0;
  for (int lane = 0; lane < 8; ++lane) sum += total[lane];
  return FoldResidue(sum);
}

#if defined(ZX_TEST_HOOKS)
std::atomic<uint32_t> gFaultsLeft{0};

// A planted fault: one digit of the next checked product changes.
void MaybeCorrupt(uint32_t* digits) {
  if (TakePlantedFault(gFaultsLeft)) digits[0] ^= 1;
}
#else
void MaybeCorrupt(uint32_t*) {}
#endif

// kProductCheckFailed unless the digits (of `bits` bits) hold a residue of expected.
uint64_t CheckResidue(uint32_t* digits, uint64_t count, uint32_t bits, uint64_t expected) {
  MaybeCorrupt(digits);
  return Residue(digits, count, bits) == expected ? 0 : kProductCheckFailed;
}

// Unpacks words t .. t + count − 1 of the product and checks it: on the words themselves when the
// whole product is kept (a quarter of the points' bytes), else on the points.
uint64_t UnpackChecked(const FftSize& size, uint32_t* points, uint64_t t, uint32_t* out,
                       uint64_t count, uint64_t expected) {
  if (t > 0) {
    const uint64_t status = CheckResidue(points, size.points, size.pointBits, expected);
    fft::UnpackPoints(points, size.points, size.pointBits, t, out, count);
    return status;
  }
  fft::UnpackPoints(points, size.points, size.pointBits, 0, out, count);
  return CheckResidue(out, count, 32, expected);
}

// r·2^k modulo M: the residue of a digit range that starts k bits up.
uint64_t ShiftResidue(uint64_t r, uint64_t k) {
  return MulResidues(r, uint64_t{1} << (k % kResidueBits));
}

// Below this many points sharing costs more than it saves (a dozen handovers against a transform
// of about 0.2 ms).
constexpr uint64_t kShareMinPoints = uint64_t{1} << 15;

// The partner thread's help for the transforms of one length, held for a scope: with a thread
// budget and a long transform, shared steps (which run inline when the partner is busy or cannot
// be had); otherwise none.
struct PassesOf {
  PassesOf(const FftSize& size, uint32_t threadExponent) {
    if (threadExponent > 0 && size.points >= kShareMinPoints) {
      steps = BeginSharedSteps();
      on = &steps;
    }
  }
  ~PassesOf() {
    if (on != nullptr) EndSharedSteps(steps);
  }
  PassesOf(const PassesOf&) = delete;
  PassesOf& operator=(const PassesOf&) = delete;
  SharedSteps steps;
  SharedSteps* on = nullptr;
};

constexpr uint32_t kChunks = fft::kShareChunks;

// The part of a residue that chunk `chunk` of the digits contributes.
uint64_t ChunkResidue(const uint32_t* digits, uint64_t count, uint32_t bits, uint32_t chunk) {
  const fft::Range r = fft::ChunkOf(count, chunk, kChunks, 1);
  return ShiftResidue(Residue(digits + r.from, r.to - r.from, bits), r.from * bits);
}

uint64_t SumResidues(const uint64_t (&parts)[kChunks]) {
  uint64_t sum = 0;
  for (const uint64_t part : parts) sum = (sum + part) % kResidueModulus;
  return sum;
}

// An operand's residue: on shared passes formed chunk by chunk beside its packing (pass Beside()
// to the transform, read Value() after it), else at once.
struct OperandResidue {
  OperandResidue(const uint32_t* words, uint64_t count, SharedSteps* steps)
      : words(words), count(count), steps(steps) {}
  const fft::ChunkBody* Beside() {
    if (steps == nullptr) return nullptr;
    body = [this](uint32_t chunk) { parts[chunk] = ChunkResidue(words, count, 32, chunk); };
    return &body;
  }
  uint64_t Value() const {
    return steps == nullptr ? Residue(words, count, 32) : SumResidues(parts);
  }
  const uint32_t* words;
  uint64_t count;
  SharedSteps* steps;
  uint64_t parts[kChunks] = {};
  fft::ChunkBody body;
};

// UnpackChecked on shared steps when given: each chunk unpacks its words and forms its part of
// the residue.
uint64_t UnpackCheckedOn(SharedSteps* steps, const FftSize& size, uint32_t* points, uint64_t t,
                         uint32_t* out, uint64_t count, uint64_t expected) {
  if (steps == nullptr) return UnpackChecked(size, points, t, out, count, expected);
  uint64_t parts[kChunks] = {};
  RunSharedStep(*steps, kChunks, [&](uint32_t chunk) {
    if (t > 0) {
      if (chunk == 0) MaybeCorrupt(points);
      parts[chunk] = ChunkResidue(points, size.points, size.pointBits, chunk);
    }
    const fft::Range words = fft::ChunkOf(count, chunk, kChunks, 1);
    fft::UnpackPoints(points, size.points, size.pointBits, t + words.from, out + words.from,
                      words.to - words.from);
    if (t == 0) {
      if (chunk == 0) MaybeCorrupt(out);
      parts[chunk] = ChunkResidue(out, count, 32, chunk);
    }
  });
  return SumResidues(parts) == expected ? 0 : kProductCheckFailed;
}

// The product of one transform (b null: the square of a), words t .. t + count − 1 into out,
// checked; shared with the partner thread when threads are allowed and the transform is long.
uint64_t TransformProduct(const FftSize& size, const uint32_t* a, uint64_t la, const uint32_t* b,
                          uint64_t lb, const fft::Workspace& workspace, uint64_t t, uint32_t* out,
                          uint64_t count, uint32_t threadExponent) {
  const PassesOf passes(size, threadExponent);
  OperandResidue ra(a, la, passes.on);
  OperandResidue rb(b, lb, passes.on);
  [[maybe_unused]] const uint32_t top = fft::ConvolveWords(
      size, a, la, b, lb, workspace, passes.on, ra.Beside(), b == nullptr ? nullptr : rb.Beside());
  ZX_ASSERT(top == 0);
  const uint64_t expected = MulResidues(ra.Value(), b == nullptr ? ra.Value() : rb.Value());
  return UnpackCheckedOn(passes.on, size, workspace.points, t, out, count, expected);
}

FftSize SizeFor(uint64_t productBits) {
  FftSize size;
  if (!ChooseFftSize(productBits, &size)) FftSizeExceeded();
  return size;
}

using Operands = TruncatedProduct;

// The operands after truncation, the longer one first.
Operands Truncate(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb, uint64_t t) {
  if (la < lb) {
    std::swap(a, b);
    std::swap(la, lb);
  }
  return SkipTruncatedWords(a, la, b, lb, t);
}

// Operand lengths within a ratio of 4: one transform of the product's length takes them.
bool Balanced(uint64_t la, uint64_t lb) {
  return la <= 4 * lb && lb <= 4 * la;
}

// Several products on one transform length, chosen by the longest: each of the others forgoes its
// own length and pays the shared one's, which is worth it down to 0.7 of that length.
bool WorthOneLength(uint64_t productWords, const FftSize& shared) {
  return 10 * SizeFor(32 * productWords).points >= 7 * shared.points;
}

bool Chunked(const Operands& o) {
  return o.la > 4 * o.lb;
}

// The chunked routine's plan: one transform when the balanced row of the short operand is also
// the row of the whole product; else pieces of the long operand as long as that row allows.
struct ChunkPlan {
  FftSize size;
  bool whole;
  uint64_t pieceWords;
};

ChunkPlan PlanChunks(uint64_t la, uint64_t lb) {
  ChunkPlan plan{SizeFor(64 * lb), false, 0};
  FftSize whole;
  if (ChooseFftSize(32 * (la + lb), &whole) && whole.points == plan.size.points) {
    plan.size = whole;
    plan.whole = true;
  }
  plan.pieceWords = plan.size.points * plan.size.pointBits / 32 - lb;
  return plan;
}

uint64_t ChunkedScratchBytes(uint64_t la, uint64_t lb) {
  if (lb < kFftChunkMinWords) return RectangularScratchWords(la, lb) * sizeof(uint32_t);
  return fft::WorkspaceBytes(PlanChunks(la, lb).size.points);
}

void EnsureTables(uint64_t points) {
  if (!FftTwiddlesReach(points)) PrepareFftTwiddles(points);
}

// product[0..la+lb) = a·b, la ≥ lb (la > 4·lb unless memory is short), in memory of
// ChunkedScratchBytes(la, lb).
void MultiplyChunked(const uint32_t* a, uint64_t la, const uint32_t* b, uint64_t lb,
                     uint32_t* product, void* memory) {
  if (lb < kFftChunkMinWords) {
    MulRectangular(a, la, b, lb, product, static_cast<uint32_t*>(memory));
    return;
  }
  const ChunkPlan plan = PlanChunks(la, lb);
  EnsureTables(plan.size.points);
  const fft::Workspace workspace = fft::CarveWorkspace(memory, plan.size.points);
  const uint64_t total = la + lb;
  if (plan.whole) {
    [[maybe_unused]] const uint32_t top = fft::ConvolveWords(plan.size, a, la, b, lb, workspace);
    ZX_ASSERT(top == 0);
    fft::UnpackPoints(workspace.points, plan.size.points, plan.size.pointBits, 0, product, total);
    return;
  }
  fft::TransformOperand(plan.size, b, lb, workspace.first, workspace.points);
  ClearWords(product, total);
  // The second array is free once a piece's points are carried: it holds the piece's words.
  uint32_t* piece = reinterpret_cast<uint32_t*>(workspace.second);
  for (uint64_t offset = 0; offset < la;) {
    const uint64_t length = std::min(plan.pieceWords, la - offset);
    if (length < kFftChunkMinWords) {
      MulRectangular(a + offset, length, b, lb, piece, piece + length + lb);
    } else {
      [[maybe_unused]] const uint32_t top =
          fft::ConvolveWithSpectrum(plan.size, a + offset, length, workspace.first, workspace);
      ZX_ASSERT(top == 0);
      fft::UnpackPoints(workspace.points, plan.size.points, plan.size.pointBits, 0, piece,
                        length + lb);
    }
    AddWordsInto(product + offset, total - offset, piece, length + lb);
    offset += length;
  }
}

}  // namespace

uint64_t WordsResidue(const uint32_t* words, uint64_t count) {
  return Residue(words, count, 32);
}

uint64_t ResidueProduct(uint64_t x, uint64_t y) {
  return MulResidues(x, y);
}

uint64_t ResidueShifted(uint64_t r, uint64_t bits) {
  return ShiftResidue(r, bits);
}

uint64_t ResidueDifference(uint64_t x, uint64_t y) {
  return x >= y ? x - y : x + kResidueModulus - y;
}

bool FftRingWords(uint64_t minWords, uint64_t* ringWords) {
  NegacyclicPlan plan;
  if (!NegacyclicPlanAtLeast(minWords, &plan) || !FftTwiddlesReach(plan.points)) return false;
  *ringWords = plan.ringWords;
  return true;
}

uint64_t FftMultiplyRing(AllocationHeap* heap, const uint32_t* a, uint64_t la, const uint32_t* b,
                         uint64_t lb, uint64_t ringWords, uint32_t* out, uint32_t threadExponent) {
  NegacyclicPlan plan;
  if (!NegacyclicPlanFor(ringWords, &plan) || la > ringWords || lb > ringWords) {
    FatalAssertion(kImpossibleResult, "FFT Multiplication", "The ring length has no transform.");
  }
  const FftSize size{plan.points, plan.pointBits, plan.lengthCode};
  const uint64_t bytes = fft::WorkspaceBytes(size.points);
  void* memory = AllocAligned16(heap, bytes);
  if (memory == nullptr) return bytes;
  EnsureTables(size.points);
  const fft::Workspace workspace = fft::CarveWorkspace(memory, size.points);
  {
    const PassesOf passes(size, threadExponent);
    out[ringWords] = fft::ConvolveWords(size, a, la, b, lb, workspace, passes.on);
  }
  fft::UnpackPoints(workspace.points, size.points, size.pointBits, 0, out, ringWords);
  MaybeCorrupt(out);
  Release(memory);
  return 0;
}

#if defined(ZX_TEST_HOOKS)
void FftInjectFaults(uint32_t products) {
  gFaultsLeft.store(products);
}
#endif

void PrepareFftTables(uint64_t sizeWords) {
  PrepareFftTablesForProduct(2 * std::min(std::max<uint64_t>(sizeWords, 1), kFftTableMaxWords));
}

void PrepareFftTablesForProduct(uint64_t productWords) {
  PrepareFftTwiddles(SizeFor(32 * productWords).points);
}

void ReleaseFftTables() {
  ReleaseFftTwiddles();
}

bool FftTablesReach(uint64_t productWords) {
  FftSize size;
  return ChooseFftSize(32 * productWords, &size) && FftTwiddlesReach(size.points);
}

namespace {

// The scratch of the product in pieces of the longer operand: the shorter one's transform, and the
// whole product's words when some of them are cut.
uint64_t PiecesScratchBytes(const Operands& o) {
  const uint64_t productBytes = o.t > 0 ? (o.la + o.lb) * sizeof(uint32_t) : 0;
  return productBytes + ChunkedScratchBytes(o.la, o.lb);
}

}  // namespace

uint64_t FftMultiplyScratchBytes(uint64_t la, uint64_t lb, uint64_t t) {
  if (t >= la + lb) return 0;
  const Operands o = Truncate(nullptr, la, nullptr, lb, t);
  if (!Chunked(o)) return fft::WorkspaceBytes(SizeFor(32 * (o.la + o.lb)).points);
  return PiecesScratchBytes(o);
}

uint64_t FftSquareScratchBytes(uint64_t n, uint64_t t) {
  if (t >= 2 * n) return 0;
  const TruncatedShape shape = TruncateOperands(n, n, t);
  return fft::SquareWorkspaceBytes(SizeFor(64 * (n - shape.dropA)).points);
}

uint64_t FftMemoryBytes(uint64_t n) {
  if (n < kFftChunkMinWords) return 8 * n + BasecaseScratchBytes(n, n);
  return 8 * n + fft::WorkspaceBytes(SizeFor(64 * n).points);
}

uint64_t FftMultiply(AllocationHeap* heap, const uint32_t* a, uint64_t la, const uint32_t* b,
                     uint64_t lb, uint32_t* out, uint64_t t, uint32_t threadExponent) {
  if (t >= la + lb) return 0;
  const Operands o = Truncate(a, la, b, lb, t);
  const uint64_t bytes = FftMultiplyScratchBytes(la, lb, t);
  void* memory = AllocAligned16(heap, bytes);
  bool pieces = Chunked(o);
  // A heap without room for the whole product's transform may have it for the shorter operand's:
  // the longer one then goes through that transform in pieces, as a long rectangular product
  // does. For operands two to one that is about a tenth more transform work than the whole
  // product's length, and a third less than the hybrid transform would take.
  if (memory == nullptr && !pieces && 2 * o.lb <= o.la + 1 && o.lb >= kFftChunkMinWords) {
    memory = AllocAligned16(heap, PiecesScratchBytes(o));
    pieces = memory != nullptr;
  }
  if (memory == nullptr) return bytes;
  const uint64_t total = o.la + o.lb;
  uint64_t status = 0;
  if (pieces) {
    const uint64_t expected = MulResidues(Residue(o.a, o.la, 32), Residue(o.b, o.lb, 32));
    uint32_t* product = out;
    void* work = memory;
    if (o.t > 0) {
      product = static_cast<uint32_t*>(memory);
      work = product + total;
    }
    MultiplyChunked(o.a, o.la, o.b, o.lb, product, work);
    status = CheckResidue(product, total, 32, expected);
    if (o.t > 0) CopyWords(out, product + o.t, total - o.t);
  } else {
    const FftSize size = SizeFor(32 * total);
    EnsureTables(size.points);
    status = TransformProduct(size, o.a, o.la, o.b, o.lb, fft::CarveWorkspace(memory, size.points),
                              o.t, out, total - o.t, threadExponent);
  }
  Release(memory);
  return status;
}

uint64_t FftMultiplyPair(AllocationHeap* heap, const uint32_t* x, uint64_t lx,
                         PairedProduct (&pair)[2], uint32_t threadExponent) {
  TruncatedShape shape[2];
  uint64_t productWords[2];
  for (int i = 0; i < 2; i++) {
    shape[i] = TruncateOperands(lx, pair[i].ly, pair[i].t);
    const uint64_t keptX = lx - shape[i].dropA;
    const uint64_t keptY = pair[i].ly - shape[i].dropB;
    if (!Balanced(keptX, keptY)) return kPairNotShared;
    productWords[i] = keptX + keptY;
  }
  if (shape[0].dropA != shape[1].dropA) return kPairNotShared;
  const FftSize size = SizeFor(32 * std::max(productWords[0], productWords[1]));
  if (!WorthOneLength(std::min(productWords[0], productWords[1]), size)) return kPairNotShared;
  const uint64_t bytes = fft::WorkspaceBytes(size.points);
  void* memory = AllocAligned16(heap, bytes);
  if (memory == nullptr) return bytes;
  EnsureTables(size.points);
  const fft::Workspace workspace = fft::CarveWorkspace(memory, size.points);
  const uint32_t* keptX = x + shape[0].dropA;
  const uint64_t keptLx = lx - shape[0].dropA;
  {
    const PassesOf passes(size, threadExponent);
    OperandResidue rx(keptX, keptLx, passes.on);
    fft::TransformOperand(size, keptX, keptLx, workspace.first, workspace.points, passes.on,
                          rx.Beside());
    for (int i = 0; i < 2; i++) {
      const uint32_t* y = pair[i].y + shape[i].dropB;
      const uint64_t ly = pair[i].ly - shape[i].dropB;
      OperandResidue ry(y, ly, passes.on);
      [[maybe_unused]] const uint32_t top = fft::ConvolveWithSpectrum(
          size, y, ly, workspace.first, workspace, passes.on, ry.Beside());
      ZX_ASSERT(top == 0);
      const uint64_t expected = MulResidues(rx.Value(), ry.Value());
      pair[i].status = UnpackCheckedOn(passes.on, size, workspace.points, shape[i].t, pair[i].out,
                                       keptLx + ly - shape[i].t, expected);
    }
  }
  Release(memory);
  return 0;
}

uint64_t MergeSumWords(const MergeProducts& merge) {
  return std::max(merge.t1.length + merge.q2.length, merge.t2.length + merge.p1.length) + 1;
}

uint64_t FftMergeProducts(AllocationHeap* heap, MergeProducts& merge, uint32_t threadExponent) {
  const MergeWords pairs[3][2] = {{merge.t1, merge.q2}, {merge.t2, merge.p1}, {merge.q1, merge.q2}};
  uint64_t longest = 0;
  uint64_t shortest = ~uint64_t{0};
  for (int i = 0; i < 3; i++) {
    if (!Balanced(pairs[i][0].length, pairs[i][1].length)) return kPairNotShared;
    longest = std::max(longest, pairs[i][0].length + pairs[i][1].length);
    shortest = std::min(shortest, pairs[i][0].length + pairs[i][1].length);
  }
  // The sum of the two products of T takes a bit more than the longer one; its sign a second.
  const FftSize size = SizeFor(32 * longest + 2);
  if (!WorthOneLength(shortest, size)) return kPairNotShared;
  // P = P1·P2 rides on P1's spectrum when it fits the length and is not much shorter; otherwise
  // the caller forms it alone.
  const uint64_t pWords = merge.p1.length + merge.p2.length;
  merge.pDone = merge.p2.length != 0 && Balanced(merge.p1.length, merge.p2.length) &&
                pWords <= longest && WorthOneLength(pWords, size);
  const uint64_t bytes = fft::WorkspaceBytes(size.points) + size.points * sizeof(double);
  void* memory = AllocAligned16(heap, bytes);
  if (memory == nullptr) return bytes;
  EnsureTables(size.points);
  const fft::Workspace workspace = fft::CarveWorkspace(memory, size.points);
  double* t2p1 = reinterpret_cast<double*>(workspace.points + size.points);
  {
    const PassesOf passes(size, threadExponent);
    SharedSteps* on = passes.on;
    const auto residueOf = [on](const MergeWords& x) {
      return OperandResidue(x.words, x.length, on);
    };
    // P1's spectrum: T2·P1 stays in the transform domain, P = P1·P2 is finished.
    OperandResidue rp1 = residueOf(merge.p1);
    OperandResidue rt2 = residueOf(merge.t2);
    fft::TransformOperand(size, merge.p1.words, merge.p1.length, workspace.first, workspace.points,
                          on, rp1.Beside());
    fft::MultiplyWithSpectrum(size, merge.t2.words, merge.t2.length, workspace.first, t2p1,
                              workspace.points, on, rt2.Beside());
    const auto finish = [&](const MergeWords& x, const MergeWords& y, uint32_t* out, uint64_t ry) {
      OperandResidue rx = residueOf(x);
      [[maybe_unused]] const uint32_t top = fft::ConvolveWithSpectrum(
          size, x.words, x.length, workspace.first, workspace, on, rx.Beside());
      ZX_ASSERT(top == 0);
      return UnpackCheckedOn(on, size, workspace.points, 0, out, x.length + y.length,
                             MulResidues(rx.Value(), ry));
    };
    if (merge.pDone) merge.status[2] = finish(merge.p2, merge.p1, merge.p, rp1.Value());
    // Q2's spectrum: T = T1·Q2 ± T2·P1, then Q = Q1·Q2.
    OperandResidue rq2 = residueOf(merge.q2);
    OperandResidue rt1 = residueOf(merge.t1);
    fft::TransformOperand(size, merge.q2.words, merge.q2.length, workspace.first, workspace.points,
                          on, rq2.Beside());
    const uint32_t top =
        fft::ConvolveWithSpectrumAdd(size, merge.t1.words, merge.t1.length, workspace.first, t2p1,
                                     merge.subtract ? -1.0 : 1.0, workspace, on, rt1.Beside());
    const uint64_t first = MulResidues(rt1.Value(), rq2.Value());
    const uint64_t second = MulResidues(rt2.Value(), rp1.Value());
    merge.tNegative = fft::TakeMagnitude(workspace.points, size.points, size.pointBits, top);
    uint64_t expected =
        (first + (merge.subtract ? kResidueModulus - second : second)) % kResidueModulus;
    if (merge.tNegative) expected = (kResidueModulus - expected) % kResidueModulus;
    merge.status[0] =
        UnpackCheckedOn(on, size, workspace.points, 0, merge.t, MergeSumWords(merge), expected);
    merge.status[1] = finish(merge.q1, merge.q2, merge.q, rq2.Value());
  }
  Release(memory);
  return 0;
}

uint64_t FftSquare(AllocationHeap* heap, const uint32_t* a, uint64_t n, uint32_t* out, uint64_t t,
                   uint32_t threadExponent) {
  if (t >= 2 * n) return 0;
  const TruncatedShape shape = TruncateOperands(n, n, t);
  const uint64_t kept = n - shape.dropA;
  const uint64_t bytes = FftSquareScratchBytes(n, t);
  void* memory = AllocAligned16(heap, bytes);
  if (memory == nullptr) return bytes;
  const FftSize size = SizeFor(64 * kept);
  EnsureTables(size.points);
  const uint64_t status = TransformProduct(size, a + shape.dropA, kept, nullptr, 0,
                                           fft::CarveSquareWorkspace(memory, size.points), shape.t,
                                           out, 2 * kept - shape.t, threadExponent);
  Release(memory);
  return status;
}

}  // namespace zx
