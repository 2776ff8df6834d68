// Whole-program transcripts: the built program is driven through its standard input and its
// output compared byte for byte.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "test_support.hpp"

namespace zx {
namespace {

const std::string kBannerAndMenu =
    "Zentrix v0.2.1 Alpha Build 6841\n"
    "\n"
    "Version: x64\n\n\n"
    "Compute a Constant: (in ascending order of difficulty to compute)\n"
    "  0         Sqrt(2)                     = 1.414213...   (Not yet available)\n"
    "  1         Golden Ratio                = 1.618034...   (Not yet available)\n"
    "\n"
    "  2         e                           = 2.718281...   (Not yet available)\n"
    "  3         Pi                          = 3.141592...\n"
    "  4         Log(2)                      = 0.693147...\n"
    "  5         Log(10)                     = 2.302585...\n"
    "  8         Zeta(3) (Apery's Constant)  = 1.202056...\n"
    "\n"
    "  9         Catalan's Constant          = 0.915965...\n"
    " 10         Euler-Mascheroni Constant   = 0.577215...\n"
    "\nOther:\n"
    " 11         Digit Viewer (view digits from a .txt file)\n"
    " 12         Compare Files (useful for comparing digits from different runs)\n"
    " 13         Truncate File (partially copy a file)\n"
    "\nManual:\n"
    " 14         About\n"
    " 15         A Word of Warning...\n"
    "\nEnter your choice:\n";

const std::string kEnding = "\n\n\nPress any key to continue . . . \n";

const std::string kAbout =
    "Zentrix - Euler's Constant to the eXtReMe\n"
    "\n"
    "Version: 0.2.1 Alpha Build 6841\n"
    "\n"
    "Zentrix is a program that can compute various mathematical constants.\n"
    "It began as a small program specialised for the Euler-Mascheroni Constant.\n"
    "It has since gained the ability to compute other constants.\n"
    "\n"
    "For all you overclockers:\n"
    "Zentrix is a multi-threaded Pi-program that is written by a\n"
    "computer-enthusiast (and college student) just like you. Enjoy :)\n"
    "\n"
    "Disclaimer:\n"
    "This software is provided \"as is\", without any gurantee made to its\n"
    "suitability or fitness for any particular use. It may contain bugs so use\n"
    "of this program is at your own risk. I take no responsibility for any\n"
    "damage that may unintentionally be caused through its use.\n";

const std::string kWarning =
    "A Word of Warning...\n"
    "\n"
    "Performing large multi-threaded computations using this program may\n"
    "subject your computer to extremely high levels of stress for extended\n"
    "periods of time. To protect your computer, MAKE SURE that your hardware\n"
    "is stable and fit before performing large computations. I will take\n"
    "absolutely no responsibility for any damage that may be caused by this\n"
    "program.\n"
    "\n"
    "If your computer is manufacturer built and still under warrenty, you have\n"
    "nothing to worry. If you are an overclocking enthusiast, then this\n"
    "warning applies. The workload that this program may place on your\n"
    "hardware is not unlike that of the Prime95 torture test. If your\n"
    "hardware cannot safely sustain a Prime95 torture test, do not attempt a\n"
    "large computation.\n"
    "\n"
    "Bare in mind (this applies to all users), that swap computations will\n"
    "also stress your hard drive(s) - which may reduce their life.\n"
    "There may also be times where CPU, ram, and hard drives are all being\n"
    "stressed simultaneously - which may generate even more heat than a\n"
    "Prime95 torture test.\n";

void ExpectTranscript(const std::string& input, const std::string& expected) {
  const test::ProgramRun run = test::RunProgram(input);
  EXPECT_EQ(run.exitCode, 0) << "input: " << input;
  EXPECT_EQ(run.output, expected) << "input: " << input;
}

TEST(MainMenu, PagesPrintExactly) {
  ExpectTranscript("14\n", kBannerAndMenu + "option = \n\n\n" + kAbout + kEnding);
  ExpectTranscript("15\n", kBannerAndMenu + "option = \n\n\n" + kWarning + kEnding);
}

TEST(MainMenu, ZeroAndNonNumbersAskAgain) {
  ExpectTranscript("0\nzero\n0\n14\n",
                   kBannerAndMenu + "option = option = option = option = \n\n\n" + kAbout + kEnding);
}

TEST(MainMenu, ChoicesWithoutAnActionSayNotAvailable) {
  for (const char* choice : {"1", "2", "6", "7"}) {
    ExpectTranscript(std::string(choice) + "\n",
                     kBannerAndMenu + "option = \nThis option is not available yet.\n" + kEnding);
  }
}

TEST(MainMenu, ChoicesAboveFifteenAreUnrecognized) {
  for (const char* choice : {"16", "4294967295", "-1"}) {
    ExpectTranscript(std::string(choice) + "\n",
                     kBannerAndMenu + "option = \nUnrecognized Option\n" + kEnding);
  }
}

TEST(MainMenu, EndOfInputEndsTheProgramQuickly) {
  for (const char* input : {"", "0\n", "abc", "0\n0\n"}) {
    const auto start = std::chrono::steady_clock::now();
    const test::ProgramRun run = test::RunProgram(input, "", "zentrix", 10);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_FALSE(run.timedOut) << input;
    EXPECT_EQ(run.exitCode, 1) << input;
    EXPECT_LT(took, std::chrono::seconds(1)) << input;
    EXPECT_EQ(run.output.rfind(kBannerAndMenu, 0), 0u) << input;
  }
}

}  // namespace
}  // namespace zx
