// tarsimo-tree: the figures of single searches, to compare trees between builds.
//
//   tarsimo-tree COMMAND ...            the figures of each command; tree_commands.h lists them
//   tarsimo-tree                        the same, a command a line from standard input
//   tarsimo-tree --pin < OLD > NEW      a list of pinned figures (tests/data/trees.txt) with the
//                                       figures of this build, for a change meant to alter trees
//
// Ends with status 1 when a command is not understood. --pin then prints no list, nor when the two
// commands under a comment "# pair" have equal figures: they no longer show their rule.
#include <cstdio>
#include <iostream>
#include <string>

#include "control/engine.h"
#include "control/think.h"
#include "tools/tree_commands.h"

namespace {

bool all_understood = true;

std::string figures_of(const std::string& command) {
    std::string figures;
    if (tarsimo::tree::execute(command, figures)) return figures;
    std::fprintf(stderr, "tarsimo-tree: not understood: %s\n", command.c_str());
    all_understood = false;
    return "not understood: " + command;
}

// Prints nothing when the list must not be used.
int pin_list() {
    const tarsimo::tree::Pinned pinned = tarsimo::tree::pin(std::cin);
    if (!pinned.refusal.empty()) {
        std::fprintf(stderr, "tarsimo-tree: %s", pinned.refusal.c_str());
        return 1;
    }
    std::printf("%s", pinned.list.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    tarsimo::init_engine();
    tarsimo::stop_test_enabled = false;
    if (argc == 2 && std::string(argv[1]) == "--pin") return pin_list();
    if (argc > 1) {
        for (int i = 1; i < argc; ++i) std::printf("%s\n", figures_of(argv[i]).c_str());
        return all_understood ? 0 : 1;
    }
    std::string line;
    while (std::getline(std::cin, line)) {
        std::printf("%s\n", figures_of(line).c_str());
        std::fflush(stdout);
    }
    return all_understood ? 0 : 1;
}
