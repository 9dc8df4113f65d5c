// The environment variables, as far as this program may believe them.
#pragma once

namespace platform
{

// The value of a variable, null without it. A program that has more rights than its caller
// (AT_SECURE: setuid, setgid, file capabilities) takes nothing from its caller: null for each
// variable, and once for the process a line on standard error names those that it ignored.
const char* environment(const char* name);

// The same for a variable that names a locale: also such a program takes it, unless it holds a
// slash, which would make it a path.
const char* locale_environment(const char* name);

// Whether the program has more rights than its caller.
bool has_more_rights();

} // namespace platform
