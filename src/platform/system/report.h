// What the stand-in has to say to the user of a program.
#pragma once

#include <string>
#include <string_view>

namespace platform
{

// A text in UTF-8 as a terminal may get it: what is treacherous in it, or no character, as \xNN or
// \u{NNNN}. kept: the controls that stay as they are.
std::string harmless(std::string_view text, std::string_view kept = "");

// One line on standard error, "plinth: " and the text, made harmless and written in one call.
// Keeps errno.
void report(std::string_view text);

} // namespace platform
