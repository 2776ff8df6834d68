// The 48-row size table and the choice of a row for a product.
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
constexpr Row kRows[kFftSizeRows] = {
    {1, 6, 22},  {1, 7, 22},  {3, 6, 21},  {1, 8, 21},  {3, 7, 21},  {1, 9, 21},  {3, 8, 20},
    {1, 10, 20}, {3, 9, 20},  {1, 11, 20}, {3, 10, 19}, {1, 12, 19}, {3, 11, 19}, {1, 13, 18},
    {3, 12, 18}, {1, 14, 18}, {3, 13, 18}, {1, 15, 17}, {3, 14, 17}, {1, 16, 17}, {3, 15, 17},
    {1, 17, 16}, {3, 16, 16}, {1, 18, 16}, {3, 17, 15}, {1, 19, 15}, {3, 18, 15}, {1, 20, 15},
    {3, 19, 14}, {1, 21, 14}, {3, 20, 14}, {1, 22, 13}, {3, 21, 13}, {1, 23, 13}, {3, 22, 13},
    {1, 24, 13}, {3, 23, 12}, {1, 25, 12}, {3, 24, 12}, {1, 26, 12}, {3, 25, 11}, {1, 27, 11},
    {3, 26, 11}, {1, 28, 10}, {3, 27, 10}, {1, 29, 10}, {3, 28, 10}, {1, 30, 9},
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
  const bool threeFold = points % 3 == 0;
  uint64_t power = 0;
  for (uint64_t rest = threeFold ? points / 3 : points; rest > 1; rest >>= 1) power++;
  return threeFold ? static_cast<uint32_t>(4 * (power + 1) + 2) : static_cast<uint32_t>(4 * power);
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
