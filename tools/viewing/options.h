// The arguments of the program, taken one by one by the command.
//
// A command takes its values first, then its flags, then calls finish(), which refuses arguments
// that were not taken. Both "--name value" and "--name=value" are accepted. A wrong argument is a
// Failure with exit_usage whose text names the argument.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trace
{

class Options
{
public:
    // command: for messages. arguments: those after the command, in UTF-8.
    Options(std::string command, std::vector<std::string> arguments);

    std::optional<std::string> take_value(std::string_view name);
    std::optional<int64_t> take_number(std::string_view name, int64_t least, int64_t most);
    // Converts the value of an option to a whole number.
    int64_t number_of(std::string_view name, const std::string& text, int64_t least,
                      int64_t most) const;
    std::optional<double> take_seconds(std::string_view name);
    bool take_flag(std::string_view name);
    // The next argument that is no option; refuses if there is none. what: its name in the help.
    std::string take_word(std::string_view what);
    void finish() const;

    // Arguments that were not taken yet.
    const std::vector<std::string>& rest() const { return m_rest; }

    [[noreturn]] void refuse(const std::string& why) const;

private:
    std::string m_command;
    std::vector<std::string> m_rest;
};

} // namespace trace
