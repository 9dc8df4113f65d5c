// The session as a module: the program that loads it is not linked to the library, so that the
// sweep covers loading and unloading the library.
#include "session.h"

namespace
{

constexpr std::pair<const char*, void (*)(Session&)> parts[] = {
    {"log", log_part},       {"timer", timer_part},         {"pool", pool_part},
    {"file", file_part},     {"directory", directory_part}, {"async", async_part},
    {"module", module_part}, {"identity", identity_part},   {"text", text_part},
    {"memory", memory_part}, {"socket", socket_part},       {"channel", channel_part},
    {"report", report_part}, {"power", power_part},
};

} // namespace

// The only export: runs the whole session in the folder, and reports each finding.
extern "C" __attribute__((visibility("default"))) void
sweep_session(const char* folder, bool strict, void (*finding)(const char* text))
{
    for (const auto& [name, part] : parts)
    {
        Session session(folder, strict);
        try
        {
            part(session);
        }
        catch (const std::bad_alloc&) // the library's; the worker reports the stand-in's
        {
            session.worked(name, false);
        }
        for (const std::string& each : session.findings())
            finding((std::string(name) + ": " + each).c_str());
    }
    CQvLogFile::CloseLog(); // an open log would keep the library loaded
}
