// SHA-256 (FIPS 180-4) over the file in 10 MiB blocks. The portable rounds take about 4 seconds a
// gigabyte on one core, as long as a fast product of that size; on a processor with the SHA
// instructions the rounds run on them, about 0.6 seconds a gigabyte.
#include "tools/file_hash.hpp"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/digit_files.hpp"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define ZX_SHA_INSTRUCTIONS 1
#endif

namespace zx {
namespace {

constexpr std::array<uint32_t, 64> kRoundConstants = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr size_t kChunkBytes = 64;

struct Sha256 {
  std::array<uint32_t, 8> state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                   0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  uint64_t lengthBytes = 0;
};

uint32_t Rotr(uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }

void Sha256Chunk(Sha256& hash, const unsigned char* chunk) {
  uint32_t w[64];
  for (int i = 0; i < 16; ++i) {
    w[i] = uint32_t{chunk[4 * i]} << 24 | uint32_t{chunk[4 * i + 1]} << 16 |
           uint32_t{chunk[4 * i + 2]} << 8 | uint32_t{chunk[4 * i + 3]};
  }
  for (int i = 16; i < 64; ++i) {
    const uint32_t s0 = Rotr(w[i - 15], 7) ^ Rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
    const uint32_t s1 = Rotr(w[i - 2], 17) ^ Rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
    w[i] = w[i - 16] + s0 + w[i - 7] + s1;
  }
  std::array<uint32_t, 8> v = hash.state;
  for (int i = 0; i < 64; ++i) {
    const uint32_t s1 = Rotr(v[4], 6) ^ Rotr(v[4], 11) ^ Rotr(v[4], 25);
    const uint32_t choose = (v[4] & v[5]) ^ (~v[4] & v[6]);
    const uint32_t t1 = v[7] + s1 + choose + kRoundConstants[i] + w[i];
    const uint32_t s0 = Rotr(v[0], 2) ^ Rotr(v[0], 13) ^ Rotr(v[0], 22);
    const uint32_t majority = (v[0] & v[1]) ^ (v[0] & v[2]) ^ (v[1] & v[2]);
    v = {t1 + s0 + majority, v[0], v[1], v[2], v[3] + t1, v[4], v[5], v[6]};
  }
  for (int i = 0; i < 8; ++i) hash.state[i] += v[i];
}

#if defined(ZX_SHA_INSTRUCTIONS)
// The same rounds on the SHA instructions, two rounds an instruction. They keep the state as ABEF
// and CDGH, and each group of four message words is formed from the four groups before it.
__attribute__((target("sha,ssse3,sse4.1"))) void Sha256ChunksOnShaInstructions(
    Sha256& hash, const unsigned char* chunks, size_t count) {
  const __m128i byteSwap = _mm_set_epi64x(0x0c0d0e0f08090a0bLL, 0x0405060700010203LL);
  const auto* state = reinterpret_cast<const __m128i*>(hash.state.data());
  const __m128i dcba = _mm_shuffle_epi32(_mm_loadu_si128(state), 0xB1);
  const __m128i hgfe = _mm_shuffle_epi32(_mm_loadu_si128(state + 1), 0x1B);
  __m128i abef = _mm_alignr_epi8(dcba, hgfe, 8);
  __m128i cdgh = _mm_blend_epi16(hgfe, dcba, 0xF0);
  for (; count > 0; --count, chunks += kChunkBytes) {
    const __m128i abefBefore = abef;
    const __m128i cdghBefore = cdgh;
    __m128i groups[4];  // groups[g % 4]: message words 4g .. 4g + 3
    for (int g = 0; g < 16; ++g) {
      __m128i words;
      if (g < 4) {
        words = _mm_shuffle_epi8(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(chunks + 16 * g)), byteSwap);
      } else {
        const __m128i older = _mm_sha256msg1_epu32(groups[g & 3], groups[(g + 1) & 3]);
        words = _mm_sha256msg2_epu32(
            _mm_add_epi32(older, _mm_alignr_epi8(groups[(g + 3) & 3], groups[(g + 2) & 3], 4)),
            groups[(g + 3) & 3]);
      }
      groups[g & 3] = words;
      const __m128i input = _mm_add_epi32(
          words, _mm_loadu_si128(reinterpret_cast<const __m128i*>(&kRoundConstants[4 * g])));
      cdgh = _mm_sha256rnds2_epu32(cdgh, abef, input);
      abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(input, 0x0E));
    }
    abef = _mm_add_epi32(abef, abefBefore);
    cdgh = _mm_add_epi32(cdgh, cdghBefore);
  }
  const __m128i feba = _mm_shuffle_epi32(abef, 0x1B);
  const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xB1);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(&hash.state[0]), _mm_blend_epi16(feba, dchg, 0xF0));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(&hash.state[4]), _mm_alignr_epi8(dchg, feba, 8));
}
#endif

bool gPortableRoundsOnly = false;

void Sha256Chunks(Sha256& hash, const unsigned char* chunks, size_t count) {
#if defined(ZX_SHA_INSTRUCTIONS)
  static const bool shaInstructions = __builtin_cpu_supports("sha") != 0;
  if (shaInstructions && !gPortableRoundsOnly) {
    Sha256ChunksOnShaInstructions(hash, chunks, count);
    return;
  }
#endif
  for (size_t i = 0; i < count; ++i) Sha256Chunk(hash, chunks + i * kChunkBytes);
}

// Hashes the whole chunks of bytes; returns how many bytes were left over (fewer than 64).
size_t Sha256Update(Sha256& hash, const unsigned char* bytes, size_t sizeBytes) {
  const size_t done = sizeBytes / kChunkBytes * kChunkBytes;
  Sha256Chunks(hash, bytes, done / kChunkBytes);
  hash.lengthBytes += done;
  return sizeBytes - done;
}

// The tail: the leftover bytes, a 1 bit, zeros, and the length in bits in the last 8 bytes.
std::string Sha256Finish(Sha256& hash, const unsigned char* tail, size_t tailBytes) {
  const uint64_t lengthBits = (hash.lengthBytes + tailBytes) * 8;
  unsigned char last[2 * kChunkBytes] = {};
  std::memcpy(last, tail, tailBytes);
  last[tailBytes] = 0x80;
  const size_t lastBytes = tailBytes + 9 <= kChunkBytes ? kChunkBytes : 2 * kChunkBytes;
  for (int i = 0; i < 8; ++i) last[lastBytes - 1 - i] = static_cast<unsigned char>(lengthBits >> (8 * i));
  Sha256Chunks(hash, last, lastBytes / kChunkBytes);
  std::string hex;
  char digits[9];
  for (const uint32_t word : hash.state) {
    std::snprintf(digits, sizeof digits, "%08x", word);
    hex += digits;
  }
  return hex;
}

}  // namespace

std::string Sha256OfFile(const std::string& path) {
  FILE* file = OpenDigitFile(path, "rb");
  if (file == nullptr) return "";
  auto* block = static_cast<unsigned char*>(std::malloc(kDigitBlockBytes));
  if (block == nullptr) {
    std::fclose(file);
    return "";
  }
  Sha256 hash;
  size_t heldBytes = 0;  // a partial chunk carried from the end of the last block
  for (;;) {
    const size_t readBytes = std::fread(block + heldBytes, 1, kDigitBlockBytes - heldBytes, file);
    if (readBytes == 0) break;
    const size_t filled = heldBytes + readBytes;
    heldBytes = Sha256Update(hash, block, filled);
    std::memmove(block, block + filled - heldBytes, heldBytes);
  }
  const bool failed = std::ferror(file) != 0;
  std::fclose(file);
  const std::string hex = failed ? "" : Sha256Finish(hash, block, heldBytes);
  std::free(block);
  return hex;
}

#if defined(ZX_TEST_HOOKS)
void Sha256UsePortableRounds(bool portable) {
  gPortableRoundsOnly = portable;
}
#endif

}  // namespace zx
