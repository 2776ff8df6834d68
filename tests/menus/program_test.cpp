// Whole-program transcripts without timings: the built program is driven through its standard
// input and its whole output compared by hash, one row per page or answer. The hashes were taken
// from a reviewed run (printf 'INPUT' | build/zentrix | sha256sum); a mismatch prints the output.
#include <gtest/gtest.h>

#include <string>

#include "reference_digits.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

struct Transcript {
  const char* name;
  const char* input;
  int exitCode;
  const char* sha256;
};

void PrintTo(const Transcript& row, std::ostream* os) {
  *os << row.name;
}

class TranscriptTest : public ::testing::TestWithParam<Transcript> {};

TEST_P(TranscriptTest, PrintsExactly) {
  const Transcript& row = GetParam();
  const test::ProgramRun run = test::RunProgram(row.input, "", "zentrix", 10);
  EXPECT_EQ(run.exitCode, row.exitCode);
  EXPECT_EQ(test::Sha256OfText(run.output), row.sha256) << run.output;
}

// Pages, answers the main menu asks again for or refuses, input ending at each menu, and every
// constant's page (ending at its question, Euler-Mascheroni's at its size table).
INSTANTIATE_TEST_SUITE_P(
    Menus, TranscriptTest,
    ::testing::Values(
        Transcript{"About", "14\n", 0,
                   "aea3a1f8a4e20d2b7f4f1c0987b3e1e22a3d5e2a584dba409b25fc7d5d6ebc8a"},
        Transcript{"Warning", "15\n", 0,
                   "32ee9e405cf0ee2b1dd17d4c4dd69be0b14bbdbfbd4a2da8412d2a35019c97d9"},
        Transcript{"ZeroAndWordsAskAgain", "0\nzero\n0\n14\n", 0,
                   "23bde96b1b619017efbc64218cd309c09347859750ea5aa7c804853a9480179c"},
        Transcript{"NotAvailable1", "1\n", 0,
                   "a3cdbaf27bd34b6228b22bda8299dae1420dcb2136513acd1aacbbd44e6a08b8"},
        Transcript{"NotAvailable6", "6\n", 0,
                   "a3cdbaf27bd34b6228b22bda8299dae1420dcb2136513acd1aacbbd44e6a08b8"},
        Transcript{"Unrecognized16", "16\n", 0,
                   "7b3617e638413443a290547f551656832609120e8b84f9fa4a36740ce1251241"},
        Transcript{"UnrecognizedLargest", "4294967295\n", 0,
                   "7b3617e638413443a290547f551656832609120e8b84f9fa4a36740ce1251241"},
        Transcript{"UnrecognizedNegative", "-1\n", 0,
                   "7b3617e638413443a290547f551656832609120e8b84f9fa4a36740ce1251241"},
        Transcript{"NoInput", "", 1,
                   "7d33b683c0c5bef2d6b85db7b857ccea6f39acf7356c8727789c0aa385742441"},
        Transcript{"InputEndsInAWord", "abc", 1,
                   "f264baf8eebb604671394a014a4685a1146af34d648449413e7a313184bfcedd"},
        Transcript{"PiPage", "3\n", 1,
                   "4288142a0a252a81ee68282926060d498afb1cfd1c950dd132105ca22ddd1cd2"},
        Transcript{"PiPageAsksAgain", "3\n0\n4\n", 1,
                   "902645f6c5deb553a9868418997b89bce8d3981434411d52a938180377d48565"},
        Transcript{"Log2Page", "4\n", 1,
                   "a7dedd38d28198b64ab90887a2a370ba75c9e0c859e521e51b0ef464d1514890"},
        Transcript{"Log10Page", "5\n", 1,
                   "fac4c97a003a3bd4ae9f9987f2553476956b2e0c6684a984fcf22534b045cf39"},
        Transcript{"Zeta3Page", "8\n", 1,
                   "1d2065dc9a97cfc42e515ab9d364cb180e7cd0251c9f5f80db40a25ff2e103cf"},
        Transcript{"CatalanPage", "9\n", 1,
                   "0f39ac06ebcbfa82dafde29f62119c2329adff228cd1f2290e95e1435265fba4"},
        Transcript{"EulerSizeTable", "10\n1\n", 1,
                   "402402094ab5b185c0e14010df1cf5041e9856d364db7c2ccb45ff4fd997a034"}),
    [](const ::testing::TestParamInfo<Transcript>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zx
