#include "support/needs.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <locale.h>
#include <unistd.h>
#endif

namespace test
{

void needs(bool there, const std::string& what, const std::string& package)
{
    if (there)
        return;
    const std::string message = "needs " + what + " (Debian: " + package + ")";
    [&] { GTEST_SKIP() << message; }();
    // The skip is recorded. The test library takes this exception for a failure that is already
    // reported, and ends the test.
    throw testing::AssertionException(
        testing::TestPartResult(testing::TestPartResult::kSkip, __FILE__, __LINE__, ""));
}

#if !defined(_WIN32)

void needs_program(const std::string& name, const std::string& package)
{
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    bool found = false;
    for (std::string folder; !found && std::getline(folders, folder, ':');)
        found = access((folder + "/" + name).c_str(), X_OK) == 0;
    needs(found, name, package);
}

void needs_locale(const std::string& name)
{
    const locale_t locale = newlocale(LC_ALL_MASK, name.c_str(), nullptr);
    if (locale)
        freelocale(locale);
    needs(locale != nullptr, "the locale " + name, "locales-all");
}

void needs_zone(const std::string& name)
{
    needs(std::filesystem::exists("/usr/share/zoneinfo/" + name), "the time zone " + name,
          "tzdata");
}

#endif

} // namespace test
