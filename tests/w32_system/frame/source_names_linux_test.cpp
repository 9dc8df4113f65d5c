// The names of sources in records and assertions. Readers and filters use them, so they stay the
// same when files move.
#include "support/test.h"

#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace
{

TEST(SourceNames, AreTheOnesThatReadersKnow)
{
    std::ifstream file(PLINTH_LIBRARY_FILE, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    const std::regex name(R"(src\\w32_system\\([\w\\]+))");
    std::set<std::string> found;
    for (std::sregex_iterator at(bytes.begin(), bytes.end(), name), end; at != end; ++at)
        found.insert((*at)[1]);
    EXPECT_EQ(found,
              (std::set<std::string>{
                  "debugging\\debugoutputcapture", "debugging\\debugwnd", "debugging\\diagassert",
                  "debugging\\logfile", "dynlib\\dynlib", "file\\async", "file\\file",
                  "locale\\locale", "memory\\memory", "qvwinversion", "resource\\resource",
                  "text\\text", "threadpool\\threadpool", "timer\\rdtsc", "timer\\timer"}));
}

} // namespace
