// The window that a text on the debug string channel belongs to.
//
// A text names its window by the tag "|wndid:" and a decimal number. The tag counts at the very
// start of a text, and behind the time stamp of a trace record: such records begin with their
// stamp, and their tag is meant as much as any other's.
#pragma once

#include <cstdint>

inline constexpr int32_t qv_no_window = 0x7FFFFFFF;

struct QvWindowTag
{
    int32_t id = qv_no_window;       // qv_no_window: the text names none
    const wchar_t* tag = nullptr;    // where the tag begins, null without one
    const wchar_t* behind = nullptr; // the first blank behind the tag, or the end of the text
};

// A tag that isn't a number gives 0.
QvWindowTag QvFindWindowTag(const wchar_t* text);
