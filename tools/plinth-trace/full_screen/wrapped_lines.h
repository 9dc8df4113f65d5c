// Text that is wider than the screen, in several lines.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "full_screen/characters.h"

namespace trace::full_screen
{

// Puts pieces of text into lines, with a gap between two pieces of a line. A piece is divided only
// if it is wider than a line: between words, or else between characters.
std::vector<std::string> lines_of(Characters& characters, const std::vector<std::string>& pieces,
                                  std::string_view gap, size_t columns);

// Divides a text between words.
std::vector<std::string> lines_of(Characters& characters, std::string_view text, size_t columns);

} // namespace trace::full_screen
