// Whole runs of every constant through the program's standard input, one row each, with the
// files they write checked against independent reference digits by hash.
#include <gtest/gtest.h>

#include <vector>

#include "reference_digits.hpp"
#include "test_support.hpp"

namespace zx {
namespace {

struct WholeRun {
  const char* name;
  const char* input;     // the answers, menu to mode
  const char* constant;  // the reference's name
  uint64_t digits;
  const char* prefix;  // the files' names: "<prefix> - Hex - <label>.txt" and the Dec one
  const char* label;   // null: the four files of a compute-and-verify run
  const char* piece;   // a line the run must print
  const char* counted = nullptr;  // a piece that must appear exactly `count` times
  int count = 0;
};

void PrintTo(const WholeRun& run, std::ostream* os) { *os << run.name; }

class ConstantRunTest : public ::testing::TestWithParam<WholeRun> {
 protected:
  void SetUp() override { dir_ = test::MakeTempDir("wholerun"); }
  void TearDown() override { test::RemoveTree(dir_); }
  std::string dir_;
};

TEST_P(ConstantRunTest, WritesEveryDigitRight) {
  const WholeRun& row = GetParam();
  const test::ProgramRun run = test::RunProgram(row.input, dir_, "zentrix", 600);
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_NE(run.output.find(row.piece), std::string::npos) << row.piece;
  if (row.counted != nullptr) {
    int seen = 0;
    for (size_t at = run.output.find(row.counted); at != std::string::npos;
         at = run.output.find(row.counted, at + 1)) {
      ++seen;
    }
    EXPECT_EQ(seen, row.count) << row.counted;
  }
  std::vector<std::string> labels = {" - Computation.txt", " - Verification.txt"};
  if (row.label != nullptr) labels = {std::string(" - ") + row.label + ".txt"};
  for (const std::string& label : labels) {
    for (const char* radix : {"Hex", "Dec"}) {
      const std::string file = std::string(row.prefix) + " - " + radix + label;
      EXPECT_EQ(test::Sha256OfFile(dir_ + "/" + file),
                test::ReferenceHash(row.constant, radix[0] == 'H' ? "hex" : "dec", row.digits))
          << file;
    }
  }
  // An Euler-Mascheroni verify run also leaves the Log(2) it computed.
  if (std::string(row.input).rfind("10\n3\n", 0) == 0) {
    EXPECT_EQ(test::Sha256OfFile(dir_ + "/Log(2) - Hex - Euler Run.txt"),
              test::ReferenceHash("log2-euler", "hex", row.digits));
  }
}

const char* kVerifyEnd = "\nComputation Successful\n\n\nTotal Time (including writing digits):  ";
const char* kZeta3 = "Zeta(3)";
const char* kEuler = "Euler's Constant";
const char* kAz1 = "Amdeberhan-Zeiberger Formula 1";
const char* kAz2 = "Amdeberhan-Zeiberger Formula 2";
const char* kBm = "Brent-McMillan";
const char* kBmRefined = "Brent-McMillan (Refined)";

// Every constant, algorithm and verify run; the menus' pages are the transcript tests' concern.
// The ArcCoth lines count the series a logarithm sums (a verify run shares its five).
INSTANTIATE_TEST_SUITE_P(
    Runs, ConstantRunTest,
    ::testing::Values(
        WholeRun{"PiChudnovskyMillion", "3\n1\n1000000\n1\n1\n", "pi", 1000000, "Pi",
                 "Chudnovsky", "Writing Decimal Digits:   1,000,001  digits written\n"},
        // An answer outside 1..3 asks again without printing the menu again.
        WholeRun{"PiRamanujanThousandAfterReprompts", "3\n0\n4\n2\n1000\n0\n1\n", "pi", 1000,
                 "Pi", "Ramanujan", "Enter your choice:\noption = option = option = \nHow many"},
        WholeRun{"PiVerifyMillion", "3\n3\n1000000\n1\n1\n", "pi", 1000000, "Pi", nullptr,
                 kVerifyEnd},
        WholeRun{"Zeta3Formula2Million", "8\n1\n1000000\n1\n1\n", "zeta3", 1000000, kZeta3, kAz2,
                 "Algorithm: Amdeberhan-Zeiberger Formula 2\n\nSumming Series:\n"},
        WholeRun{"Zeta3Formula1TwentyDigits", "8\n2\n20\n0\n1\n", "zeta3", 20, kZeta3, kAz1,
                 "Algorithm: Amdeberhan-Zeiberger Formula 1\n\nSumming Series:\n"},
        WholeRun{"Zeta3Formula1HundredThousand", "8\n2\n100000\n2\n1\n", "zeta3", 100000, kZeta3,
                 kAz1, ""},
        WholeRun{"Zeta3VerifyHundredThousand", "8\n3\n100000\n1\n1\n", "zeta3", 100000, kZeta3,
                 nullptr, kVerifyEnd},
        WholeRun{"Log2Machin1Million", "4\n1\n1000000\n1\n1\n", "log2", 1000000, "Log(2)",
                 "Machin1", "18*ArcCoth(26) - 2*ArcCoth(4801) + 8*ArcCoth(8749)\n\n", "\rArcCoth( ",
                 3},
        WholeRun{"Log2Machin2HundredThousand", "4\n2\n100000\n2\n1\n", "log2", 100000, "Log(2)",
                 "Machin2", "Algorithm: Log(2) = \n144*ArcCoth(251)", "\rArcCoth( ", 4},
        WholeRun{"Log10Machin1HundredThousand", "5\n1\n100000\n1\n1\n", "log10", 100000,
                 "Log(10)", "Machin1", "\nCompute Log(10) Time: "},
        WholeRun{"Log10Machin2TwentyDigits", "5\n2\n20\n0\n1\n", "log10", 20, "Log(10)", "Machin2",
                 "239*ArcCoth(99) - 59*ArcCoth(449) + 113*ArcCoth(4801) - 33*ArcCoth(8749)\n",
                 "Summing...  ", 0},
        WholeRun{"Log2VerifyHundredThousand", "4\n3\n100000\n1\n1\n", "log2", 100000, "Log(2)",
                 nullptr, kVerifyEnd, "\rArcCoth( ", 5},
        WholeRun{"Log10VerifyHundredThousand", "5\n3\n100000\n2\n1\n", "log10", 100000,
                 "Log(10)", nullptr, kVerifyEnd, "\rArcCoth( ", 5},
        WholeRun{"CatalanLupasHundredThousand", "9\n1\n100000\n1\n1\n", "catalan", 100000,
                 "Catalan", "Lupas", "Algorithm: Lupas Formula\n\nSumming Series:\n"},
        WholeRun{"CatalanLogSeriesTwentyDigits", "9\n2\n20\n0\n1\n", "catalan", 20, "Catalan",
                 "LogSeries", "Computing: 2 + sqrt(3)\n", "Computing: Pi", 0},
        WholeRun{"CatalanVerifyHundredThousand", "9\n3\n100000\n2\n1\n", "catalan", 100000,
                 "Catalan", nullptr, kVerifyEnd},
        WholeRun{"EulerRefinedRow12", "10\n1\n12\n1\n1\n", "euler", 14222, kEuler, kBmRefined,
                 "Algorithm: Brent-McMillan Formula with Refinement (n = 2^12)\n"},
        WholeRun{"EulerPlainRow10AfterReprompts", "10\n2\n9\n34\n10\n0\n1\n", "euler", 3549,
                 kEuler, kBm, "Algorithm: Brent-McMillan Formula (n = 2^11)\n", "Series C:", 0},
        WholeRun{"EulerPlainRow15", "10\n2\n15\n1\n1\n", "euler", 113839, kEuler, kBm, ""},
        // The Log(2) of the first computation gets a file of its own.
        WholeRun{"EulerVerifyRow13", "10\n3\n13\n1\n1\n", "euler", 28453, kEuler, nullptr,
                 kVerifyEnd}),
    [](const ::testing::TestParamInfo<WholeRun>& info) { return std::string(info.param.name); });

// Ten million digits: minutes on two cores.
INSTANTIATE_TEST_SUITE_P(
    Long, ConstantRunTest,
    ::testing::Values(
        WholeRun{"PiChudnovskyTenMillion", "3\n1\n10000000\n1\n1\n", "pi", 10000000, "Pi",
                 "Chudnovsky", ""},
        WholeRun{"Zeta3Formula2TenMillion", "8\n1\n10000000\n1\n1\n", "zeta3", 10000000, kZeta3,
                 kAz2, ""},
        WholeRun{"Zeta3Formula1TenMillion", "8\n2\n10000000\n1\n1\n", "zeta3", 10000000, kZeta3,
                 kAz1, ""},
        WholeRun{"Zeta3VerifyMillion", "8\n3\n1000000\n1\n1\n", "zeta3", 1000000, kZeta3, nullptr,
                 kVerifyEnd},
        WholeRun{"Log2Machin1TenMillion", "4\n1\n10000000\n1\n1\n", "log2", 10000000, "Log(2)",
                 "Machin1", ""},
        WholeRun{"Log2Machin2TenMillion", "4\n2\n10000000\n1\n1\n", "log2", 10000000, "Log(2)",
                 "Machin2", ""},
        WholeRun{"Log10Machin1TenMillion", "5\n1\n10000000\n1\n1\n", "log10", 10000000,
                 "Log(10)", "Machin1", ""},
        WholeRun{"Log10Machin2TenMillion", "5\n2\n10000000\n1\n1\n", "log10", 10000000,
                 "Log(10)", "Machin2", ""},
        WholeRun{"CatalanLupasTenMillion", "9\n1\n10000000\n1\n1\n", "catalan", 10000000,
                 "Catalan", "Lupas", ""},
        WholeRun{"CatalanVerifyMillion", "9\n3\n1000000\n1\n1\n", "catalan", 1000000, "Catalan",
                 nullptr, kVerifyEnd},
        WholeRun{"EulerRefinedRow18", "10\n1\n18\n1\n1\n", "euler", 910772, kEuler, kBmRefined,
                 ""},
        WholeRun{"EulerPlainRow19", "10\n2\n19\n1\n1\n", "euler", 1821554, kEuler, kBm, ""},
        WholeRun{"EulerRefinedRow21", "10\n1\n21\n1\n1\n", "euler", 7286243, kEuler, kBmRefined,
                 ""},
        WholeRun{"EulerPlainRow21", "10\n2\n21\n1\n1\n", "euler", 7286243, kEuler, kBm, ""},
        WholeRun{"EulerVerifyRow18", "10\n3\n18\n1\n1\n", "euler", 910772, kEuler, nullptr,
                 kVerifyEnd},
        WholeRun{"EulerVerifyRow20", "10\n3\n20\n1\n1\n", "euler", 3643117, kEuler, nullptr,
                 kVerifyEnd},
        WholeRun{"Log2VerifyMillion", "4\n3\n1000000\n1\n1\n", "log2", 1000000, "Log(2)", nullptr,
                 kVerifyEnd, "\rArcCoth( ", 5}),
    [](const ::testing::TestParamInfo<WholeRun>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zx
