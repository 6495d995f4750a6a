/// Single searches as text: a command, and the figures that it yields. Shared by the tree
/// tool, which prints them, and the tests, which compare them with pinned ones.
///
///   FEN ; depth ; alpha ; beta     search from a clean state, depth in half-plies
///   replies FEN ; beta ; depth     reply search
///   quiesce FEN ; alpha ; beta     quiescence search
///   moves FEN, qmoves FEN          lists in order, with their scores
///   see FEN from to                exchange value
///   eval FEN                       static evaluation with an open window
#ifndef TARSIMO_TOOLS_TREE_COMMANDS_H
#define TARSIMO_TOOLS_TREE_COMMANDS_H

#include "board/attacks.h"
#include "board/generate.h"
#include "board/move_list.h"
#include "board/see.h"
#include "control/fen.h"
#include "control/fen_check.h"
#include "control/notation.h"
#include "control/text.h"
#include "eval/evaluate.h"
#include "search/digest.h"
#include "search/ordering.h"
#include "search/search.h"
#include "search/statistics.h"
#include "tools/command_line.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <istream>
#include <string>
#include <vector>

namespace tarsimo::tree {

inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> fields(1);
    for (const char c : text) {
        if (c == separator) fields.emplace_back();
        else fields.back() += c;
    }
    return fields;
}

inline std::string trimmed(const std::string& text) {
    const auto begin = text.find_first_not_of(' ');
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

/// The position of a FEN text with everything else as in a fresh program.
inline void set_up(const std::string& fen) {
    set_position_fen(trimmed(fen));
    reset_search();
    reset_tree_digest();
}

/// Score, nodes, counters, digest and variation of the search just made, on one line.
inline std::string search_figures(int score) {
    const SearchStatistics& s = statistics;
    std::string text = "score " + std::to_string(score);
    const auto add = [&text](const char* name, std::uint64_t value) {
        text += std::string(" ") + name + " " + std::to_string(value);
    };
    add("nodes", nodes);
    add("razoring", s.razoring);
    add("nul_estatic", s.static_null);
    add("futility", s.futility);
    add("lmr", s.lmr);
    add("en_prueba", s.on_trial);
    add("extensores", s.extensions);
    add("ex_jaque", s.check_extensions);
    add("hash_prob", s.hash_probes);
    add("hash_exito", s.hash_hits);
    add("nulos_prob", s.null_tries);
    add("nulos_exito", s.null_cuts);
    add("eval_hash", eval_hash_count);
    add("eval_lazy", eval_lazy_count);
    add("eval_completa", eval_full_count);

    std::array<char, 32> digest{};
    std::snprintf(digest.data(), digest.size(), "%016" PRIx64, tree_digest);
    text += " history_max " + std::to_string(history_max) + " digest " + digest.data() + " pv";
    for (const PvEntry& entry : pv_table[0]) {
        if (entry.from == 0) break;
        text += " " + square_name(entry.from) + square_name(entry.to);
    }
    return text;
}

/// The root's list, a line a move.
inline std::string list_figures() {
    std::string text;
    for (int i = 0; i < move_count; ++i) {
        const Move& m = move_at(i);
        text += std::to_string(m.from) + " " + std::to_string(m.to) + " " + square_name(m.from) +
                square_name(m.to) + " captured " + std::to_string(m.captured) + " promotion " +
                std::to_string(m.promotion) + " castle " + std::to_string(m.castle) +
                " ep_capture " + std::to_string(m.ep_capture) + " score " +
                std::to_string(m.score) + "\n";
    }
    return text + "moves " + std::to_string(move_count);
}

/// A square from its name or its number on the 10x12 board, 0 for anything else.
inline int square_number(const std::string& name) {
    if (name.size() == 2 && name[0] >= 'a' && name[0] <= 'h' && name[1] >= '1' && name[1] <= '8') {
        return name[0] - 'a' + 1 + 10 * (name[1] - '0' + 1);
    }
    int number = 0;
    tool::read_count(name, 0, BOARD_SIZE - 1, number);
    return number;
}

/// Carry out a command. Returns false when it is not understood, and `figures` then says why. The
/// stop test should be off.
inline bool execute(const std::string& line, std::string& figures) {
    constexpr int MAX_HALF_PLIES = 120;
    const std::string command = first_word(line);
    const std::vector<std::string> fields = split(line, ';');
    const auto refuse = [&figures](const std::string& why) {
        figures = why;
        return false;
    };
    const auto rest = [&](const std::string& text) {
        return trimmed(text.substr(text.find(command) + command.size()));
    };
    const auto set_up_checked = [&](const std::string& text) {
        const std::string fen = checked_fen(text, figures);
        if (!fen.empty()) set_up(fen);
        return !fen.empty();
    };
    const auto depth = [&](std::size_t i, int& number) {
        return tool::read_count(trimmed(fields[i]), 0, MAX_HALF_PLIES, number);
    };
    const auto score = [&](std::size_t i, int& number) {
        return tool::read_count(trimmed(fields[i]), -INFINITE_SCORE, INFINITE_SCORE, number);
    };
    int half_plies = 0;
    int alpha = 0;
    int beta = 0;

    if (command == "moves" || command == "qmoves") {
        if (!set_up_checked(rest(line))) return false;
        if (command == "moves") generate_moves();
        else generate_captures();
        figures = list_figures();
    } else if (command == "see") {
        const std::string text = rest(line);
        const auto last = text.rfind(' ');
        if (last == std::string::npos || last == 0) return refuse("two squares are needed");
        const auto second = text.rfind(' ', last - 1);
        if (second == std::string::npos) return refuse("two squares are needed");
        const int from = square_number(text.substr(second + 1, last - second - 1));
        const int to = square_number(text.substr(last + 1));
        if (!on_board(from) || !on_board(to)) return refuse("not two squares of the board");
        if (!set_up_checked(text.substr(0, second))) return false;
        if (piece_on(from) == EMPTY) return refuse("no piece on the first square");
        figures = "see " + std::to_string(see(from, to));
    } else if (command == "eval") {
        if (!set_up_checked(rest(line))) return false;
        figures = "eval " + std::to_string(evaluate(-INFINITE_SCORE, INFINITE_SCORE));
    } else if (command == "replies" && fields.size() == 3) {
        if (!score(1, beta) || !depth(2, half_plies)) return refuse("a bad bound or depth");
        if (!set_up_checked(rest(fields[0]))) return false;
        figures = search_figures(search_replies(beta, half_plies));
    } else if (command == "quiesce" && fields.size() == 3) {
        if (!score(1, alpha) || !score(2, beta)) return refuse("a bad bound");
        if (!set_up_checked(rest(fields[0]))) return false;
        figures = search_figures(quiesce(alpha, beta, 0));
    } else if (fields.size() == 4) {
        if (!depth(1, half_plies)) return refuse("a bad depth");
        if (!score(2, alpha) || !score(3, beta)) return refuse("a bad bound");
        if (!set_up_checked(trimmed(fields[0]))) return false;
        figures = search_figures(search(alpha, beta, half_plies, true, in_check()));
    } else {
        return refuse("no command has this form");
    }
    return true;
}

/// What stands between a command and its figures in a list of pinned ones.
inline constexpr char ARROW[] = " =>";

/// A list of pinned figures with those of this build.
struct Pinned {
    std::string list;
    std::string refusal;  ///< why the list must not be used; empty when it may
};

/// Make a list of pinned figures anew. Comments stay, and the figures of a command are replaced,
/// those on the lines below it included. Under a comment that begins with "# pair" stand the two
/// sides of a rule: their figures must differ, or the pair no longer shows the rule.
inline Pinned pin(std::istream& old) {
    Pinned pinned;
    int of_pair = 0;  // commands of a pair that are still to come
    std::string first_side;
    std::string line;
    while (std::getline(old, line)) {
        const auto arrow = line.find(ARROW);
        if (line.empty() || line[0] == '#') {
            pinned.list += line + "\n";
            if (line.rfind("# pair", 0) == 0) of_pair = 2;
        } else if (arrow != std::string::npos) {
            const std::string command = line.substr(0, arrow);
            std::string figures;
            if (!execute(command, figures)) pinned.refusal += "not understood: " + command + "\n";
            if (of_pair == 1 && figures == first_side) {
                pinned.refusal += "no difference within the pair: " + command + "\n";
            }
            if (of_pair == 2) first_side = figures;
            of_pair = std::max(of_pair - 1, 0);
            const bool several_lines = figures.find('\n') != std::string::npos;
            pinned.list += command + ARROW + (several_lines ? "\n" : " ") + figures + "\n";
        }
    }
    return pinned;
}

}  // namespace tarsimo::tree

#endif
