// The heap a run reserves rests on the multiplication engine's M(n, t): base(n, k, e) is the
// scratch of a run whose series forks 2^(k+e) ways, each level's products shorter but more of
// them at once. Each constant adds the words its data holds at the peak.
#pragma once

#include <cstdint>

namespace zx {

// base(n, k, e): with k = 0, M(n, 0); otherwise the largest of M(n, k) and, for j = 1..k+e,
// 2^j products of the j-th level's size (n/4 + 10, halved and padded by 10 per level) with the
// threads left at that level.
uint64_t BaseMemoryBytes(uint64_t lengthWords, uint32_t threadExponent, uint32_t extraLevels);

}  // namespace zx
