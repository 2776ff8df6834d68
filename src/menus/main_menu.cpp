#include "menus/main_menu.hpp"

#include "drivers/constant_runs.hpp"
#include "menus/constant_menu.hpp"
#include "shell/console.hpp"
#include "shell/console_input.hpp"
#include "shell/fatal.hpp"
#include "tools/digit_tools.hpp"

namespace zx {

uint32_t gWordSizeFlag = 1;

namespace {

// Runs before main: the arithmetic everywhere assumes that a word wraps after exactly 32 doublings.
struct WordSizeCheck {
  WordSizeCheck() {
    volatile uint32_t word = 1;
    int bits = 0;
    do {
      ++bits;
      word = static_cast<uint32_t>(word * 2u);
    } while (word != 0);
    if (bits != 32) {
      ConsoleWrite("bits per word != 2^ZX_WORD_MAG\n");
      ConsoleWrite("\nThe program has not been compiled correctly.\n");
      Pause();
      ExitProcess(1);
    }
    gWordSizeFlag = 0;
  }
};
const WordSizeCheck gWordSizeCheck;

void NotAvailable() { ConsoleWrite("This option is not available yet.\n"); }

void AboutPage() {
  ConsoleWrite("Zentrix - Euler's Constant to the eXtReMe\n\n");
  ConsolePrintf("Version: %s\n\n", kVersion);
  ConsoleWrite(
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
      "damage that may unintentionally be caused through its use.\n");
}

void WarningPage() {
  ConsoleWrite(
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
      "Prime95 torture test.\n");
}

// A choice opens a constant's menu or runs an action; one with neither is a number kept for a
// constant still to come.
using MenuAction = void (*)();
struct MenuEntry {
  const ConstantRun* constant;
  MenuAction action;
};
const MenuEntry kMenuEntries[kLastMenuChoice + 1] = {
    {nullptr, nullptr},       // 0  Sqrt(2)
    {nullptr, nullptr},       // 1  Golden Ratio
    {nullptr, nullptr},       // 2  e
    {&kPiRun, nullptr},       // 3  Pi
    {&kLog2Run, nullptr},     // 4  Log(2)
    {&kLog10Run, nullptr},    // 5  Log(10)
    {nullptr, nullptr},       // 6
    {nullptr, nullptr},       // 7
    {&kZeta3Run, nullptr},    // 8  Zeta(3)
    {&kCatalanRun, nullptr},  // 9  Catalan
    {&kEulerRun, nullptr},    // 10 Euler-Mascheroni
    {nullptr, DigitViewer},   // 11 Digit Viewer
    {nullptr, FileCompare},   // 12 Compare Files
    {nullptr, FileTruncate},  // 13 Truncate File
    {nullptr, AboutPage},     // 14
    {nullptr, WarningPage},   // 15
};

}  // namespace

void PrintBanner() {
  ConsolePrintf("Zentrix v%s\n\n", kVersion);
  ConsolePrintf("Version: %s\n\n\n", kPlatform);
}

void MainMenu() {
  PrintBanner();
  ConsoleWrite(
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
      "\nEnter your choice:\n");
  // 0 is never dispatched: the prompt simply repeats on it.
  const auto choice = static_cast<uint32_t>(PromptNumber("option = ", 1, UINT32_MAX, 32));
  ConsoleWrite("\n");
  if (choice > kLastMenuChoice) {
    ConsoleWrite("Unrecognized Option\n");
    return;
  }
  const MenuEntry& entry = kMenuEntries[choice];
  if (entry.constant == nullptr && entry.action == nullptr) {
    NotAvailable();
    return;
  }
  ConsoleWrite("\n\n");
  if (entry.constant != nullptr) {
    ConstantMenu(*entry.constant);
  } else {
    entry.action();
  }
}

int ZentrixMain() {
  MainMenu();
  ConsoleWrite("\n\n\n");
  Pause();
  return 0;
}

}  // namespace zx
