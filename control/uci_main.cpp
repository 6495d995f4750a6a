// Entry of the second program: the same engine, spoken to by UCI.
#include "control/engine.h"
#include "control/uci.h"

int main() {
    tarsimo::init_engine();
    tarsimo::run_uci();
}
