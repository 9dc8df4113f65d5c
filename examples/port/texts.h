// The texts that users read: the program's string table, which is in CMakeLists.txt.
#pragma once

#include <string>

enum TextNumber : unsigned
{
    text_usage = 1,
    text_no_folder = 2,
    text_done = 3,
    text_nothing_to_do = 4,
    text_progress = 5,
    text_settings_failed = 6,
    text_interrupted = 7
};

// The text with this number, formatted with the values. Its directive for wide text is %ls.
std::wstring text_of(unsigned number, ...);
