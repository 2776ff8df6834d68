#include "menus/main_menu.hpp"

int main(int, char**) { return zx::ZentrixMain(); }
