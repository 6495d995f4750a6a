// tarsimo-match: plays a match between two engines and measures it. `tarsimo-match --help`
// lists the options; docs/matches.md tells more.
#include "tools/match/match.h"

#include "control/engine.h"
#include "tools/common/command_line.h"

#include <getopt.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>

namespace {

using namespace tarsimo;
using namespace tarsimo::match;

constexpr int MAX_GAMES = 1000000;
constexpr int MAX_JOBS = 256;
constexpr int MAX_PLIES = 3000;  // well within the board's history

constexpr char USAGE[] =
    R"(usage: tarsimo-match [OPTION]... FIRST SECOND
       tarsimo-match --pairs N,N,N,N,N [--sprt ELO0,ELO1]

Plays a match between two engines that speak CECP or UCI. An engine is a command
line, with uci: before it if it speaks UCI, and NAME= before that if it is to be
called NAME: old=uci:../old/build/tarsimo-uci

  -n, --games N        games, two of each opening with colours changed (20)
  -t, --tc CONTROL     seconds+increment 5+0.05, moves/seconds 40/60, st=1 (seconds
                       a move), sd=6 (plies) or nodes=5000 (positions, if both speak
                       UCI); 5+0.05 without it
  -j, --jobs N         games at a time (1)
  -o, --openings FILE  lines of FEN, EPD or moves; - for the initial position
      --seed N         order of the openings (1)
  -p, --pgn FILE       where games are added; match-FIRST-SECOND.pgn without it
  -q, --quiet          a line for every tenth of the match, not for every game
      --log FOLDER     keep what engines are sent and what they answer
      --sprt E0,E1     stop when E0 or E1 Elo is settled, errors 5 %
      --margin S       seconds by which a clock may be overstepped (0.05)
      --resign CP,N    a game is lost when both sides' last N scores say so by CP
                       centipawns (900,4); 0 for never
      --draw CP,N,M    a game is drawn when both sides' last N scores are within
                       CP, after move M; 0 for never, as without it
      --maxplies N     a longer game is drawn (500)
      --memory MB      told to engines that can be told (256)
      --option E:O=V   set option O of the UCI engine called E to V; as often as needed
      --restart        start both engines anew for every game
      --pairs COUNTS   no match: the figures of pairs with 0, 1/2, 1, 3/2, 2 points

Exit status: 0, 1 when an engine was at fault (time, illegal moves, false claims,
crashes), 2 when the match cannot be played or its games cannot be written, 130,
143 or 129 after SIGINT (Ctrl-C), SIGTERM or SIGHUP.
)";

[[noreturn]] void fail(const std::string& message) {
    tool::fail(message + " (tarsimo-match --help lists the options)");
}

std::vector<double> numbers_of(const std::string& text, const std::string& option) {
    std::vector<double> numbers;
    std::istringstream fields(text);
    for (std::string field; std::getline(fields, field, ',');) {
        char* end = nullptr;
        numbers.push_back(std::strtod(field.c_str(), &end));
        if (end == field.c_str() || *end != '\0' || !std::isfinite(numbers.back())) {
            fail(option + " " + text + ": not a number: " + field);
        }
    }
    return numbers;
}

std::vector<int> counts_of(const std::string& text, const std::string& option, std::size_t least,
                           std::size_t most) {
    std::vector<int> counts;
    for (const double number : numbers_of(text, option)) {
        if (number < 0 || number > INT_MAX / 8 || number != std::floor(number)) {
            fail(option + " " + text + ": not a whole number from 0 on");
        }
        counts.push_back(static_cast<int>(number));
    }
    if (counts.size() < least || counts.size() > most) {
        fail(option + " " + text + ": " + std::to_string(most) + " numbers are wanted");
    }
    return counts;
}

int count_of(const char* text, const std::string& option, int least, int most) {
    const int count = counts_of(text, option, 1, 1)[0];
    if (count < least || count > most) {
        fail(option + " " + text + ": from " + std::to_string(least) + " to " +
             std::to_string(most));
    }
    return count;
}

Adjudication adjudication_of(const char* text, const std::string& option, std::size_t fields) {
    if (std::strcmp(text, "0") == 0) return {};
    const std::vector<int> counts = counts_of(text, option, 2, fields);
    return {counts[0], std::max(counts[1], 1), counts.size() > 2 ? counts[2] : 0};
}

void read_hypotheses(const char* text, Settings& settings) {
    const std::vector<double> elo = numbers_of(text, "--sprt");
    if (elo.size() != 2 || elo[0] >= elo[1] || std::abs(elo[0]) > 800 || std::abs(elo[1]) > 800) {
        fail(std::string("--sprt ") + text + ": E0,E1 with E0 less than E1 is wanted");
    }
    settings.sequential = true;
    settings.elo0 = elo[0];
    settings.elo1 = elo[1];
}

struct Arguments {
    Settings settings;
    std::string openings = TARSIMO_OPENINGS;
    unsigned seed = 1;
    std::vector<std::string> options;  // ENGINE:OPTION=VALUE
    std::string pairs;                 // counts to compute the figures of, instead of a match
};

enum LongOption {
    SEED = 1000,
    LOG,
    SPRT,
    MARGIN,
    RESIGN,
    DRAW,
    MAXPLIES,
    MEMORY,
    OPTION,
    RESTART,
    PAIRS
};

constexpr std::array<option, 19> long_options = {{
    {"games", required_argument, nullptr, 'n'},
    {"tc", required_argument, nullptr, 't'},
    {"jobs", required_argument, nullptr, 'j'},
    {"openings", required_argument, nullptr, 'o'},
    {"pgn", required_argument, nullptr, 'p'},
    {"quiet", no_argument, nullptr, 'q'},
    {"help", no_argument, nullptr, 'h'},
    {"seed", required_argument, nullptr, SEED},
    {"log", required_argument, nullptr, LOG},
    {"sprt", required_argument, nullptr, SPRT},
    {"margin", required_argument, nullptr, MARGIN},
    {"resign", required_argument, nullptr, RESIGN},
    {"draw", required_argument, nullptr, DRAW},
    {"maxplies", required_argument, nullptr, MAXPLIES},
    {"memory", required_argument, nullptr, MEMORY},
    {"option", required_argument, nullptr, OPTION},
    {"restart", no_argument, nullptr, RESTART},
    {"pairs", required_argument, nullptr, PAIRS},
    {nullptr, 0, nullptr, 0},
}};

void read_option(int letter, Arguments& arguments) {
    Settings& settings = arguments.settings;
    switch (letter) {
        case 'n': settings.games = count_of(optarg, "--games", 1, MAX_GAMES); break;
        case 't':
            if (!parse_time_control(optarg, settings.control)) {
                fail(std::string("--tc ") + optarg + ": not understood");
            }
            break;
        case 'j': settings.jobs = count_of(optarg, "--jobs", 1, MAX_JOBS); break;
        case 'o': arguments.openings = optarg; break;
        case 'p': settings.pgn_path = optarg; break;
        case 'q': settings.quiet = true; break;
        case SEED:
            arguments.seed = static_cast<unsigned>(count_of(optarg, "--seed", 0, INT_MAX / 8));
            break;
        case LOG: settings.log_folder = optarg; break;
        case SPRT: read_hypotheses(optarg, settings); break;
        case MARGIN: {
            const std::vector<double> seconds = numbers_of(optarg, "--margin");
            if (seconds.size() != 1 || seconds[0] < 0 || seconds[0] > 3600) {
                fail(std::string("--margin ") + optarg + ": seconds from 0 to 3600 are wanted");
            }
            settings.margin = std::llround(seconds[0] * SECOND);
            break;
        }
        case RESIGN: settings.resign = adjudication_of(optarg, "--resign", 2); break;
        case DRAW: settings.draw = adjudication_of(optarg, "--draw", 3); break;
        case MAXPLIES: settings.longest_plies = count_of(optarg, "--maxplies", 1, MAX_PLIES); break;
        case MEMORY: settings.memory_mb = count_of(optarg, "--memory", 1, 1 << 20); break;
        case OPTION: arguments.options.emplace_back(optarg); break;
        case RESTART: settings.restart = true; break;
        case PAIRS: arguments.pairs = optarg; break;
        default: tool::reject_command_line(USAGE);
    }
}

int print_pairs(const Arguments& arguments) {
    const std::vector<int> counts = counts_of(arguments.pairs, "--pairs", 5, 5);
    PairCounts pairs{};
    std::copy(counts.begin(), counts.end(), pairs.begin());
    print_figures(arguments.settings, pairs);
    return tool::finish_output(EXIT_SUCCESS);
}

// The same order in every build: the standard's own shuffle is each library's choice.
void shuffle(std::vector<Opening>& openings, unsigned seed) {
    std::mt19937 generator(seed);
    for (std::size_t left = openings.size(); left > 1; --left) {
        std::swap(openings[left - 1], openings[generator() % left]);
    }
}

void read_engines(char** texts, Settings& settings) {
    for (std::size_t i = 0; i < settings.engines.size(); ++i) {
        if (!parse_engine(texts[i], settings.engines[i])) {
            fail(std::string("not an engine: ") + texts[i]);
        }
    }
    if (settings.engines[0].name == settings.engines[1].name) settings.engines[1].name += "-2";
    if (settings.pgn_path.empty()) {
        settings.pgn_path =
            "match-" + settings.engines[0].name + "-" + settings.engines[1].name + ".pgn";
    }
}

void read_engine_option(const std::string& text, Settings& settings) {
    const auto colon = text.find(':');
    const auto equals = std::min(text.find('=', std::min(colon, text.size())), text.size());
    if (colon == std::string::npos || equals <= colon + 1) {
        fail("--option " + text + ": ENGINE:OPTION=VALUE is wanted");
    }
    for (EngineCommand& engine : settings.engines) {
        if (engine.name != text.substr(0, colon)) continue;
        if (!engine.uci) fail("--option " + text + ": " + engine.name + " is no UCI engine");
        engine.options.emplace_back(text.substr(colon + 1, equals - colon - 1),
                                    text.substr(std::min(equals + 1, text.size())));
        return;
    }
    fail("--option " + text + ": no engine of that name");
}

}  // namespace

int main(int argc, char** argv) {
    tool::answer_help(argc, argv, USAGE);
    Arguments arguments;
    Settings& settings = arguments.settings;
    parse_time_control("5+0.05", settings.control);
    for (;;) {
        const int letter = getopt_long(argc, argv, "n:t:j:o:p:qh", long_options.data(), nullptr);
        if (letter < 0) break;
        read_option(letter, arguments);
    }
    if (!arguments.pairs.empty() && optind == argc) return print_pairs(arguments);
    if (argc - optind != 2 || !arguments.pairs.empty()) { tool::reject_command_line(USAGE); }
    read_engines(argv + optind, settings);
    for (const std::string& text : arguments.options) read_engine_option(text, settings);
    for (const EngineCommand& engine : settings.engines) {
        if (settings.control.nodes > 0 && !engine.uci) {
            fail("--tc " + settings.control.text + ": " + engine.name + " is no UCI engine");
        }
    }

    init_engine();
    std::string why;
    if (arguments.openings == "-") settings.openings.push_back({INITIAL_FEN, {}});
    else if (!read_openings(arguments.openings, settings.openings, why)) tool::fail(why);
    shuffle(settings.openings, arguments.seed);
    return run_match(settings);
}
