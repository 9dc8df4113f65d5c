// An expression for all texts that say the same as one, for "without texts like this".
#pragma once

#include <string>
#include <string_view>

namespace trace
{

// What a record's text has in common with others of the same place in a program: its numbers and
// quoted parts may be any, the rest is as it is, the stamp counts for nothing. Of a long text the
// beginning. Good for Pattern.
std::string expression_like(std::string_view text);

} // namespace trace
