// The registry's text files. A file that parses must be written in a form that parses to the same.
#include <string_view>

#include "advapi32/reg_text.h"
#include "fuzz_target.h"

void fuzz::run(Input input)
{
    using namespace platform;
    constexpr std::string_view root = "HKEY_LOCAL_MACHINE";
    Hive hive, again;
    size_t line = 0;
    const auto* const text = reinterpret_cast<const char*>(input.data());
    if (!parse_reg_text({text, input.size()}, root, hive, line))
        return;
    check(parse_reg_text(write_reg_text(hive, root), root, again, line),
          "what was written can be read");
    for (const auto& [name, key] : hive)
        for (const auto& [value_name, value] : key.values)
        {
            const RegValue& back = again[name].values[value_name];
            check(back.type == value.type && back.data == value.data, "and is the same");
        }
}
