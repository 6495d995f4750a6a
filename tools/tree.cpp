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

constexpr char USAGE[] = R"(usage: tarsimo-tree COMMAND ...
       tarsimo-tree < COMMANDS
       tarsimo-tree --pin < OLD > NEW

Prints the figures of single searches. Without arguments commands are read from
standard input, one per line. --pin reads a list of pinned figures, such as
tests/data/trees.txt, and prints it with the figures of this build; it refuses
when two commands under a comment "# pair" have equal figures, since they no
longer show their rule.

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

int finish() { return tool::finish_output(all_understood ? EXIT_SUCCESS : tool::EXIT_IMPOSSIBLE); }

// Prints nothing when the list must not be used.
int pin_list() {
    const tree::Pinned pinned = tree::pin(std::cin);
    if (!pinned.refusal.empty()) {
        std::fprintf(stderr, "%s", pinned.refusal.c_str());
        return tool::EXIT_IMPOSSIBLE;
    }
    std::printf("%s", pinned.list.c_str());
    return finish();
}

}  // namespace

int main(int argc, char** argv) {
    tool::answer_help(argc, argv, USAGE);
    const bool pinning = argc == 2 && std::string(argv[1]) == "--pin";
    if (argc > 1 && argv[1][0] == '-' && !pinning) tool::reject_command_line(USAGE);
    init_engine();
    stop_test_enabled = false;
    if (pinning) return pin_list();
    for (int i = 1; i < argc; ++i) std::printf("%s\n", figures_of(argv[i]).c_str());
    if (argc > 1) return finish();
    std::string line;
    while (std::getline(std::cin, line)) {
        std::printf("%s\n", figures_of(line).c_str());
        std::fflush(stdout);
    }
    if (std::ferror(stdin) != 0) tool::fail("cannot read the standard input");
    return finish();
}
