// Whole runs of every constant through the program's standard input, one row each, with the
// files they write checked against independent reference digits.
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
  std::vector<std::string> files;  // " - Hex - " or " - Dec - " in the name tells the radix
  std::vector<const char*> transcript;  // pieces that must appear in this order
  const char* counted = nullptr;         // a piece that must appear exactly `count` times
  int count = 0;
};

void PrintTo(const WholeRun& run, std::ostream* os) { *os << run.name; }

// Checks that the pieces appear in the output in this order.
void ExpectInOrder(const std::string& output, const std::vector<const char*>& pieces) {
  size_t at = 0;
  for (const std::string piece : pieces) {
    const size_t found = output.find(piece, at);
    ASSERT_NE(found, std::string::npos) << "missing after offset " << at << ": " << piece;
    at = found + piece.size();
  }
}

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
  ExpectInOrder(run.output, row.transcript);
  if (row.counted != nullptr) {
    int seen = 0;
    for (size_t at = run.output.find(row.counted); at != std::string::npos;
         at = run.output.find(row.counted, at + 1)) {
      ++seen;
    }
    EXPECT_EQ(seen, row.count) << row.counted;
  }
  for (const std::string& file : row.files) {
    const std::string radix = file.find(" - Hex - ") != std::string::npos ? "hex" : "dec";
    EXPECT_EQ(test::Sha256OfFile(dir_ + "/" + file),
              test::ReferenceHash(row.constant, radix, row.digits))
        << file;
  }
  // An Euler-Mascheroni verify run also leaves the Log(2) it computed.
  if (std::string(row.input).rfind("10\n3\n", 0) == 0) {
    EXPECT_EQ(test::Sha256OfFile(dir_ + "/Log(2) - Hex - Euler Run.txt"),
              test::ReferenceHash("log2-euler", "hex", row.digits));
  }
}

// The four files a compute-and-verify run leaves.
std::vector<std::string> VerifyFiles(const std::string& constant) {
  std::vector<std::string> files;
  for (const char* label : {" - Hex - Computation.txt", " - Dec - Computation.txt",
                            " - Hex - Verification.txt", " - Dec - Verification.txt"}) {
    files.push_back(constant + label);
  }
  return files;
}

const char* kVerifyEnd = "\nComputation Successful\n\n\nTotal Time (including writing digits):  ";

INSTANTIATE_TEST_SUITE_P(
    Runs, ConstantRunTest,
    ::testing::Values(
        WholeRun{"PiChudnovskyMillion", "3\n1\n1000000\n1\n1\n", "pi", 1000000,
                 {"Pi - Hex - Chudnovsky.txt", "Pi - Dec - Chudnovsky.txt"},
                 {"option = \n\n\nPi\n\nOption 1\n    Algorithm 1: Chudnovsky Formula (fastest)\n\n",
                  "Enter your choice:\noption = \n",
                  "Decimal Digits    : 1,000,000\nHexadecimal Digits: 830,483\n\n",
                  " 1      Ram Only                    ",
                  "\noption = \n\n\n\nCompute: Pi\n\nDecimal Digits    :   1,000,000\n"
                  "Hexadecimal Digits:   830,483\n\nMode: Ram Only\n\n"
                  "Allocating and Reserving Memory...  \t",
                  "\nConstructing FFT lookup tables...\n\nBegin Computation:\n\n"
                  "Computing: Pi\n\nAlgorithm: Chudnovsky Formula\n\nSumming Series:\n",
                  "Finalizing...", "Multiplying...  \t( 1,000,037 )", "InvSqrt...\n",
                  "Final Multiply...\n", "\nCompute Pi Time: ", " seconds  ( ",
                  "Writing Hexadecimal Digits:   830,484  digits written\n",
                  "\nConstructing Base Conversion Table:\n",
                  "Base Converting (Primary Cutting Parameters):\n",
                  "Writing Decimal Digits:   1,000,001  digits written\n",
                  "\n\nTotal Computation Time:  ",
                  " hours )\n\nTotal Time (including writing digits):  ",
                  " hours )\n\n\n\n\n\nPress any key to continue . . . \n"}},
        // An answer outside 1..3 asks again without printing the menu again.
        WholeRun{"PiRamanujanThousandAfterReprompts", "3\n0\n4\n2\n1000\n0\n1\n", "pi", 1000,
                 {"Pi - Hex - Ramanujan.txt", "Pi - Dec - Ramanujan.txt"},
                 {"Enter your choice:\noption = option = option = \nHow many",
                  "Algorithm: Ramanujan's Formula\n\n"}},
        WholeRun{"PiVerifyMillion", "3\n3\n1000000\n1\n1\n", "pi", 1000000, VerifyFiles("Pi"),
                 {"Compute and Verify: Pi\n\n", "Computing...\n\nComputing: Pi\n\n",
                  "Algorithm: Chudnovsky Formula",
                  "Base Converting (Primary Cutting Parameters):",
                  "Verifying...\n\nComputing: Pi\n\nAlgorithm: Ramanujan's Formula",
                  "Base Converting (Secondary Cutting Parameters):",
                  "Comparing Hexadecimal Digits...\n", "Matching Digits:   830,483\n",
                  "Comparing Decimal Digits...\n", "Matching Digits:   1,000,000\n", kVerifyEnd}},
        WholeRun{"Zeta3Formula2Million", "8\n1\n1000000\n1\n1\n", "zeta3", 1000000,
                 {"Zeta(3) - Hex - Amdeberhan-Zeiberger Formula 2.txt",
                  "Zeta(3) - Dec - Amdeberhan-Zeiberger Formula 2.txt"},
                 {"option = \n\n\nZeta(3)\n\nOption 1\n"
                  "    Algorithm 1: Amdeberhan-Zeilberger Formula 2 (fastest)\n\nOption 2\n"
                  "    Algorithm 2: Amdeberhan-Zeilberger Formula 1 (slightly slower)\n\n"
                  "Option 3\n    Compute and Verify:\n"
                  "        Use both formulas to compute and verify. (great for stress-testing)"
                  "\n\nEnter your choice:\noption = \nHow many",
                  "Compute: Zeta(3) (Apery's Constant)\n\nDecimal Digits    :   1,000,000\n",
                  "Begin Computation:\n\nComputing: Zeta(3) (Apery's Constant)\n\n"
                  "Algorithm: Amdeberhan-Zeiberger Formula 2\n\nSumming Series:\n",
                  "Finalizing...", "Multiplying...  \t( 1,000,037 )", "\nZeta(3) Time: ",
                  "Writing Decimal Digits:   1,000,001  digits written\n"}},
        WholeRun{"Zeta3Formula1TwentyDigits", "8\n2\n20\n0\n1\n", "zeta3", 20,
                 {"Zeta(3) - Hex - Amdeberhan-Zeiberger Formula 1.txt",
                  "Zeta(3) - Dec - Amdeberhan-Zeiberger Formula 1.txt"},
                 {"Algorithm: Amdeberhan-Zeiberger Formula 1\n\nSumming Series:\n", "Finalizing..."}},
        WholeRun{"Zeta3Formula2TwentyDigits", "8\n1\n20\n2\n1\n", "zeta3", 20,
                 {"Zeta(3) - Hex - Amdeberhan-Zeiberger Formula 2.txt",
                  "Zeta(3) - Dec - Amdeberhan-Zeiberger Formula 2.txt"},
                 {}},
        WholeRun{"Zeta3Formula1HundredThousand", "8\n2\n100000\n2\n1\n", "zeta3", 100000,
                 {"Zeta(3) - Hex - Amdeberhan-Zeiberger Formula 1.txt",
                  "Zeta(3) - Dec - Amdeberhan-Zeiberger Formula 1.txt"},
                 {}},
        WholeRun{"Zeta3VerifyHundredThousand", "8\n3\n100000\n1\n1\n", "zeta3", 100000,
                 VerifyFiles("Zeta(3)"),
                 {"Compute and Verify: Zeta(3) (Apery's Constant)\n\n",
                  "Computing...\n\nComputing: Zeta(3) (Apery's Constant)\n\n"
                  "Algorithm: Amdeberhan-Zeiberger Formula 2",
                  "Verifying...\n\nComputing: Zeta(3) (Apery's Constant)\n\n"
                  "Algorithm: Amdeberhan-Zeiberger Formula 1",
                  kVerifyEnd}},
        WholeRun{"Log2Machin1Million", "4\n1\n1000000\n1\n1\n", "log2", 1000000,
                 {"Log(2) - Hex - Machin1.txt", "Log(2) - Dec - Machin1.txt"},
                 {"option = \n\n\nNatural Logarithm of 2\n\nOption 1\n"
                  "    Algorithm 1: 3-term Machin-like formula (fastest)\n"
                  "    Log(2) = 18*ArcCoth(26) - 2*ArcCoth(4801) + 8*ArcCoth(8749)\n\nOption 2\n"
                  "    Algorithm 2: 4-term Machin-like formula (slower)\n"
                  "    Log(2) = 144*ArcCoth(251) + 54*ArcCoth(449) - 38*ArcCoth(4801) + "
                  "62*ArcCoth(8749)\n\nOption 3\n    Compute and Verify:\n"
                  "        Use the following two formulas to compute and verify:\n"
                  "     72*ArcCoth( 99) - 18*ArcCoth(449) + 34*ArcCoth(4801) - 10*ArcCoth(8749)\n"
                  "    144*ArcCoth(251) + 54*ArcCoth(449) - 38*ArcCoth(4801) + 62*ArcCoth(8749)\n"
                  "\nEnter your choice:\noption = \nHow many",
                  "Compute: Log(2)\n\nDecimal Digits    :   1,000,000\n",
                  "Begin Computation:\n\nComputing: Log(2)\n\nAlgorithm: Log(2) = \n"
                  "18*ArcCoth(26) - 2*ArcCoth(4801) + 8*ArcCoth(8749)\n\n",
                  "ArcCoth( 26 )\n", "Summing...  ", "Multiplying...  \t( ",
                  "\nCompute Log(2) Time: "},
                 "\rArcCoth( ", 3},
        WholeRun{"Log2Machin2HundredThousand", "4\n2\n100000\n2\n1\n", "log2", 100000,
                 {"Log(2) - Hex - Machin2.txt", "Log(2) - Dec - Machin2.txt"},
                 {"Algorithm: Log(2) = \n144*ArcCoth(251)"}, "\rArcCoth( ", 4},
        WholeRun{"Log10Machin1HundredThousand", "5\n1\n100000\n1\n1\n", "log10", 100000,
                 {"Log(10) - Hex - Machin1.txt", "Log(10) - Dec - Machin1.txt"},
                 {"option = \n\n\nNatural Logarithm of 10\n\nOption 1\n"
                  "    Algorithm 1: 4-term Machin-like formula (fastest)\n"
                  "    Log(2) = 478*ArcCoth(251) + 180*ArcCoth(449) - 126*ArcCoth(4801) + "
                  "206*ArcCoth(8749)\n\nOption 2\n"
                  "    Algorithm 2: 4-term Machin-like formula (slower)\n"
                  "    Log(2) = 239*ArcCoth( 99) -  59*ArcCoth(449) + 113*ArcCoth(4801) -  "
                  "33*ArcCoth(8749)\n\nOption 3\n    Compute and Verify:\n"
                  "        Use both formulas to compute and verify. (great for stress-testing)"
                  "\n\nEnter your choice:\n",
                  "Compute: Log(10)\n\n", "\nCompute Log(10) Time: "}},
        WholeRun{"Log10Machin2TwentyDigits", "5\n2\n20\n0\n1\n", "log10", 20,
                 {"Log(10) - Hex - Machin2.txt", "Log(10) - Dec - Machin2.txt"},
                 {"239*ArcCoth(99) - 59*ArcCoth(449) + 113*ArcCoth(4801) - 33*ArcCoth(8749)\n"},
                 "Summing...  ", 0},
        // Five series, each value shared by both results.
        WholeRun{"Log2VerifyHundredThousand", "4\n3\n100000\n1\n1\n", "log2", 100000,
                 VerifyFiles("Log(2)"),
                 {"Compute and Verify: Log(2)\n\n", "Computing...\n\nComputing: Log(2)\n\n",
                  "\nCompute and Verify Time: ", "Verifying...\n\n", kVerifyEnd},
                 "\rArcCoth( ", 5},
        WholeRun{"CatalanLupasHundredThousand", "9\n1\n100000\n1\n1\n", "catalan", 100000,
                 {"Catalan - Hex - Lupas.txt", "Catalan - Dec - Lupas.txt"},
                 {"option = \n\n\nCatalan's Constant\n\nOption 1\n"
                  "    Algorithm 1: Lupas Formula (fastest)\n\nOption 2\n"
                  "    Algorithm 2: Pi & Log-Term + Series\n\nOption 3\n"
                  "    Compute and Verify:\n"
                  "        Use both formulas to compute and verify. (great for stress-testing)"
                  "\n\nEnter your choice:\noption = \nHow many",
                  "Compute: Catalan's Constant\n\n",
                  "Begin Computation:\n\nComputing: Catalan's Constant\n\n"
                  "Algorithm: Lupas Formula\n\nSumming Series:\n",
                  "Finalizing...", "\nCatalan's Constant Time: "}},
        WholeRun{"CatalanLogSeriesTwentyDigits", "9\n2\n20\n0\n1\n", "catalan", 20,
                 {"Catalan - Hex - LogSeries.txt", "Catalan - Dec - LogSeries.txt"},
                 {"Algorithm: Pi & Log-Term + Series\n\nSumming Series:\n",
                  "Computing: 2 + sqrt(3)\n", "\nComputing: Log-Term\n", "Starting AGM...\n",
                  "AGM Iteration:  ", "\nPi & Log-Term Time: ",
                  "\n\nCatalan's Constant Time: "},
                 "Computing: Pi", 0},
        WholeRun{"CatalanVerifyHundredThousand", "9\n3\n100000\n2\n1\n", "catalan", 100000,
                 VerifyFiles("Catalan"),
                 {"Compute and Verify: Catalan's Constant\n\n", "Algorithm: Lupas Formula",
                  "Verifying...\n\n", "Algorithm: Pi & Log-Term + Series", kVerifyEnd}},
        WholeRun{"EulerRefinedRow12", "10\n1\n12\n1\n1\n", "euler", 14222,
                 {"Euler's Constant - Hex - Brent-McMillan (Refined).txt",
                  "Euler's Constant - Dec - Brent-McMillan (Refined).txt"},
                 {"option = \n\n\nEuler-Mascheroni Constant\n\nOption 1\n"
                  "    Algorithm 1: Brent-McMillan Formula with Refinement (fastest)\n\n"
                  "Option 2\n    Algorithm 2: Brent-McMillan Formula alone (slower)\n\n"
                  "Option 3\n    Compute and Verify:\n"
                  "        Use both formulas to compute and verify. (great for stress-testing)"
                  "\n\nEnter your choice:\noption = \n k:         Decimal Digits:\n\n"
                  " 10                  3557\n 11                  7115\n",
                  " 33           29844489545\n\nEnter your choice:\noption = \nSelect a threading",
                  "Computing: Euler-Mascheroni Constant\n\nDecimal Digits    :   14,222\n"
                  "Hexadecimal Digits:   11,811\n",
                  "Begin Computation:\n\nComputing: Euler-Mascheroni Constant\n\n"
                  "Algorithm: Brent-McMillan Formula with Refinement (n = 2^12)\n"
                  "Series A and B:\n",
                  "Finializing...", "Time: ", "\nSeries C:\n", "Computing: Log(2)\n",
                  "Log(2) Time: ", "\nEuler-Mascheroni Constant Time: "}},
        WholeRun{"EulerPlainRow10AfterReprompts", "10\n2\n9\n34\n10\n0\n1\n", "euler", 3549,
                 {"Euler's Constant - Hex - Brent-McMillan.txt",
                  "Euler's Constant - Dec - Brent-McMillan.txt"},
                 {"Enter your choice:\noption = option = option = \nSelect",
                  "Algorithm: Brent-McMillan Formula (n = 2^11)\n"},
                 "Series C:", 0},
        WholeRun{"EulerRefinedRow14", "10\n1\n14\n2\n1\n", "euler", 56915,
                 {"Euler's Constant - Hex - Brent-McMillan (Refined).txt",
                  "Euler's Constant - Dec - Brent-McMillan (Refined).txt"},
                 {}},
        WholeRun{"EulerPlainRow15", "10\n2\n15\n1\n1\n", "euler", 113839,
                 {"Euler's Constant - Hex - Brent-McMillan.txt",
                  "Euler's Constant - Dec - Brent-McMillan.txt"},
                 {}},
        // The Log(2) of the first computation gets a file of its own.
        WholeRun{"EulerVerifyRow13", "10\n3\n13\n1\n1\n", "euler", 28453,
                 {"Euler's Constant - Hex - Computation.txt",
                  "Euler's Constant - Dec - Computation.txt",
                  "Euler's Constant - Hex - Verification.txt",
                  "Euler's Constant - Dec - Verification.txt"},
                 {"Computing: Euler-Mascheroni Constant and Log(2)\n\n",
                  "Computing...\nComputing: Euler-Mascheroni Constant\n\n"
                  "Algorithm: Brent-McMillan Formula with Refinement (n = 2^13)\n",
                  "\nCompute Time: ", "Writing Hexadecimal Digits:", "Log(2)\nWriting Hexadecimal",
                  "Base Converting (Primary", "Verifying...\nComputing: Euler-Mascheroni Constant",
                  "Algorithm: Brent-McMillan Formula (n = 2^14)\n", "\nVerify Time: ",
                  kVerifyEnd}},
        WholeRun{"Log10VerifyHundredThousand", "5\n3\n100000\n2\n1\n", "log10", 100000,
                 VerifyFiles("Log(10)"), {kVerifyEnd}, "\rArcCoth( ", 5}),
    [](const ::testing::TestParamInfo<WholeRun>& info) { return std::string(info.param.name); });

// Ten million digits: minutes on two cores.
INSTANTIATE_TEST_SUITE_P(
    Long, ConstantRunTest,
    ::testing::Values(
        WholeRun{"PiChudnovskyTenMillion", "3\n1\n10000000\n1\n1\n", "pi", 10000000,
                 {"Pi - Hex - Chudnovsky.txt", "Pi - Dec - Chudnovsky.txt"}, {}},
        WholeRun{"Zeta3Formula2TenMillion", "8\n1\n10000000\n1\n1\n", "zeta3", 10000000,
                 {"Zeta(3) - Hex - Amdeberhan-Zeiberger Formula 2.txt",
                  "Zeta(3) - Dec - Amdeberhan-Zeiberger Formula 2.txt"},
                 {}},
        WholeRun{"Zeta3Formula1TenMillion", "8\n2\n10000000\n1\n1\n", "zeta3", 10000000,
                 {"Zeta(3) - Hex - Amdeberhan-Zeiberger Formula 1.txt",
                  "Zeta(3) - Dec - Amdeberhan-Zeiberger Formula 1.txt"},
                 {}},
        WholeRun{"Zeta3VerifyMillion", "8\n3\n1000000\n1\n1\n", "zeta3", 1000000,
                 VerifyFiles("Zeta(3)"), {kVerifyEnd}},
        WholeRun{"Log2Machin1TenMillion", "4\n1\n10000000\n1\n1\n", "log2", 10000000,
                 {"Log(2) - Hex - Machin1.txt", "Log(2) - Dec - Machin1.txt"}, {}},
        WholeRun{"Log2Machin2TenMillion", "4\n2\n10000000\n1\n1\n", "log2", 10000000,
                 {"Log(2) - Hex - Machin2.txt", "Log(2) - Dec - Machin2.txt"}, {}},
        WholeRun{"Log10Machin1TenMillion", "5\n1\n10000000\n1\n1\n", "log10", 10000000,
                 {"Log(10) - Hex - Machin1.txt", "Log(10) - Dec - Machin1.txt"}, {}},
        WholeRun{"Log10Machin2TenMillion", "5\n2\n10000000\n1\n1\n", "log10", 10000000,
                 {"Log(10) - Hex - Machin2.txt", "Log(10) - Dec - Machin2.txt"}, {}},
        WholeRun{"CatalanLupasTenMillion", "9\n1\n10000000\n1\n1\n", "catalan", 10000000,
                 {"Catalan - Hex - Lupas.txt", "Catalan - Dec - Lupas.txt"}, {}},
        WholeRun{"CatalanVerifyMillion", "9\n3\n1000000\n1\n1\n", "catalan", 1000000,
                 VerifyFiles("Catalan"), {kVerifyEnd}},
        WholeRun{"EulerRefinedRow18", "10\n1\n18\n1\n1\n", "euler", 910772,
                 {"Euler's Constant - Hex - Brent-McMillan (Refined).txt",
                  "Euler's Constant - Dec - Brent-McMillan (Refined).txt"}, {}},
        WholeRun{"EulerPlainRow19", "10\n2\n19\n1\n1\n", "euler", 1821554,
                 {"Euler's Constant - Hex - Brent-McMillan.txt",
                  "Euler's Constant - Dec - Brent-McMillan.txt"}, {}},
        WholeRun{"EulerRefinedRow21", "10\n1\n21\n1\n1\n", "euler", 7286243,
                 {"Euler's Constant - Hex - Brent-McMillan (Refined).txt",
                  "Euler's Constant - Dec - Brent-McMillan (Refined).txt"}, {}},
        WholeRun{"EulerPlainRow21", "10\n2\n21\n1\n1\n", "euler", 7286243,
                 {"Euler's Constant - Hex - Brent-McMillan.txt",
                  "Euler's Constant - Dec - Brent-McMillan.txt"}, {}},
        WholeRun{"EulerVerifyRow18", "10\n3\n18\n1\n1\n", "euler", 910772,
                 {"Euler's Constant - Dec - Computation.txt",
                  "Euler's Constant - Dec - Verification.txt"}, {kVerifyEnd}},
        WholeRun{"EulerVerifyRow20", "10\n3\n20\n1\n1\n", "euler", 3643117,
                 {"Euler's Constant - Dec - Computation.txt",
                  "Euler's Constant - Dec - Verification.txt"}, {kVerifyEnd}},
        WholeRun{"Log2VerifyMillion", "4\n3\n1000000\n1\n1\n", "log2", 1000000,
                 VerifyFiles("Log(2)"), {kVerifyEnd}, "\rArcCoth( ", 5}),
    [](const ::testing::TestParamInfo<WholeRun>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace zx
