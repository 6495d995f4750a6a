// Fuzz target: what the match tool reads. The first byte chooses an opening file ('o'), played out
// as far as it goes, or lines ('l') each of which is tried as a game record from a worker, a time
// control, an engine and a move.
#include "tools/match/match.h"
#include "board/move_list.h"
#include "control/notation.h"
#include "session.h"
#include "tools/common/legal_moves.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tarsimo::fuzz {

namespace {

using namespace match;

constexpr std::uint32_t STEP_MS = 1;
constexpr std::size_t MAX_CHECKED_MOVES = 40;  // of a position

char kind = 'o';
std::string_view text;

// Legal moves are found again by both of their names, and every claim can be judged. The last moves
// of the list are taken: a name that fits two moves is answered with the first.
void check_position() {
    const std::string fen = position_fen();
    std::string why;
    demand(begin_game_at(fen, why) && position_fen() == fen,
           "a position is what it was written as");
    std::vector<int> legal = legal_moves();
    std::reverse(legal.begin(), legal.end());
    legal.resize(std::min(legal.size(), MAX_CHECKED_MOVES));
    for (const int index : legal) {
        const std::string name = coordinate_name(move_at(index));
        const LegalMove found = recognise_move(name);
        demand(found.list_index >= 0 && found.coordinates == name, "a legal move has its name");
        demand(recognise_move(found.san).coordinates == name, "its other name is its own");
    }
    for (const int outcome : {WHITE, BLACK, 0}) claim_holds(outcome);
}

void read_openings_from_file() {
    const int descriptor = memfd_create("openings", MFD_CLOEXEC);
    demand(descriptor >= 0, "there is a file");
    const ssize_t written = write(descriptor, text.data(), text.size());
    demand(written == static_cast<ssize_t>(text.size()), "the file takes the input");
    std::vector<Opening> openings;
    std::string why;
    const bool accepted =
        read_openings("/proc/self/fd/" + std::to_string(descriptor), openings, why);
    close(descriptor);
    demand(accepted == why.empty(), "a refusal has a reason");
    if (!accepted) return;
    demand(!openings.empty(), "there are openings");
    for (const Opening& opening : openings) {
        demand(begin_game_at(opening.fen, why), "an opening can be set up again");
        for (const std::string& name : opening.moves) {
            const LegalMove move = recognise_move(name);
            demand(move.list_index >= 0, "the moves of an opening are legal");
            play(move);
        }
        demand(!game_ending().over, "a game goes on from its opening");
        check_position();
    }
}

void read_line_of_text(const std::string& line) {
    GameRecord record;
    if (parse_record(line, record)) {
        const std::string again = record_line(record);
        GameRecord copy;
        demand(parse_record(again, copy), "a record can be read again");
        demand(record_line(copy) == again, "a record survives its text");
    }
    TimeControl control;
    if (parse_time_control(line, control)) {
        demand(control.base > 0 || control.per_move > 0 || control.depth > 0 || control.nodes > 0,
               "a time control limits something");
    }
    EngineCommand command;
    if (parse_engine(line, command)) {
        demand(!command.name.empty() && !command.words.empty(), "an engine has a name");
    }
    std::string why;
    if (begin_game_at(line, why)) check_position();
    else demand(!why.empty(), "a refusal has a reason");
}

void serve() {
    if (kind != 'l') {
        read_openings_from_file();
        return;
    }
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) read_line_of_text(line);
}

}  // namespace

}  // namespace tarsimo::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarsimo::fuzz;
    if (size == 0) return 0;
    kind = static_cast<char>(data[0]);
    text = {reinterpret_cast<const char*>(data) + 1, std::min(size - 1, MAX_INPUT)};
    run_session("", STEP_MS, serve);
    return 0;
}
