// SHA-256 of files against sha256sum, at the lengths where the padding and the 10 MiB blocks
// change shape.
#include <gtest/gtest.h>

#include "reference_digits.hpp"
#include "test_support.hpp"
#include "tool_run.hpp"
#include "tools/file_hash.hpp"

namespace zx {
namespace {

// Both sets of rounds: the SHA instructions where the processor has them, and the portable ones.
class Sha256OfFileTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { Sha256UsePortableRounds(GetParam()); }
  void TearDown() override { Sha256UsePortableRounds(false); }
};

TEST_P(Sha256OfFileTest, AgreesWithSha256sumAtEveryBoundary) {
  const std::string dir = test::MakeTempDir("hash");
  const std::string path = dir + "/f";
  const std::string content = test::RandomDigitFile(test::kBlockBytes + 100, test::TestSeed());
  for (const uint64_t sizeBytes : {uint64_t{0}, uint64_t{3}, uint64_t{55}, uint64_t{56},
                                   uint64_t{63}, uint64_t{64}, uint64_t{65}, uint64_t{119},
                                   test::kBlockBytes - 1, test::kBlockBytes, test::kBlockBytes + 57}) {
    test::WriteFile(path, content.substr(0, sizeBytes));
    EXPECT_EQ(Sha256OfFile(path), test::Sha256OfFile(path)) << sizeBytes << " bytes";
  }
  test::WriteFile(path, "abc");
  EXPECT_EQ(Sha256OfFile(path), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(Sha256OfFile(dir + "/missing"), "");
  EXPECT_EQ(Sha256OfFile(dir), "");
  test::RemoveTree(dir);
}

INSTANTIATE_TEST_SUITE_P(Rounds, Sha256OfFileTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Portable" : "Fastest"; });

}  // namespace
}  // namespace zx
