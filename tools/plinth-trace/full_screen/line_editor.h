// A line of text that the user edits.
#pragma once

#include <string>

#include "full_screen/key_reader.h"

namespace trace::full_screen
{

class LineEditor
{
public:
    enum class Step
    {
        none,      // the key has no meaning here
        moved,     // the cursor
        changed,   // the text
        accepted,  // by the return key
        cancelled, // by escape
    };

    explicit LineEditor(std::string text = {}) : m_text(std::move(text)), m_at(m_text.size()) {}

    Step handle(const Key& key);

    const std::string& text() const { return m_text; }
    size_t at() const { return m_at; } // the cursor, in bytes

private:
    size_t before() const;
    size_t after() const;
    Step erase(size_t from, size_t to);

    std::string m_text;
    size_t m_at;
};

} // namespace trace::full_screen
