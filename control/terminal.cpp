// The terminal's mode while keys are polled, and who may change it.
#include "control/terminal.h"

#include <termios.h>
#include <unistd.h>

#include <initializer_list>

namespace tarsimo {

namespace {

constexpr int TERMINAL = STDIN_FILENO;

// The mode to be restored: as the terminal was found while it was this program's.
termios own_mode{};
bool own_mode_known = false;

bool edits_lines(const termios& mode) { return (mode.c_lflag & ICANON) != 0; }

// True if another program has left a mode of its own in the terminal.
bool is_foreign(const termios& mode) {
    return own_mode_known && edits_lines(own_mode) && !edits_lines(mode);
}

void set_mode(const termios& mode) { tcsetattr(TERMINAL, TCSANOW, &mode); }

}  // namespace

bool may_use_terminal() {
    // 0 and -1: the terminal controls nobody, or nobody who can be seen from here.
    const pid_t foreground = tcgetpgrp(TERMINAL);
    return foreground <= 0 || foreground == getpgrp();
}

void restore_terminal() {
    termios present{};
    if (!own_mode_known || !may_use_terminal() || tcgetattr(TERMINAL, &present) != 0) return;
    if (is_foreign(present)) set_mode(own_mode);
}

KeyMode::KeyMode() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM, SIGQUIT, SIGHUP, SIGTSTP}) sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &signals_before_);

    termios present{};
    if (tcgetattr(TERMINAL, &present) == 0 && !is_foreign(present)) {
        own_mode = present;
        own_mode_known = true;
    }
    if (!own_mode_known) return;
    termios keys = own_mode;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    set_mode(keys);
}

KeyMode::~KeyMode() {
    if (own_mode_known) set_mode(own_mode);
    sigprocmask(SIG_SETMASK, &signals_before_, nullptr);
}

}  // namespace tarsimo
