// The lists of known results: legal paths of well-known positions, pinned trees, and single
// cases of set-up, moves, clock and texts.
#include "support.h"

#include "tools/tree_commands.h"

#include <cinttypes>
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
    std::string text;
    for (int rank = A8; rank >= A1; rank -= 10) {
        for (int sq = rank; sq < rank + 8; ++sq) {
            const char letter = FEN_LETTERS[type_on(sq)];
            if (piece_on(sq) != EMPTY)
                text += piece_on(sq) > 0 ? static_cast<char>(letter - 'a' + 'A') : letter;
            else if (!text.empty() && text.back() >= '1' && text.back() < '8') ++text.back();
            else text += '1';
        }
        text += rank > A1 ? '/' : ' ';
    }
    text += side == WHITE ? "w " : "b ";
    const auto add_right = [&](int king, int rook, int colour, char right) {
        const bool home = piece_on(king) == colour * KING && piece_on(rook) == colour * ROOK;
        if (home && square_moves[at(king)] + square_moves[at(rook)] == 0) text += right;
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

// Carries out a command of the case list; the forms are told there.
std::string case_figures(const std::string& line) {
    const std::string command = first_word(line);
    const std::string rest = line.substr(line.find(command) + command.size());
    auto fields = tree::split(rest, ';');
    for (std::string& field : fields) field = tree::trimmed(field);
    std::array<int, 7> n{};
    std::istringstream numbers(rest);
    for (int& number : n) numbers >> number;

    if (command == "fen") {
        side = BLACK;
        const std::string output = quoted_output_of([&] { set_position_fen(fields[0]); });
        return position_text() + " " + output;
    }
    if (command == "make") {
        set_position_fen(fields[0]);
        play(fields[1]);
        return position_text();
    }
    if (command == "print") {
        set_position_fen(fields[0]);
        const auto print = [index = find_move(fields[1])] { print_move(index); };
        const std::string console = quoted_output_of(print);
        xboard_mode = true;
        voice = &cecp_voice;
        return console + " " + quoted_output_of(print);
    }
    if (command == "user") {
        set_position_fen(fields[0]);
        bool made = false;
        const std::string output = quoted_output_of([&] { made = parse_user_move(fields[1]); });
        EXPECT_EQ(can_take_back(1), made);
        return fields[1] + (made ? " made " : " refused ") + output + " " + position_text();
    }
    if (command == "clock") {
        int left = 77;
        GameClock clock{n[2], n[3], n[4], n[0], n[1]};
        const int budget = allocate_time(clock, left, n[5], n[6] == WHITE);
        return std::to_string(budget) + " left " + std::to_string(left) + " level " +
               std::to_string(clock.level_moves);
    }
    if (command == "stop") {
        stop_test_enabled = true;
        start_clock_ago(n[0]);
        time_budget_ms = n[1];
        moves_left = n[2];
        root.first_root_move = n[3] != 0;
        time_extended = n[4] != 0;
        time_limit_ms = n[5];
        return input_pending() ? "stop" : "on";
    }
    if (command == "table" || command == "cut") {
        set_up("rnbqk2r/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQK2R w KQkq -");
        search_ply = n[3];
        tt_store(n[0], n[1], n[2], D2, D4);
        search_ply = n[6];
        bool null_ok = true;
        int score = 0;
        if (command == "table") n[0] = tt_probe(n[4], score, n[5], null_ok);
        else score = search(n[4], n[5], 4, false, false);
        search_ply = 0;
        if (command == "cut") return nodes == 0 ? std::to_string(score) : "searched";
        return std::to_string(n[0]) + " score " + std::to_string(score) + " null " +
               std::to_string(null_ok) + " hits " + std::to_string(statistics.hash_hits) + " " +
               square_name(hash_move.from) + square_name(hash_move.to);
    }
    if (command == "prune" || command == "skip") {
        set_up(fields[1]);
        const int alpha = evaluate(-INF, INF) + n[1];
        history_max = n[2];
        search(alpha, alpha + 1, n[0], false, false);
        if (command == "skip") return "nodes " + std::to_string(nodes);
        return "futility " + std::to_string(statistics.futility);
    }
    if (command == "reduction") return std::to_string(late_move_reduction(n[0], n[1]));
    if (command == "number") return std::to_string(parse_number(fields[0], std::stoi(fields[1])));
    return "not understood";
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

// Score, nodes, every counter, the digest of all nodes entered, and the variation; exchange
// values, evaluations and lists: they change exactly when search or evaluation does.
TEST_F(Data, Trees) {
    const std::string arrow = " =>";
    const auto lines = data_lines("trees.txt");
    ASSERT_GT(lines.size(), 600U);
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

TEST_F(Data, Cases) {
    const auto lines = data_lines("cases.txt");
    ASSERT_GT(lines.size(), 100U);
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
