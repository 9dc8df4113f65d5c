// The terminal while the full screen has it.
//
// It is left as it was found, whatever ends or stops the program: the modes of the line, the
// screen that was there before, the cursor, the mouse. Only a kill that no program can catch
// (SIGKILL, SIGSTOP) leaves it as it is.
#pragma once

#include <string>

namespace trace::full_screen
{

class TerminalSession
{
public:
    // Why the terminal can't have a full screen, for people; empty if it can.
    static std::string obstacle();

    // Takes the terminal. Failure if it can't be had.
    TerminalSession();
    ~TerminalSession();
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    // To be called several times a second: stops the program if the user wants it (Ctrl-Z), and
    // takes the terminal again afterwards. False while the program is in the background: nothing
    // may be drawn or read then.
    bool is_ours();

    // Whether everything must be drawn anew since the last call.
    bool take_redraw();

    // Whether nobody is at the other end any more.
    static bool is_gone();

    // Characters beyond ASCII can be shown.
    bool is_utf8() const { return m_is_utf8; }

    // Whether clicks and the wheel come here, and not to the terminal's own selection.
    bool has_mouse() const { return m_has_mouse; }
    void set_mouse(bool wanted);

private:
    void stop();
    void resume();

    bool m_is_utf8 = false;
    bool m_has_mouse = false;
    bool m_is_away = false;
    bool m_redraw = true;
};

} // namespace trace::full_screen
