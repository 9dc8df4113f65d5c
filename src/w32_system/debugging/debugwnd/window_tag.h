// The window that a text on the debug string channel belongs to.
//
// A text selects its window by the tag "|wndid:" and a decimal number. The tag must be at the very
// start of a text, or anywhere after the time stamp at the start of a trace record.
#pragma once

#include <cstdint>

inline constexpr int32_t qv_no_window = 0x7FFFFFFF;

struct QvWindowTag
{
    int32_t id = qv_no_window;       // qv_no_window: the text has no tag
    const wchar_t* tag = nullptr;    // where the tag begins, null without one
    const wchar_t* behind = nullptr; // the first blank after the tag, or the end of the text
};

// The identifier is 0 if the tag is not a number.
QvWindowTag QvFindWindowTag(const wchar_t* text);
