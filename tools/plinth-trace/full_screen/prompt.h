// A question in the last line: for a text, or for one key of several.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "full_screen/line_editor.h"

namespace trace::full_screen
{

struct Prompt
{
    std::string label;
    LineEditor editor{};
    std::function<void(const std::string&)> changed{}; // after each change of the text
    std::function<void(const std::string&)> accepted{};
    std::function<void()> cancelled{};
    std::function<void(int key)> other_key{}; // a key that has no meaning for the editor
};

struct Menu
{
    struct Choice
    {
        char key;
        std::string what;
        std::function<void()> chosen;
    };

    std::string label;
    std::vector<Choice> choices{};
};

} // namespace trace::full_screen
