// tarsimo-tree: the figures of single searches, to compare trees between builds.
#include "control/engine.h"
#include "control/think.h"
#include "tools/command_line.h"
#include "tools/text_file.h"
#include "tools/tree_commands.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

using namespace tarsimo;

constexpr char ARROW[] = " =>";

constexpr char USAGE[] = R"(usage: tarsimo-tree COMMAND ...
       tarsimo-tree < COMMANDS
       tarsimo-tree --pin < OLD > NEW

Prints the figures of single searches. Without arguments commands are read from
standard input, one per line. --pin reads a list of pinned figures, such as
tests/data/trees.txt, and prints it with the figures of this build.

  FEN ; DEPTH ; ALPHA ; BETA     search from a clean state, depth in half-plies
  replies FEN ; BETA ; DEPTH     reply search
  quiesce FEN ; ALPHA ; BETA     quiescence search
  moves FEN, qmoves FEN          move lists in order, with their scores
  see FEN FROM TO                exchange value
  eval FEN                       static evaluation with an open window

Exit status: 0, 2 when a command was not understood.
)";

bool all_understood = true;

std::string figures_of(const std::string& command) {
    std::string figures;
    if (tree::execute(command, figures)) return figures;
    all_understood = false;
    return "not understood: " + tool::printable(command) + ": " + figures;
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

int finish() { return tool::finish_output(all_understood ? EXIT_SUCCESS : tool::EXIT_IMPOSSIBLE); }

}  // namespace

int main(int argc, char** argv) {
    tool::answer_help(argc, argv, USAGE);
    const bool pinning = argc == 2 && std::string(argv[1]) == "--pin";
    if (argc > 1 && argv[1][0] == '-' && !pinning) tool::reject_command_line(USAGE);
    init_engine();
    stop_test_enabled = false;
    if (!pinning) {
        for (int i = 1; i < argc; ++i) std::printf("%s\n", figures_of(argv[i]).c_str());
    }
    if (argc > 1 && !pinning) return finish();
    std::string line;
    while (std::getline(std::cin, line)) {
        if (pinning) pin(line);
        else std::printf("%s\n", figures_of(line).c_str());
        std::fflush(stdout);
    }
    if (std::ferror(stdin) != 0) tool::fail("cannot read the standard input");
    return finish();
}
