/// Text files as the tools read them. Whatever stands under a name, a folder and a device
/// included, ends in lines of bounded length or in a sentence that says why there are none.
#ifndef TARSIMO_TOOLS_COMMON_TEXT_FILE_H
#define TARSIMO_TOOLS_COMMON_TEXT_FILE_H

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace tarsimo::tool {

/// The start of a text from elsewhere, fit for a message: printable characters on one line.
inline std::string printable(std::string_view text) {
    constexpr std::size_t LONGEST = 100;
    std::string result(text.substr(0, LONGEST));
    for (char& c : result) {
        if (c < ' ' || c > '~') c = '?';
    }
    return text.size() > LONGEST ? result + "..." : result;
}

class TextFile {
  public:
    /// Characters of the longest line; a game of 3,000 half-moves needs a tenth of it.
    static constexpr std::size_t MAX_LINE_LENGTH = 1 << 20;

    explicit TextFile(std::string path)
        : path_(std::move(path)), file_(std::fopen(path_.c_str(), "re")) {
        if (file_ == nullptr) set_read_fault();
    }
    ~TextFile() {
        if (file_ != nullptr) std::fclose(file_);
    }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;

    /// Read the next line, without its newline. Returns false at the end of the file, and when
    /// there is a fault.
    bool next(std::string& line) {
        line.clear();
        if (file_ == nullptr || !fault_.empty()) return false;
        ++number_;
        int c = getc_unlocked(file_);
        const bool any = c != EOF;
        for (; c != EOF && c != '\n'; c = getc_unlocked(file_)) {
            if (line.size() == MAX_LINE_LENGTH) {
                fault_ = place() + ": a line without end, this is no text file";
                return false;
            }
            line += static_cast<char>(c);
        }
        if (std::ferror(file_) != 0) set_read_fault();
        return any && fault_.empty();
    }

    /// Why the file cannot be read, an empty text when it can.
    const std::string& fault() const { return fault_; }

    /// Number of the line read last, from 1.
    std::uint64_t number() const { return number_; }

    /// The line read last as a message names it.
    std::string place() const { return path_ + ", line " + std::to_string(number_); }

  private:
    void set_read_fault() { fault_ = "cannot read " + path_ + ": " + std::strerror(errno); }

    std::string path_;
    std::FILE* file_;
    std::string fault_;
    std::uint64_t number_ = 0;
};

}  // namespace tarsimo::tool

#endif
