// tarsimo-tree: the figures of single searches, to compare trees between builds.
//
// Reads one command a line, from its arguments or standard input:
//   FEN ; depth ; alpha ; beta     search from a clean state, depth in half-plies
//   replies FEN ; beta ; depth     reply search
//   quiesce FEN ; alpha ; beta     quiescence search
//   moves FEN, qmoves FEN          lists in order, with their scores
//   see FEN from to                exchange value
//   eval FEN                       static evaluation with an open window
// Each search prints its score, nodes, counters, digest and variation on one line.
#include "board/board.h"
#include "control/control.h"
#include "eval/eval.h"
#include "search/search.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace tarsimo;

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> fields(1);
    for (const char c : text) {
        if (c == separator) fields.emplace_back();
        else fields.back() += c;
    }
    return fields;
}

std::string trimmed(const std::string& text) {
    const auto begin = text.find_first_not_of(' ');
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

void set_up(const std::string& fen) {
    set_position_fen(trimmed(fen));
    reset_search();
    reset_tree_digest();
}

void print_search(int score) {
    const SearchStatistics& s = statistics;
    std::printf("score %d nodes %" PRIu64 " razoring %" PRIu64 " nul_estatic %" PRIu64 " futility %" PRIu64
                " lmr %" PRIu64 " en_prueba %" PRIu64 " extensores %" PRIu64 " ex_jaque %" PRIu64
                " hash_prob %" PRIu64 " hash_exito %" PRIu64 " nulos_prob %" PRIu64 " nulos_exito %" PRIu64
                " eval_hash %" PRIu64 " eval_lazy %" PRIu64 " eval_completa %" PRIu64
                " history_max %d digest %016" PRIx64 " pv",
                score, nodes, s.razoring, s.static_null, s.futility, s.lmr, s.on_trial, s.extensions,
                s.check_extensions, s.hash_probes, s.hash_hits, s.null_tries, s.null_cuts, eval_hash_count,
                eval_lazy_count, eval_full_count, history_max, tree_digest);
    for (const PvEntry& entry : pv_table[0]) {
        if (entry.from == 0) break;
        std::printf(" %s%s", square_name(entry.from).c_str(), square_name(entry.to).c_str());
    }
    std::printf("\n");
}

void print_list() {
    list_start(1) = move_count;
    for (int i = 0; i < move_count; ++i) {
        const Move& m = move_at(i);
        std::printf("%d %d %s%s captured %d promotion %d castle %d ep_capture %d score %d\n", m.from, m.to,
                    square_name(m.from).c_str(), square_name(m.to).c_str(), m.captured, m.promotion,
                    m.castle, m.ep_capture, m.score);
    }
    std::printf("moves %d\n", move_count);
}

int square_number(const std::string& name) {
    if (name.size() == 2 && name[0] >= 'a' && name[0] <= 'h' && name[1] >= '1' && name[1] <= '8') {
        return name[0] - 'a' + 1 + 10 * (name[1] - '0' + 1);
    }
    return std::atoi(name.c_str());
}

// Searches with bounds and a depth take their fields behind semicolons.
bool execute(const std::string& line) {
    const std::string command = first_word(line);
    const std::vector<std::string> fields = split(line, ';');
    const auto number = [&](std::size_t i) { return std::atoi(fields[i].c_str()); };
    const auto rest = [&](const std::string& text) { return trimmed(text.substr(text.find(command) + command.size())); };

    if (command == "moves" || command == "qmoves") {
        set_up(rest(line));
        if (command == "moves") generate_moves();
        else generate_captures();
        print_list();
    } else if (command == "see") {
        const std::string text = rest(line);
        const auto last = text.rfind(' ');
        const auto second = text.rfind(' ', last - 1);
        if (last == std::string::npos || second == std::string::npos) return false;
        set_up(text.substr(0, second));
        std::printf("see %d\n", see(square_number(text.substr(second + 1, last - second - 1)),
                                    square_number(text.substr(last + 1))));
    } else if (command == "eval") {
        set_up(rest(line));
        std::printf("eval %d\n", evaluate(-MATE_BOUND, MATE_BOUND));
    } else if (command == "replies" && fields.size() == 3) {
        set_up(rest(fields[0]));
        print_search(search_replies(number(1), number(2)));
    } else if (command == "quiesce" && fields.size() == 3) {
        set_up(rest(fields[0]));
        print_search(quiesce(number(1), number(2), 0));
    } else if (fields.size() == 4) {
        set_up(fields[0]);
        print_search(search(number(2), number(3), number(1), true, in_check()));
    } else {
        return false;
    }
    return true;
}

void execute_or_complain(const std::string& line) {
    if (!execute(line)) std::printf("not understood: %s\n", line.c_str());
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
