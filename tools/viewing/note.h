// Messages of the viewers on standard error.
#pragma once

#include <string_view>

namespace trace
{

// Writes one line after the program's name. Names in the text are made harmless here, so that
// callers need not do it.
void note(std::string_view text);

} // namespace trace
