// The rules of search() for a node and its moves, from a list that tells its form: each line plants
// what evaluation and table say, searches one node, and looks at what the search did.
#include "search_fixture.h"

#include "tools/measure/tree_commands.h"

#include <algorithm>
#include <iomanip>
#include <map>
#include <sstream>

namespace tarsimo::test {

namespace {

// What a line expects: "razoring 1", or with an argument 'node 2 "S b1a3"'.
struct Figure {
    std::string name, argument, expected;
};

std::vector<Figure> figures_of(const std::string& text) {
    std::vector<Figure> figures;
    std::istringstream words(text);
    for (Figure figure; words >> figure.name; figures.push_back(figure)) {
        if (figure.name == "node" || figure.name == "depths") words >> figure.argument;
        words >> std::quoted(figure.expected);
    }
    return figures;
}

const std::map<std::string, const std::uint64_t*> counters = {
    {"nodes", &nodes},
    {"razoring", &statistics.razoring},
    {"static_null", &statistics.static_null},
    {"futility", &statistics.futility},
    {"lmr", &statistics.lmr},
    {"extensions", &statistics.extensions},
    {"check_extensions", &statistics.check_extensions},
    {"null_tries", &statistics.null_tries},
    {"null_cuts", &statistics.null_cuts},
};

bool is_move_of_node(const Node& node) {
    return node.kind == 'S' && node.ply == 1 && node.allow_null;
}

// Whether a figure looks at the moves of the node, and at which node the search may then stop.
bool looks_at_moves(const Figure& figure) {
    return figure.name.starts_with("move") || figure.name == "searched" ||
           figure.name == "pruned" || figure.name == "depths";
}
std::function<bool(const Node&)> last_node(const std::vector<Figure>& figures) {
    for (const Figure& figure : figures) {
        if (figure.name == "move") return is_move_of_node;
        if (figure.name != "node") continue;
        return [before = std::stoi(figure.argument)](const Node&) mutable { return before-- == 0; };
    }
    return {};
}

class Rules : public SearchRules {
  protected:
    int score = 0;                              // from the material balance
    std::vector<Node> entered;                  // behind the node itself
    std::map<std::string, std::string> depths;  // of the searches of each move

    void search_line(const std::string& fen, const std::string& text,
                     const std::vector<Figure>& figures) {
        std::istringstream words(text);
        NodeSetup setup{};
        std::string word;
        const std::map<std::string, int*> numbers = {{"depth", &setup.depth},
                                                     {"above", &setup.above},
                                                     {"over", &setup.over},
                                                     {"width", &setup.width}};
        while (words >> word) {
            if (word == "no_null") setup.allow_null = false;
            else if (word == "open") setup.open = true;
            else if (word == "quiescence") setup.quiescence = true;
            else if (numbers.contains(word)) words >> *numbers.at(word);
            else break;
        }
        NodeLog log(last_node(figures));
        score = search_node(fen.c_str(), setup, [&] {
            if (std::any_of(figures.begin(), figures.end(), looks_at_moves)) let_every_move_fail();
            for (; words; words >> word) plant(word, words);
        });
        score -= balance();
        entered.assign(log.nodes.begin() + 1, log.nodes.end());
        depths.clear();
        for (const Node& node : entered) {
            if (is_move_of_node(node)) depths[node.move] += std::to_string(node.depth) + " ";
        }
    }

    std::string seen(const Figure& figure) {
        std::string text;
        if (counters.contains(figure.name)) return std::to_string(*counters.at(figure.name));
        if (figure.name == "score") return std::to_string(score);
        if (figure.name == "entered") return std::to_string(entered.size());
        if (figure.name == "moves") return std::to_string(depths.size());
        if (figure.name == "node") return text_of(entered.at(idx(std::stoi(figure.argument) - 1)));
        if (figure.name == "move") {
            text = entered.back().move + " " + std::to_string(entered.back().depth);
        } else if (figure.name == "depths") {
            text = depths[figure.argument];
        } else if (figure.name == "kinds") {
            for (const Node& node : entered) text += node.kind;
        } else if (figure.name == "tried") {
            for (const Node& node : entered) text += node.ply == 1 ? node.move + " " : "";
        } else if (figure.name == "searched") {
            for (const auto& move : depths) text += move.first + " ";
        } else if (figure.name == "pruned") {
            for_each_legal_move([&](int index) {
                const std::string name = coordinate_name(move_at(index));
                if (!depths.contains(name)) text += name + " ";
            });
        } else {
            ADD_FAILURE() << "no such figure: " << figure.name;
        }
        return tree::trimmed(text);
    }

  private:
    static void plant(const std::string& word, std::istream& words) {
        const std::map<std::string, MoveRef*> killers = {
            {"killer1", &killer1[0]}, {"killer2", &killer2[0]}, {"killer3", &killer3[0]}};
        std::string name;
        int number = 0;
        if (word == "fail") {
            let_every_move_fail();
        } else if (word == "history_max") {
            words >> history_max;
        } else if (word == "stored_upper" || word == "stored_exact") {
            int stored_score = 0;
            words >> number >> stored_score;
            tt_store(word == "stored_upper" ? BOUND_UPPER : BOUND_EXACT, number, stored_score, 0,
                     0);
        } else if (word == "after" && words >> name >> number) {
            after(name, [number] { set_result(number); });
        } else if (word == "judged" && words >> name >> number) {
            after(name, [number] { set_evaluation(number); });
        } else if (word == "history" && words >> name >> number) {
            for (const int index : legal_moves()) {
                const Move& move = move_at(index);
                const bool meant = name == "all" || name == coordinate_name(move);
                if (meant) history[idx(side + 1)][move.from][move.to] = number;
            }
        } else if (word == "hash" && words >> name) {
            set_hash_move(name);
        } else if (killers.contains(word) && words >> name) {
            const Move& move = move_at(index_of_move(name));
            *killers.at(word) = {move.from, move.to, 0};
        } else {
            ADD_FAILURE() << "no such word: " << word;
        }
    }
};

TEST_F(Rules, AreAsListed) {
    std::map<std::string, std::string> positions;
    int rules = 0;
    for (const std::string& line : data_lines("rules.txt")) {
        SCOPED_TRACE(line);
        const std::vector<std::string> fields = fields_of(line);
        if (fields.size() == 2) {
            positions[fields[0]] = fields[1];
            continue;
        }
        ASSERT_GE(fields.size(), 3U);
        const std::vector<Figure> figures = figures_of(fields[0]);
        search_line(positions.contains(fields[1]) ? positions[fields[1]] : fields[1], fields[2],
                    figures);
        for (const Figure& figure : figures) {
            ++rules;
            std::string text = seen(figure);
            const bool begins = figure.name == "node" || figure.name == "kinds";
            if (begins) text.resize(std::min(text.size(), figure.expected.size()));
            EXPECT_EQ(text, figure.expected) << figure.name;
        }
    }
    EXPECT_GT(rules, 200);
}

}  // namespace

}  // namespace tarsimo::test
