// tarsimo-tree: the figures of single searches, to compare trees between builds.
//
// Reads one command a line, from its arguments or standard input; tree_commands.h lists
// them. Each prints its figures.
#include "tools/tree_commands.h"

#include <iostream>

namespace {

void execute_or_complain(const std::string& line) {
    std::string figures;
    if (tarsimo::tree::execute(line, figures)) std::printf("%s\n", figures.c_str());
    else std::printf("not understood: %s\n", line.c_str());
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    tarsimo::init_engine();
    tarsimo::stop_test_enabled = false;
    for (int i = 1; i < argc; ++i) execute_or_complain(argv[i]);
    std::string line;
    while (argc == 1 && std::getline(std::cin, line)) execute_or_complain(line);
}
