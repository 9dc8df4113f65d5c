// What the viewers tell their user on standard error.
#pragma once

#include <string_view>

namespace trace
{

// One line behind the program's name. Whatever names it holds are made harmless here, so that no
// caller has to.
void note(std::string_view text);

} // namespace trace
