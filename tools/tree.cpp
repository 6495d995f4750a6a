// tarsimo-tree: the figures of single searches, to compare trees between builds.
//
//   tarsimo-tree COMMAND ...            the figures of each command; tree_commands.h lists them
//   tarsimo-tree                        the same, a command a line from standard input
//   tarsimo-tree --pin < OLD > NEW      a list of pinned figures (tests/data/trees.txt) with the
//                                       figures of this build, for a change meant to alter trees
//
// Ends with status 1 when a command is not understood.
#include <cstdio>
#include <iostream>
#include <string>

#include "control/engine.h"
#include "control/think.h"
#include "tools/tree_commands.h"

namespace {

constexpr char ARROW[] = " =>";

bool all_understood = true;

std::string figures_of(const std::string& command) {
    std::string figures;
    if (tarsimo::tree::execute(command, figures)) return figures;
    std::fprintf(stderr, "tarsimo-tree: not understood: %s\n", command.c_str());
    all_understood = false;
    return "not understood: " + command;
}

// Comments stay; figures on the lines below a command are made anew with it.
void pin(const std::string& line) {
    const auto arrow = line.find(ARROW);
    if (line.empty() || line[0] == '#') {
        std::printf("%s\n", line.c_str());
    } else if (arrow != std::string::npos) {
        const std::string command = line.substr(0, arrow);
        const std::string figures = figures_of(command);
        const bool several_lines = figures.find('\n') != std::string::npos;
        std::printf("%s%s%s%s\n", command.c_str(), ARROW, several_lines ? "\n" : " ",
                    figures.c_str());
    }
}

}  // namespace

int main(int argc, char** argv) {
    tarsimo::init_engine();
    tarsimo::stop_test_enabled = false;
    const bool pinning = argc == 2 && std::string(argv[1]) == "--pin";
    if (argc > 1 && !pinning) {
        for (int i = 1; i < argc; ++i) std::printf("%s\n", figures_of(argv[i]).c_str());
        return all_understood ? 0 : 1;
    }
    std::string line;
    while (std::getline(std::cin, line)) {
        if (pinning) pin(line);
        else std::printf("%s\n", figures_of(line).c_str());
        std::fflush(stdout);
    }
    return all_understood ? 0 : 1;
}
