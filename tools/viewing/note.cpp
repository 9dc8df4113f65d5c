#include "note.h"

#include <cstdio>

#include "text.h"

namespace trace
{

void note(std::string_view text)
{
    std::fprintf(stderr, "plinth-trace: %s\n", printable_name(text).c_str());
}

} // namespace trace
