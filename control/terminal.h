/// The terminal on standard input and its modes. All of this does nothing where the input is no
/// terminal.
///
/// The terminal is touched only while it is this program's: after Ctrl-Z and `bg` it belongs to
/// the shell, whose mode must neither be changed nor taken for the program's own. A shell edits
/// its lines by itself; so a terminal that has stopped to edit lines since the program saw it
/// first is in another program's mode, and gets back the one that it had.
#ifndef TARSIMO_CONTROL_TERMINAL_H
#define TARSIMO_CONTROL_TERMINAL_H

#include <csignal>

namespace tarsimo {

/// False while the program runs in the background of a terminal. True for a terminal that
/// controls nobody, and where the input is none.
bool may_use_terminal();

/// Bring back the terminal's line mode, if another program has left it without.
void restore_terminal();

/// While it lives, the terminal gives keys one by one and does not show them. To be used while
/// may_use_terminal(). Signals that stop or end the program wait until the mode is restored, or
/// they would leave the terminal so.
class KeyMode {
  public:
    KeyMode();
    ~KeyMode();
    KeyMode(const KeyMode&) = delete;
    KeyMode& operator=(const KeyMode&) = delete;

  private:
    sigset_t signals_before_{};
};

}  // namespace tarsimo

#endif
