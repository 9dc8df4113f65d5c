// Requirements of a test that a system may lack. If one is missing, the rest of the test is left
// out, and the test is reported as skipped, with the Debian package that provides it. With CI=true
// a skipped test is a failure (test_main.cpp).
//
// Each of these functions ends the test by an exception, which the test library catches: call it on
// the test's own thread, from the test, its fixture or their functions.
#pragma once

#include <string>

namespace test
{

// If not there: skips the test, with "needs WHAT" and the package that provides it.
void needs(bool there, const std::string& what, const std::string& package);

// A program in the search path.
void needs_program(const std::string& name, const std::string& package);

// A locale of the C library.
void needs_locale(const std::string& name);

// A time zone by its name, such as Europe/Berlin.
void needs_zone(const std::string& name);

} // namespace test
