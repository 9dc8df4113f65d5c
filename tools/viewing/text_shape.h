// An expression for all texts with the same form as a given one, for "without texts like this".
#pragma once

#include <string>
#include <string_view>

namespace trace
{

// What a record's text has in common with other texts from the same place in a program: numbers and
// quoted parts may be any, the stamp doesn't count, the rest is compared as it is. Only the
// beginning of a long text is compared. The result is a valid expression for Pattern.
std::string expression_like(std::string_view text);

} // namespace trace
