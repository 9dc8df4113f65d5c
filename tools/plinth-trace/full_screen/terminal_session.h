// The terminal while it shows the full screen.
//
// Whatever ends or stops the program, the terminal is restored: the modes of the line, the screen
// that was shown before, the cursor, the mouse. Only signals that no program can catch (SIGKILL,
// SIGSTOP) leave it as it is.
#pragma once

#include <string>

namespace trace::full_screen
{

class TerminalSession
{
public:
    // Why the terminal can't show a full screen, for people; empty if it can.
    static std::string obstacle();

    // Takes the terminal. Fails if it can't be used.
    TerminalSession();
    ~TerminalSession();
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;

    // To be called several times a second: stops the program if the user wants it (Ctrl-Z), and
    // takes the terminal again afterwards. False while the program is in the background: then
    // nothing may be drawn or read.
    bool is_ours();

    // Whether everything must be drawn again since the last call.
    bool take_redraw();

    // Whether the other end of the terminal is closed.
    static bool is_gone();

    // Whether characters beyond ASCII can be shown.
    bool is_utf8() const { return m_is_utf8; }

    // Whether clicks and the wheel are sent to the program, not to the terminal's own selection.
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
