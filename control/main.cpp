// Program entry: initialise, greet, show the board, serve the console.
#include "control/control.h"

#include <cstdio>

int main() {
    tarsimo::init_engine();
    std::printf("\n   Tarsimo II version 2023, febrero 2023 ");
    tarsimo::print_board();
    tarsimo::run_console();
}
