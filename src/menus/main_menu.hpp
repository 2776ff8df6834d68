// The front door: start-up word check, banner, main menu with its dispatch, and the two pages.
// One run of the program performs one menu action; there is no loop back to the menu.
#pragma once

#include <cstdint>

namespace zx {

inline constexpr const char* kVersion = "0.2.1 Alpha Build 6841";
inline constexpr const char* kPlatform = "x64";
inline constexpr uint32_t kLastMenuChoice = 15;

// Cleared to 0 by the start-up check once a word has shown 32 bits.
extern uint32_t gWordSizeFlag;

void PrintBanner();
void MainMenu();
// The whole program: the menu, one action, three blank lines and a pause. Returns the exit code.
int ZentrixMain();

}  // namespace zx
