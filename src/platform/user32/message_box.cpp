// Message boxes without a display: PLINTH_MESSAGEBOX answers for unattended runs, else the question
// is put on the controlling terminal. Without either the box fails.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "system/calls.h"
#include "system/last_error.h"
#include "system/text.h"
#include "windows.h"

using namespace platform;

namespace
{

struct Button
{
    const char* name;
    char key;
    int id;
};

constexpr Button abort_retry_ignore[] = {
    {"abort", 'a', IDABORT}, {"retry", 'r', IDRETRY}, {"ignore", 'i', IDIGNORE}};
constexpr Button ok_only[] = {{"ok", 'o', IDOK}};

struct Buttons
{
    const Button* first;
    size_t count;
};

Buttons buttons_of(UINT type)
{
    if ((type & 0xF) == MB_ABORTRETRYIGNORE)
        return {abort_retry_ignore, 3};
    return {ok_only, 1};
}

// The answer of PLINTH_MESSAGEBOX; a name that this box doesn't have means its first button.
int prepared_answer(const char* name, const Buttons& buttons)
{
    if (std::strcmp(name, "fail") == 0)
        return fail_with(ERROR_NOT_SUPPORTED);
    for (size_t i = 0; i < buttons.count; ++i)
        if (std::strcmp(name, buttons.first[i].name) == 0)
            return buttons.first[i].id;
    return buttons.first[0].id;
}

int ask_on_terminal(FILE* terminal, const std::string& text, const std::string& caption,
                    const Buttons& buttons)
{
    std::string question = "\n" + caption + "\n" + text + "\n";
    for (size_t i = 0; i < buttons.count; ++i)
        question += std::string(i ? ", " : "") + "[" + buttons.first[i].key + "]" +
                    (buttons.first[i].name + 1);
    question += "? ";
    char line[64];
    for (;;)
    {
        std::fputs(question.c_str(), terminal);
        std::fflush(terminal);
        if (!std::fgets(line, sizeof line, terminal))
            return fail_with(ERROR_NOT_SUPPORTED);
        for (size_t i = 0; i < buttons.count; ++i)
            if ((line[0] | 0x20) == buttons.first[i].key || (buttons.count == 1 && line[0] == '\n'))
                return buttons.first[i].id;
    }
}

} // namespace

extern "C" int MessageBoxW(HWND, LPCWSTR text, LPCWSTR caption, UINT type)
{
    static std::mutex lock; // one box at a time has the terminal
    const Buttons buttons = buttons_of(type);
    if (const char* const prepared = std::getenv("PLINTH_MESSAGEBOX"))
        return prepared_answer(prepared, buttons);
    try
    {
        const std::lock_guard guard(lock);
        FILE* const terminal = std::fopen("/dev/tty", "r+");
        if (!terminal)
            return fail_with(ERROR_NOT_SUPPORTED);
        const int answer = ask_on_terminal(terminal, text ? to_utf8(text) : "",
                                           caption ? to_utf8(caption) : "", buttons);
        std::fclose(terminal);
        return answer;
    }
    catch (const std::bad_alloc&)
    {
        return fail_with(ERROR_NOT_ENOUGH_MEMORY);
    }
}

// There are no windows without a display.
extern "C" HWND GetActiveWindow(void)
{
    return nullptr;
}

extern "C" BOOL IsWindow(HWND)
{
    return fail_with(ERROR_INVALID_WINDOW_HANDLE);
}
