// The registry's text files. What parses must be written in a form that parses to the same.
#include <string_view>

#include "advapi32/reg_text.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace platform;
    constexpr std::string_view root = "HKEY_LOCAL_MACHINE";
    Hive hive;
    size_t line = 0;
    if (!parse_reg_text({reinterpret_cast<const char*>(data), size}, root, hive, line))
        return 0;
    Hive again;
    fuzz::check(parse_reg_text(write_reg_text(hive, root), root, again, line),
                "what was written can be read");
    for (const auto& [name, key] : hive)
        for (const auto& [value_name, value] : key.values)
        {
            const RegValue& back = again[name].values[value_name];
            fuzz::check(back.type == value.type && back.data == value.data, "and is the same");
        }
    return 0;
}
