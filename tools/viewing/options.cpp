#include "options.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "failure.h"

namespace trace
{

Options::Options(std::string command, std::vector<std::string> arguments)
    : m_command(std::move(command)), m_rest(std::move(arguments))
{
}

std::optional<std::string> Options::take_value(std::string_view name)
{
    const std::string with_value = std::string(name) + "=";
    const auto found = std::find_if(m_rest.begin(), m_rest.end(),
                                    [&](const std::string& argument) {
                                        return argument == name || argument.starts_with(with_value);
                                    });
    if (found == m_rest.end())
        return std::nullopt;
    if (*found != name)
    {
        std::string value = found->substr(with_value.size());
        m_rest.erase(found);
        return value;
    }
    if (found + 1 == m_rest.end())
        refuse(std::string(name) + " needs a value");
    std::string value = *(found + 1);
    m_rest.erase(found, found + 2);
    return value;
}

std::optional<int64_t> Options::take_number(std::string_view name, int64_t least, int64_t most)
{
    if (const std::optional<std::string> text = take_value(name))
        return number_of(name, *text, least, most);
    return std::nullopt;
}

int64_t Options::number_of(std::string_view name, const std::string& text, int64_t least,
                           int64_t most) const
{
    int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < least || number > most)
        refuse(std::string(name) + " takes a whole number from " + std::to_string(least) + " to " +
               std::to_string(most) + ", not \"" + text + "\"");
    return number;
}

std::optional<double> Options::take_seconds(std::string_view name)
{
    constexpr double most = 1e9; // some thirty years
    const std::optional<std::string> text = take_value(name);
    if (!text)
        return std::nullopt;
    double seconds = 0;
    const char* const end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, seconds);
    if (error != std::errc() || stop != end || !(seconds >= 0 && seconds <= most))
        refuse(std::string(name) + " takes a number of seconds, not \"" + *text + "\"");
    return seconds;
}

bool Options::take_flag(std::string_view name)
{
    const auto found = std::find(m_rest.begin(), m_rest.end(), name);
    if (found == m_rest.end())
        return false;
    m_rest.erase(found);
    return true;
}

std::string Options::take_word(std::string_view what)
{
    const auto found =
        std::find_if(m_rest.begin(), m_rest.end(),
                     [](const std::string& argument) { return !argument.starts_with("--"); });
    if (found == m_rest.end())
        refuse(std::string(what) + " is missing");
    std::string word = *found;
    m_rest.erase(found);
    return word;
}

void Options::finish() const
{
    if (!m_rest.empty())
        refuse("\"" + m_rest.front() + "\" is not understood");
}

void Options::refuse(const std::string& why) const
{
    throw Failure(exit_usage,
                  m_command + ": " + why + "; see plinth-trace " + m_command + " --help");
}

} // namespace trace
