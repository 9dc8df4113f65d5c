// A scripted session of the whole library, for sweeps that make each platform call of it fail.
//
// A part of the session uses one subsystem and states for each call which results are allowed. With
// strict no call may fail. Without, a fault may be active: a call may return a status that its
// description names, a reported success must be a real one, and no call waits for ever.
#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <plinth_w32_system.h>

#include "support/wide_text.h"

class Session
{
public:
    // folder: native, empty; the session makes its files there.
    Session(std::string folder, bool strict) : m_folder(std::move(folder)), m_strict(strict) {}

    // True if the call succeeded. refusals: the statuses that it may return beside QV_OK.
    bool ok(const char* call, int status, std::initializer_list<int> refusals)
    {
        if (!m_strict && std::find(refusals.begin(), refusals.end(), status) != refusals.end())
            return false;
        return holds(std::string(call) + " gave " + std::to_string(status), status == QV_OK);
    }

    // The same for calls that report a failure in another way.
    bool worked(const char* call, bool success)
    {
        return m_strict ? holds(std::string(call) + " failed", success) : success;
    }

    // A condition that holds even with a fault. broken: the text of the report if it doesn't.
    bool holds(const std::string& broken, bool condition)
    {
        if (!condition)
            m_findings.push_back(broken);
        return condition;
    }

    // Waits for an event that must come. Only a fault can make the wait reach its limit.
    bool comes(const std::string& what, const std::function<bool()>& true_now)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!true_now())
        {
            if (std::chrono::steady_clock::now() > end)
                return holds(what + " never came", false);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }

    bool strict() const { return m_strict; }
    std::string native(const std::string& name) const { return m_folder + "/" + name; }
    test::Wide path(const std::string& name) const { return test::Wide("C:" + native(name)); }
    const std::vector<std::string>& findings() const { return m_findings; }

private:
    std::string m_folder;
    bool m_strict;
    std::vector<std::string> m_findings;
};

// Session::ok with the call's own text, and the statuses that it may return beside QV_OK.
#define CALL(call, ...) session.ok(#call, call, {__VA_ARGS__})

// Read without the library, whose file calls may fail.
inline std::string content(const std::filesystem::path& native)
{
    std::ifstream file(native, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void log_part(Session& session);
void timer_part(Session& session);
void pool_part(Session& session);
void file_part(Session& session);
void directory_part(Session& session);
void async_part(Session& session);
void module_part(Session& session);
void identity_part(Session& session);
void text_part(Session& session);
void memory_part(Session& session);
void socket_part(Session& session);
void channel_part(Session& session);
void report_part(Session& session);
void power_part(Session& session);
