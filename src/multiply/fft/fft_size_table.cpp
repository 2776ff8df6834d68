// The size table and the choice of a row for a product.
#include "multiply/fft/fft_size_table.hpp"

#include "shell/fatal.hpp"

namespace zx {
namespace {

struct Row {
  uint8_t multiplier;
  uint8_t power;
  uint8_t pointBits;
};

// L = multiplier·2^power, ascending capacity; the widths shrink as the error bound grows with L.
// Lengths 5·2^k and 7·2^k sit between the powers of two and their halves again, so that a product
// pays at most a quarter above its size instead of a half; each takes the width of the next longer
// 2^k or 3·2^k row, whose error bound covers it.
constexpr Row kRows[kFftSizeRows] = {
    {1, 6, 22},  {1, 7, 22},  {5, 5, 21},  {3, 6, 21},  {7, 5, 21},  {1, 8, 21},  {5, 6, 21},
    {3, 7, 21},  {7, 6, 21},  {1, 9, 21},  {5, 7, 20},  {3, 8, 20},  {7, 7, 20},  {1, 10, 20},
    {5, 8, 20},  {3, 9, 20},  {7, 8, 20},  {1, 11, 20}, {5, 9, 19},  {3, 10, 19}, {7, 9, 19},
    {1, 12, 19}, {5, 10, 19}, {3, 11, 19}, {7, 10, 18}, {1, 13, 18}, {5, 11, 18}, {3, 12, 18},
    {7, 11, 18}, {1, 14, 18}, {5, 12, 18}, {3, 13, 18}, {7, 12, 17}, {1, 15, 17}, {5, 13, 17},
    {3, 14, 17}, {7, 13, 17}, {1, 16, 17}, {5, 14, 17}, {3, 15, 17}, {7, 14, 16}, {1, 17, 16},
    {5, 15, 16}, {3, 16, 16}, {7, 15, 16}, {1, 18, 16}, {5, 16, 15}, {3, 17, 15}, {7, 16, 15},
    {1, 19, 15}, {5, 17, 15}, {3, 18, 15}, {7, 17, 15}, {1, 20, 15}, {5, 18, 14}, {3, 19, 14},
    {7, 18, 14}, {1, 21, 14}, {5, 19, 14}, {3, 20, 14}, {7, 19, 13}, {1, 22, 13}, {5, 20, 13},
    {3, 21, 13}, {7, 20, 13}, {1, 23, 13}, {5, 21, 13}, {3, 22, 13}, {7, 21, 13}, {1, 24, 13},
    {5, 22, 12}, {3, 23, 12}, {7, 22, 12}, {1, 25, 12}, {5, 23, 12}, {3, 24, 12}, {7, 23, 12},
    {1, 26, 12}, {5, 24, 11}, {3, 25, 11}, {7, 24, 11}, {1, 27, 11}, {5, 25, 11}, {3, 26, 11},
    {7, 25, 10}, {1, 28, 10}, {5, 26, 10}, {3, 27, 10}, {7, 26, 10}, {1, 29, 10}, {5, 27, 10},
    {3, 28, 10}, {7, 27, 9},  {1, 30, 9},
};

constexpr uint64_t RowPoints(const Row& row) {
  return uint64_t{row.multiplier} << row.power;
}

}  // namespace

uint64_t FftLengthFromCode(uint32_t code) {
  const uint32_t power = code / 4;
  switch (code & 3) {
    case 0:
      return uint64_t{1} << power;
    case 2:
      return uint64_t{3} << (power - 1);
    case 1:
      return uint64_t{5} << (power - 2);
    default:
      return uint64_t{7} << (power - 2);
  }
}

uint32_t FftCodeFromLength(uint64_t points) {
  // The odd factor 1, 3, 5 or 7 picks the code's low bits; 2^power is the rest.
  const uint64_t odd = points % 3 == 0 ? 3 : points % 5 == 0 ? 5 : points % 7 == 0 ? 7 : 1;
  uint32_t power = 0;
  for (uint64_t rest = points / odd; rest > 1; rest >>= 1) power++;
  switch (odd) {
    case 3:
      return 4 * (power + 1) + 2;
    case 5:
      return 4 * (power + 2) + 1;
    case 7:
      return 4 * (power + 2) + 3;
    default:
      return 4 * power;
  }
}

FftSize FftSizeRow(int row) {
  const uint64_t points = RowPoints(kRows[row]);
  return FftSize{points, kRows[row].pointBits, FftCodeFromLength(points)};
}

uint64_t FftCapacityBits(int row) {
  return RowPoints(kRows[row]) * kRows[row].pointBits;
}

bool ChooseFftSize(uint64_t productBits, FftSize* size) {
  int low = 0;
  int high = kFftSizeRows;
  while (low < high) {
    const int middle = (low + high) / 2;
    if (FftCapacityBits(middle) >= productBits) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  if (low == kFftSizeRows) return false;
  *size = FftSizeRow(low);
  if ((size->pointBits & 1) != 0 && size->points * (size->pointBits - 1) >= productBits) {
    size->pointBits--;
  }
  return true;
}

void FftSizeExceeded() {
  FatalExit("Maximum FFT size Exceeded.\n\n", 1);
}

}  // namespace zx
