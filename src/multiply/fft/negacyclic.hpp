// Products of ring elements modulo 2^(32n) + 1 by the negacyclic floating-point FFT: the
// pointwise products of the hybrid transform. The n-word element is cut into L points of b bits
// with L·b = 32n exactly, and the weighted transform of the FFT path makes the convolution wrap
// round with a sign, so no padding is needed. The ring sizes offered follow one rule (below);
// the hybrid transform's parameter tables only produce sizes it accepts.
#pragma once

#include <cstdint>

namespace zx {

struct NegacyclicPlan {
  uint64_t ringWords;   // n
  uint64_t points;      // L = 2^e or 3·2^(e−1), 6 ≤ e ≤ 24
  uint32_t pointBits;   // b, 12 ≤ b ≤ min(20, the FFT table's b for length 2L)
  uint32_t lengthCode;  // the FFT size table's code of L
};

// The table: for every L ≤ 2^24 and b of the rule, n = L·b/32; each n keeps the row of smallest
// L; rows sorted by n (186 rows, from 24 words at L = 64 to 6,291,456 words at L = 2^24).
uint64_t NegacyclicTableRows();
NegacyclicPlan NegacyclicTableRow(uint64_t row);
// The row for ring size n; false when n is not in the table.
bool NegacyclicPlanFor(uint64_t ringWords, NegacyclicPlan* plan);
bool NegacyclicRingSizeAvailable(uint64_t ringWords);
// The row of the shortest transform among the rings of at least minWords words; false beyond the
// table.
bool NegacyclicPlanAtLeast(uint64_t minWords, NegacyclicPlan* plan);

// Scratch doubles (16-byte aligned) of a product: two transform arrays of L doubles, L points,
// and 64 bytes of alignment slack, so 5L/2 + 8; a square needs one array: 3L/2 + 8.
uint64_t NegacyclicScratchDoubles(const NegacyclicPlan& plan);
uint64_t NegacyclicSquareScratchDoubles(const NegacyclicPlan& plan);

// Builds the twiddle tables of the plan's length (process-wide). Call it before the threads that
// use the plan start; afterwards any number of threads may run products of that length.
void PrepareNegacyclic(const NegacyclicPlan& plan);

// a, b: reduced elements of n + 1 words (top word 0, or 1 only for 2^(32n)). out (n + 1 words,
// may alias a or b) = a·b mod 2^(32n) + 1, reduced. A misaligned scratch stops the program with
// "Invalid Data Alignment: FFT Multiplication".
void NegacyclicMultiply(const NegacyclicPlan& plan, const uint32_t* a, const uint32_t* b,
                        uint32_t* out, double* scratch);
void NegacyclicSquare(const NegacyclicPlan& plan, const uint32_t* a, uint32_t* out,
                      double* scratch);

}  // namespace zx
