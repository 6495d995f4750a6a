// Records of games, PGN, and what the user reads.
#include "tools/match/match.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <sstream>

namespace tarsimo::match {

namespace {

constexpr char FIELD_END = '\t';
constexpr std::size_t PGN_WIDTH = 80;

constexpr std::array<const char*, FAULT_KINDS> fault_names = {
    "", "time", "illegal", "refused", "claims", "crashes", "silent"};

// What an engine wrote, made fit for a record, a comment and a tag.
std::string harmless(const std::string& text) {
    constexpr std::size_t LONGEST = 100;
    std::string result = text.substr(0, LONGEST);
    for (char& c : result) {
        if (c == '{') c = '(';
        else if (c == '}') c = ')';
        else if (c == '"' || c == '\\') c = '\'';
        else if (c < ' ' || c > '~') c = '?';
    }
    return result;
}

double in_seconds(Micros time) { return static_cast<double>(time) / SECOND; }

std::string clock_text(Micros time) {
    const long seconds = static_cast<long>(time / SECOND);
    char text[32];
    if (seconds < 3600) std::snprintf(text, sizeof text, "%ld:%02ld", seconds / 60, seconds % 60);
    else std::snprintf(text, sizeof text, "%ld:%02ld h", seconds / 3600, seconds / 60 % 60);
    return text;
}

std::string elo_text(double elo) {
    if (std::isinf(elo)) return elo > 0 ? "+inf" : "-inf";
    char text[32];
    std::snprintf(text, sizeof text, "%+.1f", elo + 0.0);
    return text;
}

int sum_of(const PairCounts& pairs) {
    int sum = 0;
    for (const int count : pairs) sum += count;
    return sum;
}

std::string elo_with_interval(const PairCounts& pairs) {
    if (sum_of(pairs) == 0) return "?";
    const EloEstimate estimate = estimate_elo(pairs);
    return elo_text(estimate.elo) + " [" + elo_text(estimate.low) + ", " + elo_text(estimate.high) +
           "]";
}

std::string ratio_text(const Settings& settings, const PairCounts& pairs) {
    const double ratio = log_likelihood_ratio(pairs, settings.elo0, settings.elo1);
    const double bound = sequential_bound();
    char text[128];
    std::snprintf(text, sizeof text, "%.2f of (%.2f, %.2f)", ratio, -bound, bound);
    return text;
}

void print_tag(std::ostream& out, const char* name, const std::string& value) {
    out << '[' << name << " \"" << harmless(value) << "\"]\n";
}

std::string pgn_time_control(const TimeControl& control) {
    char text[64];
    if (control.depth > 0 || control.nodes > 0) return "-";
    if (control.per_move > 0) {
        std::snprintf(text, sizeof text, "1/%g", in_seconds(control.per_move));
        return text;
    }
    const std::string moves = control.moves > 0 ? std::to_string(control.moves) + "/" : "";
    std::snprintf(text, sizeof text, "%s%g+%g", moves.c_str(), in_seconds(control.base),
                  in_seconds(control.increment));
    return text;
}

std::string today() {
    const std::time_t time = std::time(nullptr);
    std::tm date = {};
    localtime_r(&time, &date);
    char text[32];
    std::strftime(text, sizeof text, "%Y.%m.%d", &date);
    return text;
}

std::string wrapped(const std::string& text) {
    std::string result;
    std::size_t width = 0;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (width > 0 && width + 1 + word.size() > PGN_WIDTH) {
            result += '\n';
            width = 0;
        } else if (width > 0) {
            result += ' ';
            ++width;
        }
        result += word;
        width += word.size();
    }
    return result;
}

}  // namespace

const char* result_text(int outcome) {
    return outcome == WHITE ? "1-0" : outcome == BLACK ? "0-1" : "1/2-1/2";
}

std::string record_line(const GameRecord& record) {
    std::ostringstream line;
    line << RECORD_LINE << record.number << FIELD_END << record.outcome << FIELD_END << record.plies
         << FIELD_END << harmless(record.reason) << FIELD_END << record.fen << FIELD_END
         << record.moves;
    for (const SideRecord& side_record : record.sides) {
        line << FIELD_END << static_cast<int>(side_record.fault) << ' ' << side_record.moves << ' '
             << side_record.thinking << ' ' << side_record.least_left << ' ' << side_record.depths
             << ' ' << side_record.depth_sum;
    }
    return line.str();
}

bool parse_record(const std::string& line, GameRecord& record) {
    if (line.empty() || line[0] != RECORD_LINE) return false;
    std::vector<std::string> fields;
    std::istringstream rest(line.substr(1));
    for (std::string field; std::getline(rest, field, FIELD_END);) fields.push_back(field);
    if (fields.size() != 8) return false;
    record.number = std::atoi(fields[0].c_str());
    record.outcome = std::atoi(fields[1].c_str());
    record.plies = std::atoi(fields[2].c_str());
    record.reason = fields[3];
    record.fen = fields[4];
    record.moves = fields[5];
    for (std::size_t i = 0; i < record.sides.size(); ++i) {
        std::istringstream numbers(fields[6 + i]);
        SideRecord& to = record.sides[i];
        int fault = 0;
        numbers >> fault >> to.moves >> to.thinking >> to.least_left >> to.depths >> to.depth_sum;
        if (!numbers || fault < 0 || idx(fault) >= FAULT_KINDS) return false;
        to.fault = static_cast<Fault>(fault);
    }
    return true;
}

void add_game(Standing& standing, const GameRecord& record) {
    const std::size_t white = white_engine(record.number);
    const int points = 1 + (white == 0 ? record.outcome : -record.outcome);
    const auto number = idx(record.number);
    standing.points[number] = points;
    ++standing.results[idx(points)];
    ++standing.played;
    standing.plies += record.plies;

    const auto partner = number ^ 1U;
    if (partner < standing.points.size() && standing.points[partner] >= 0) {
        ++standing.pairs[idx(points + standing.points[partner])];
    }
    for (std::size_t engine = 0; engine < standing.engines.size(); ++engine) {
        const SideRecord& from = record.sides[engine == white ? 0 : 1];
        SideRecord& to = standing.engines[engine];
        ++standing.faults[engine][static_cast<std::size_t>(from.fault)];
        if (from.moves > 0 && (to.moves == 0 || from.least_left < to.least_left)) {
            to.least_left = from.least_left;
        }
        to.moves += from.moves;
        to.thinking += from.thinking;
        to.depths += from.depths;
        to.depth_sum += from.depth_sum;
    }
    // What stands behind a colon is the single game's.
    const std::string reason = record.reason.substr(0, record.reason.find(':'));
    const auto known = std::find_if(standing.reasons.begin(), standing.reasons.end(),
                                    [&](const auto& entry) { return entry.first == reason; });
    if (known != standing.reasons.end()) ++known->second;
    else standing.reasons.emplace_back(reason, 1);
}

bool write_pgn(int fd, const Settings& settings, const GameRecord& record) {
    const std::size_t white = white_engine(record.number);
    std::ostringstream out;
    print_tag(out, "Event", settings.engines[0].name + " - " + settings.engines[1].name);
    print_tag(out, "Site", "?");
    print_tag(out, "Date", today());
    print_tag(out, "Round",
              std::to_string(record.number / 2 + 1) + "." + std::to_string(record.number % 2 + 1));
    print_tag(out, "White", settings.engines[white].name);
    print_tag(out, "Black", settings.engines[1 - white].name);
    print_tag(out, "Result", result_text(record.outcome));
    if (record.fen != INITIAL_FEN) {
        print_tag(out, "SetUp", "1");
        print_tag(out, "FEN", record.fen);
    }
    print_tag(out, "TimeControl", pgn_time_control(settings.control));
    print_tag(out, "PlyCount", std::to_string(record.plies));
    print_tag(out, "Termination", record.reason);
    out << '\n'
        << wrapped(record.moves + " {" + record.reason + "} " + result_text(record.outcome))
        << "\n\n";
    struct stat before = {};
    fstat(fd, &before);
    if (write_all(fd, out.str())) return true;
    // A part of a game would spoil the games added later.
    const int error = errno;
    if (S_ISREG(before.st_mode) && ftruncate(fd, before.st_size) != 0) errno = 0;
    errno = error;
    return false;
}

void print_progress(const Settings& settings, const Standing& standing, const GameRecord& record,
                    Micros elapsed) {
    const std::size_t white = white_engine(record.number);
    const int tenth = std::max(settings.games / 10, 1);
    if (settings.quiet && standing.played % tenth != 0) return;
    const Micros to_come = elapsed / standing.played * (settings.games - standing.played);
    std::printf("%d/%d", standing.played, settings.games);
    if (!settings.quiet) {
        std::printf("  %s - %s  %s  %s, %d moves ", settings.engines[white].name.c_str(),
                    settings.engines[1 - white].name.c_str(), result_text(record.outcome),
                    record.reason.c_str(), (record.plies + 1) / 2);
    }
    std::printf("  +%d =%d -%d  Elo %s", standing.results[2], standing.results[1],
                standing.results[0], elo_with_interval(standing.pairs).c_str());
    if (settings.sequential) {
        std::printf("  ratio %.2f",
                    log_likelihood_ratio(standing.pairs, settings.elo0, settings.elo1));
    }
    std::printf("  %s gone, %s to come\n", clock_text(elapsed).c_str(),
                clock_text(to_come).c_str());
    std::fflush(stdout);
}

void print_figures(const Settings& settings, const PairCounts& pairs) {
    const int count = sum_of(pairs);
    std::printf("pairs by points 0 .. 2: %d %d %d %d %d\n", pairs[0], pairs[1], pairs[2], pairs[3],
                pairs[4]);
    if (count > 0) {
        std::printf("Elo difference %s, 95 %% interval from %d pairs, stronger with %.1f %%\n",
                    elo_with_interval(pairs).c_str(), count, 100 * estimate_elo(pairs).superiority);
    }
    if (!settings.sequential) return;
    const double ratio = log_likelihood_ratio(pairs, settings.elo0, settings.elo1);
    const char* verdict = ratio >= sequential_bound()    ? "elo1 accepted"
                          : ratio <= -sequential_bound() ? "elo0 accepted"
                                                         : "undecided";
    std::printf("sequential test elo0 %g elo1 %g: ratio %s, %s\n", settings.elo0, settings.elo1,
                ratio_text(settings, pairs).c_str(), verdict);
}

void print_summary(const Settings& settings, const Standing& standing, Micros elapsed) {
    const double points = standing.results[2] + standing.results[1] / 2.0;
    std::printf("\n%s against %s: %d of %d games at %s, %s\n", settings.engines[0].name.c_str(),
                settings.engines[1].name.c_str(), standing.played, settings.games,
                settings.control.text.c_str(), clock_text(elapsed).c_str());
    if (standing.played > 0) {
        std::printf("score +%d =%d -%d, %.1f/%d, %.1f %%\n", standing.results[2],
                    standing.results[1], standing.results[0], points, standing.played,
                    100 * points / standing.played);
        print_figures(settings, standing.pairs);

        std::printf("\n%-20s", "faults");
        for (std::size_t kind = 1; kind < FAULT_KINDS; ++kind) {
            std::printf(" %8s", fault_names[kind]);
        }
        std::printf("  %6s %8s %10s\n", "depth", "s/move", "least s");
        for (std::size_t i = 0; i < settings.engines.size(); ++i) {
            const SideRecord& engine = standing.engines[i];
            std::printf("%-20.20s", settings.engines[i].name.c_str());
            for (std::size_t kind = 1; kind < FAULT_KINDS; ++kind) {
                std::printf(" %8d", standing.faults[i][kind]);
            }
            std::printf("  %6.1f %8.3f %10.2f\n",
                        static_cast<double>(engine.depth_sum) / std::max(engine.depths, 1),
                        in_seconds(engine.thinking) / std::max(engine.moves, 1),
                        in_seconds(engine.least_left));
        }

        std::vector<std::pair<std::string, int>> reasons = standing.reasons;
        std::stable_sort(reasons.begin(), reasons.end(),
                         [](const auto& a, const auto& b) { return a.second > b.second; });
        std::printf("\nends:");
        for (std::size_t i = 0; i < reasons.size(); ++i) {
            std::printf("%s %s %d", i > 0 ? "," : "", reasons[i].first.c_str(), reasons[i].second);
        }
        std::printf("; %.0f plies per game\n",
                    static_cast<double>(standing.plies) / standing.played);
    }
    if (standing.abandoned > 0) std::printf("games abandoned: %d\n", standing.abandoned);
    std::printf("games: %s\n", settings.pgn_path.c_str());
    std::fflush(stdout);
}

bool any_fault(const Standing& standing) {
    return std::any_of(standing.faults.begin(), standing.faults.end(), [](const auto& faults) {
        return std::any_of(faults.begin() + 1, faults.end(), [](int count) { return count > 0; });
    });
}

}  // namespace tarsimo::match
