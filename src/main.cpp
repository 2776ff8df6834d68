#include "cli/cli_main.hpp"
#include "menus/main_menu.hpp"

// Without arguments the program is the interactive menu; with them, a scripted run.
int main(int argc, char** argv) { return argc > 1 ? zx::CliMain(argc, argv) : zx::ZentrixMain(); }
