// Passes of the outer transform and their parallel form: a pass task runs `count` independent
// sub-transforms, and with a thread budget t it hands half of them to a new thread (budget t − 1)
// and does the other half itself, recursively. All memory is inside the one transform allocation:
// each thread works in its own scratch block, found from the task's block by its place in the
// halving, so no thread allocates and no two threads share a block.
#pragma once

#include <cstdint>

#include "multiply/hybrid/hybrid_pointwise.hpp"
#include "multiply/hybrid/hybrid_recombine.hpp"
#include "multiply/hybrid/hybrid_transform.hpp"

namespace zx {

// Exponents of the two-level split of a length-2^k transform: the first pass runs 2^outer
// transforms of 2^inner points, the second 2^inner transforms of 2^outer points.
struct HybridSplit {
  uint32_t innerExponent;
  uint32_t outerExponent;
};
HybridSplit HybridSplitFor(uint32_t k, uint64_t ringWords, uint32_t threadExponent);

// Bytes of one thread's scratch block: two spare elements and the pointwise scratch.
uint64_t HybridScratchBlockBytes(uint64_t strideWords, const HybridPointwise& pointwise);

// The operand an untouched forward transform reads its elements from: element g is words
// [g·s, (g + 1)·s) of it, zero-extended.
struct HybridSource {
  const uint32_t* words = nullptr;
  uint64_t lengthWords = 0;
  uint64_t pieceWords = 0;
};

struct HybridPassTask {
  HybridBuffer buffer;
  HybridSpan span;             // sub-transform 0
  uint64_t spanDistance = 0;   // from one sub-transform's first element to the next one's
  uint64_t count = 1;          // independent sub-transforms
  uint8_t* scratch = nullptr;  // the first of this task's 2^threadExponent scratch blocks
  uint64_t scratchBlockBytes = 0;
  uint32_t threadExponent = 0;
  const HybridSource* source = nullptr;  // forward passes: load the elements first
  const HybridBuffer* partner = nullptr;         // forward passes: a second transform alongside
  const HybridSource* partnerSource = nullptr;   // and the operand it loads from
  const HybridFinish* finish = nullptr;  // the last inverse pass: scale and check after it
};

void HybridForwardPass(const HybridPassTask& task);
void HybridInversePass(const HybridPassTask& task);

// The second pass of a whole product: forward sub-transforms of a (and b, when not squaring),
// the pointwise products, and the inverse sub-transforms of a, each sub-transform finishing all
// three while it is in cache.
void HybridRowPass(const HybridPassTask& task, const HybridBuffer* b,
                   const HybridPointwise& pointwise);

}  // namespace zx
