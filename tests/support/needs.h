// What a test needs that a system may not have. Without it the rest of the test is left out, and
// the test is reported as skipped, with the Debian package that brings what is missing. With
// CI=true a skipped test is a failure (test_main.cpp).
//
// Each of these functions ends the test by an exception, which the test library catches: call it on
// the test's own thread, from the test, its fixture or what they call.
#pragma once

#include <string>

namespace test
{

// The others end here: what, as in "needs WHAT", and its package.
void needs(bool there, const std::string& what, const std::string& package);

// A program that the search path finds.
void needs_program(const std::string& name, const std::string& package);

// A locale of the C library.
void needs_locale(const std::string& name);

// A time zone by its name, such as Europe/Berlin.
void needs_zone(const std::string& name);

} // namespace test
