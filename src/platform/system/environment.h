// The environment variables, as far as this program may trust them.
#pragma once

namespace platform
{

// The value of a variable, null without it. A program that has more rights than its caller
// (AT_SECURE: setuid, setgid, file capabilities) takes nothing from its caller: each variable is
// null, and once per process a line on standard error names those that were ignored.
const char* environment(const char* name);

// The same for a variable that names a locale: a program with more rights takes it too, unless it
// contains a slash, which would make it a path.
const char* locale_environment(const char* name);

// Whether the program has more rights than its caller.
bool has_more_rights();

} // namespace platform
