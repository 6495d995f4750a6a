#include "tools/tuning/options.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace tarsimo::tuning {

namespace {

template <typename Number> bool read_number(const std::string& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool assign(const OptionTarget& target, const std::string& text) {
    if (const auto* whole = std::get_if<std::uint64_t*>(&target)) return read_number(text, **whole);
    if (const auto* real = std::get_if<double*>(&target)) {
        return read_number(text, **real) && std::isfinite(**real);
    }
    **std::get_if<std::string*>(&target) = text;
    return true;
}

}  // namespace

std::vector<std::string> read_options(int argc, char** argv, std::size_t files, const char* usage,
                                      std::initializer_list<Option> options) {
    tool::answer_help(argc, argv, usage);
    const auto reject = [usage](const std::string& reason) {
        std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, reason.c_str());
        tool::reject_command_line(usage);
    };
    std::vector<std::string> names;
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--", 2) != 0) {
            names.emplace_back(argv[i]);
            continue;
        }
        const Option* chosen = nullptr;
        for (const Option& option : options) {
            if (std::strcmp(option.name, argv[i]) == 0) chosen = &option;
        }
        if (chosen == nullptr) reject(std::string("no such option: ") + argv[i]);
        if (++i == argc || !assign(chosen->target, argv[i])) {
            reject(std::string("bad value of ") + chosen->name);
        }
    }
    if (names.size() != files) { reject("file names expected: " + std::to_string(files)); }
    return names;
}

void require_writable(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "ae");
    if (file == nullptr) tool::fail("cannot write " + path + ": " + std::strerror(errno));
    std::fclose(file);
}

}  // namespace tarsimo::tuning
