// Program entry: initialise, greet, show the board, serve the console.
#include "control/console.h"
#include "control/display.h"
#include "control/engine.h"
#include "control/output.h"

int main() {
    tarsimo::init_engine();
    tarsimo::print("\n   Tarsimo II version 2023, febrero 2023 ");
    tarsimo::print_board();
    tarsimo::run_console();
}
