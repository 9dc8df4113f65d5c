// Messages of the stand-in to the user of a program.
#pragma once

#include <string>
#include <string_view>

namespace platform
{

// A text in UTF-8 that is safe for a terminal: treacherous characters and invalid bytes become \xNN
// or \u{NNNN}. kept: controls that stay as they are.
std::string harmless(std::string_view text, std::string_view kept = "");

// One line on standard error, "plinth: " and the text, made harmless and written in one call.
// Keeps errno.
void report(std::string_view text);

} // namespace platform
