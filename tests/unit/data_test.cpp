// The lists of known results: legal paths of well-known positions, the signature of whole trees,
// exchange values and move lists, and single cases of set-up, moves and texts.
#include "support.h"

#include "tools/common/fen_writer.h"
#include "tools/measure/tree_commands.h"

#include <cinttypes>
#include <map>
#include <sstream>

namespace tarsimo::test {

namespace {

class Data : public Engine {};

std::uint64_t perft(int depth) {
    const std::vector<int> legal = legal_moves();
    if (depth == 1) return legal.size();
    std::uint64_t leaves = 0;
    for (const int index : legal) {
        make_move(index);
        leaves += perft(depth - 1);
        unmake_move();
    }
    return leaves;
}

// The position as a FEN text, with the reversible moves and, as two figures, who counts as
// having castled.
std::string position_text() {
    std::string text = tool::board_field(board) + (side == WHITE ? " w " : " b ");
    const auto add_right = [&](int king, int rook, int colour, char right) {
        const bool home = piece_on(king) == colour * KING && piece_on(rook) == colour * ROOK;
        if (home && square_moves[idx(king)] + square_moves[idx(rook)] == 0) text += right;
    };
    add_right(E1, H1, WHITE, 'K');
    add_right(E1, A1, WHITE, 'Q');
    add_right(E8, H8, BLACK, 'k');
    add_right(E8, A8, BLACK, 'q');
    if (text.back() == ' ') text += '-';
    return text + " " + square_name(ep_square) + " " + std::to_string(fifty) + " castled " +
           std::to_string(white_castled) + std::to_string(black_castled);
}

// What a function prints, on one line between quotes.
std::string quoted_output_of(const std::function<void()>& function) {
    std::string text;
    for (const char c : output_of(function)) text += c == '\n' ? "\\n" : std::string(1, c);
    return "\"" + text + "\"";
}

using Fields = std::vector<std::string>;

std::string set_up_text(const Fields& fields) {
    side = BLACK;
    const std::string output = quoted_output_of([&] { set_position_fen(fields[0]); });
    return position_text() + " " + output;
}

std::string make_moves(const Fields& fields) {
    set_position_fen(fields[0]);
    play(fields[1]);
    return position_text();
}

std::string print_one_move(const Fields& fields) {
    set_position_fen(fields[0]);
    const auto print = [index = index_of_move(fields[1])] { print_move(index); };
    const std::string console = quoted_output_of(print);
    xboard_mode = true;
    voice = &cecp_voice;
    return console + " " + quoted_output_of(print);
}

std::string enter_move(const Fields& fields) {
    set_position_fen(fields[0]);
    std::string text = fields[1];
    bool made = false;
    const std::string output = quoted_output_of([&] { made = parse_user_move(text); });
    EXPECT_EQ(can_take_back(1), made);
    return text + (made ? " made " : " refused ") + output + " " + position_text();
}

std::string read_number(const Fields& fields) {
    return std::to_string(parse_number(fields[0], std::stoi(fields[1])));
}

const std::map<std::string, std::string (*)(const Fields&)> case_commands = {
    {"fen", set_up_text}, {"make", make_moves},    {"print", print_one_move},
    {"user", enter_move}, {"number", read_number},
};

std::string case_figures(const std::string& line) {
    const std::string name = first_word(line);
    const auto command = case_commands.find(name);
    if (command == case_commands.end()) return "not understood";
    return command->second(fields_of(line.substr(line.find(name) + name.size())));
}

// The figures of every command of a list, made with the tree tool's own functions.
void expect_figures(const std::string& file) {
    const std::string arrow = tree::ARROW;
    const auto lines = data_lines(file);
    ASSERT_GT(lines.size(), 150U);
    for (std::size_t i = 0; i < lines.size();) {
        const auto end = lines[i].find(arrow);
        ASSERT_NE(end, std::string::npos) << lines[i];
        const std::string command = lines[i].substr(0, end);
        std::string expected = tree::trimmed(lines[i].substr(end + arrow.size()));
        for (++i; i < lines.size() && lines[i].find(arrow) == std::string::npos; ++i) {
            expected += (expected.empty() ? "" : "\n") + lines[i];
        }
        std::string figures;
        ASSERT_TRUE(tree::execute(command, figures)) << command;
        EXPECT_EQ(figures, expected) << command;
    }
}

// Deeper counts of the suite are left to the perft tool.
TEST_F(Data, LegalPaths) {
    constexpr std::uint64_t most_leaves = 450000;
    const auto lines = data_lines("perft.epd");
    ASSERT_GT(lines.size(), 20U);
    for (const std::string& line : lines) {
        std::istringstream fields(line);
        std::string fen, field;
        std::getline(fields, fen, ';');
        set_position_fen(fen);
        const Snapshot before = snapshot();
        while (std::getline(fields, field, ';')) {
            int depth = 0;
            std::uint64_t expected = 0;
            ASSERT_EQ(std::sscanf(field.c_str(), "D%d %" SCNu64, &depth, &expected), 2) << line;
            if (expected > most_leaves) break;
            EXPECT_EQ(perft(depth), expected) << fen << " depth " << depth;
        }
        EXPECT_TRUE(snapshot() == before) << fen;
    }
}

// Score, nodes, every counter, the digest of all nodes entered, and the variation of whole trees;
// evaluations. They change exactly when search or evaluation does.
TEST_F(Data, Trees) { expect_figures("trees.txt"); }

TEST_F(Data, PinningRefusesEqualSidesOfAPair) {
    const auto pinned = [](const std::string& second_side) {
        std::istringstream list(
            "# pair: a guard\nsee 4k3/8/4p3/3p4/8/8/8/3QK3 w - - d1 d5 => old\n" + second_side +
            " =>\nold\n# end\n");
        return tree::pin(list);
    };
    const std::string unguarded = "see 4k3/8/8/3p4/8/8/8/3QK3 w - - d1 d5";
    EXPECT_EQ(pinned(unguarded).refusal, "");
    EXPECT_EQ(pinned(unguarded).list,
              "# pair: a guard\nsee 4k3/8/4p3/3p4/8/8/8/3QK3 w - - d1 d5 => see -1100\n" +
                  unguarded + " => see 100\n# end\n");
    EXPECT_NE(pinned("see 4k3/8/2p5/3p4/8/8/8/3QK3 w - - d1 d5").refusal, "");
    EXPECT_NE(pinned("see nothing").refusal, "");
}

// What the tree tool cannot set up or search gets a reason, and no figures of something else.
TEST_F(Data, TreeCommandsWithoutSenseAreRefused) {
    const std::string fen = "4k3/8/8/3p4/4P3/8/8/4K3 w - -";
    std::string figures;
    ASSERT_TRUE(tree::execute("see " + fen + " e4 d5", figures));
    ASSERT_TRUE(tree::execute(fen + " ; 2 ; -10 ; 10", figures));
    for (const std::string& bad :
         {std::string("eval 8/8/8/8/8/8/8/8 w - -"), std::string("moves x"), std::string("see"),
          "see " + fen + " e4 999999", "see " + fen + " e4 20", "see " + fen + " -1 d5",
          "see " + fen + " e5 d5", fen + " ; -1 ; -10 ; 10", fen + " ; 999999 ; -10 ; 10",
          fen + " ; 2 ; x ; 10", fen + " ; 2 ; -99999 ; 10", "quiesce " + fen + " ; 0",
          "replies " + fen + " ; 0 ; many"}) {
        figures.clear();
        EXPECT_FALSE(tree::execute(bad, figures)) << bad;
        EXPECT_FALSE(figures.empty()) << bad;
    }
}
// Exchange values and move lists with their scores.
TEST_F(Data, Lists) { expect_figures("lists.txt"); }

TEST_F(Data, Cases) {
    const auto lines = data_lines("cases.txt");
    ASSERT_GT(lines.size(), 70U);
    for (const std::string& line : lines) {
        const auto arrow = line.find(" => ");
        ASSERT_NE(arrow, std::string::npos) << line;
        SetUp();
        EXPECT_EQ(case_figures(line.substr(0, arrow)), line.substr(arrow + 4)) << line;
        EXPECT_TRUE(snapshot() == recounted()) << line;
    }
}

}  // namespace

}  // namespace tarsimo::test
