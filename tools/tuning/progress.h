/// Progress of a long run on standard error: a line that is rewritten on a terminal, and a new
/// line now and then elsewhere.
#ifndef TARSIMO_TOOLS_TUNING_PROGRESS_H
#define TARSIMO_TOOLS_TUNING_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace tarsimo::tuning {

class Progress {
  public:
    /// `what` names what is counted; `total` of them will be done, `done` have been before.
    Progress(const char* what, std::uint64_t total, std::uint64_t done = 0);

    /// Report when the time has come. `note` is appended.
    void update(std::uint64_t done, const std::string& note = "");

    /// Report the end.
    void finish(std::uint64_t done, const std::string& note = "");

  private:
    void print(std::uint64_t done, const std::string& note);
    double seconds() const;

    const char* what_;
    std::uint64_t total_;
    std::uint64_t first_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    double next_report_ = 0;
    bool terminal_;
};

}  // namespace tarsimo::tuning

#endif
