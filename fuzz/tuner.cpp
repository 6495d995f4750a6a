// Fuzz target: the files of the tuning tools. The first byte chooses a reader, for games ('g'),
// labelled positions ('p') or the list of weights ('w'); the rest is the file. What a reader
// accepts must be what it says, and everything that the tools do with it is done.
#include "control/cecp.h"
#include "control/clock.h"
#include "control/fen.h"
#include "control/fen_check.h"
#include "control/system.h"
#include "control/think.h"
#include "search/search.h"
#include "session.h"
#include "tools/common/text_file.h"
#include "tools/tuning/coefficients.h"
#include "tools/tuning/extract.h"
#include "tools/tuning/records.h"
#include "tools/tuning/weight_list.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tarsimo::fuzz {

namespace {

using namespace tuning;

constexpr std::uint32_t STEP_MS = 1;
constexpr int SEARCH_BUDGET_MS = 100;
constexpr std::uint64_t PER_GAME = 4;
constexpr double ROUNDING = 4;  // centipawns between the linear sum and the evaluation

char reader = 'g';
std::string_view text;

// The pieces of a FEN in their order.
std::string pieces_of(const std::string& fen) {
    std::string pieces = fen.substr(0, fen.find(' '));
    std::erase_if(pieces, [](char c) { return c >= '1' && c <= '8'; });
    return pieces;
}

void check_position(const LabelledPosition& position) {
    std::string why;
    demand(checked_fen(position.fen, why) == position.fen, "a labelled position is one");
    set_up_position(position);
    const std::string fen = tuning::position_fen();
    set_position_fen(fen);
    demand(tuning::position_fen() == fen, "a position is what it was written as");
    demand(pieces_of(fen) == pieces_of(position.fen), "no piece is lost");
}

void read_game(const std::string& line, Extractor& extractor) {
    const auto game = parse_game(line);
    if (!game) return;
    const std::string written = format_game(*game);
    const auto again = parse_game(written);
    demand(again && format_game(*again) == written, "a game survives its text");

    // The searches behind the extraction are stopped at some time by the session's clock.
    time_budget_ms = SEARCH_BUDGET_MS;
    search_start_ms = clock_ms();
    search_aborted = false;
    bool legal = false;
    for (const LabelledPosition& position : extractor.extract(*game, legal)) {
        demand(legal, "only legal games give positions");
        const auto parsed = parse_position(format_position(position));
        demand(parsed && format_position(*parsed) == format_position(position),
               "what is extracted can be read");
        check_position(position);
    }
}

void read_position(const std::string& line, const Values& values) {
    const auto position = parse_position(line);
    if (!position) return;
    check_position(*position);
    Samples samples;
    int score = 0;
    if (!append_sample(samples, score)) {
        demand(samples.positions.empty() && samples.terms.empty(), "nothing is left of a refusal");
        return;
    }
    const double sum = linear_score(samples, samples.positions.back(), values);
    demand(std::abs(sum - score) <= ROUNDING, "the linear sum is the evaluation");
}

// The weights of a list, "S(1, -2)", without those of its comments.
std::vector<std::string> weights_in(const std::string& list) {
    std::vector<std::string> weights;
    std::istringstream lines(list);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("//")) continue;
        for (auto begin = line.find(" S("); begin != std::string::npos;) {
            const auto end = line.find(')', begin);
            weights.push_back(line.substr(begin, end - begin));
            begin = line.find(" S(", begin + 1);
        }
    }
    return weights;
}

void read_weights(const std::string& list, const Values& values) {
    const std::string written = rewrite_list(list, values);
    if (written.empty()) return;
    demand(rewrite_list(written, values) == written, "a list of weights survives its text");
    Values others = values;
    for (double& value : others) value += 1;
    const std::string changed = rewrite_list(list, others);
    demand(rewrite_list(changed, values) == written, "only the values are rewritten");
    const std::vector<std::string> before = weights_in(written);
    const std::vector<std::string> after = weights_in(changed);
    demand(before.size() == values.size() / 2 && after.size() == before.size(),
           "every weight is in the list");
    for (std::size_t i = 0; i < before.size(); ++i) {
        demand(before[i] != after[i], "every weight is rewritten");
    }
}

// The file comes by its name, as it does to the tools.
void serve() {
    const int descriptor = memfd_create("file", MFD_CLOEXEC);
    demand(descriptor >= 0, "there is a file");
    const ssize_t written = write(descriptor, text.data(), text.size());
    demand(written == static_cast<ssize_t>(text.size()), "the file takes the input");
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);

    voice = &cecp_voice;
    const Values values = built_in_values();
    Extractor extractor(PER_GAME, 1);
    tool::TextFile file(path);
    std::string list;
    for (std::string line; file.next(line);) {
        if (reader == 'p') read_position(line, values);
        else if (reader == 'w') list += line + "\n";
        else read_game(line, extractor);
    }
    demand(file.fault().empty(), "a short file can be read");
    if (reader == 'w') read_weights(list, values);
    close(descriptor);
}

}  // namespace

}  // namespace tarsimo::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarsimo::fuzz;
    if (size == 0) return 0;
    reader = static_cast<char>(data[0]);
    text = {reinterpret_cast<const char*>(data) + 1, std::min(size - 1, MAX_INPUT)};
    run_session("", STEP_MS, serve);
    return 0;
}
