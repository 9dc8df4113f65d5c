// A scripted session of the whole library, for sweeps that make each platform call of it fail.
//
// A part of the session uses one subsystem and says of each call what it may give. With strict
// nothing may fail. Without, a fault may be about: a call may give a status that its description
// names, what it gave as a success has to be one, and nobody waits for ever.
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
    // folder: native, empty; what the session makes lies in it.
    Session(std::string folder, bool strict) : m_folder(std::move(folder)), m_strict(strict) {}

    // What a call gave: true for success. refusals: what it may give beside QV_OK.
    bool ok(const char* call, int status, std::initializer_list<int> refusals)
    {
        if (!m_strict && std::find(refusals.begin(), refusals.end(), status) != refusals.end())
            return false;
        return holds(std::string(call) + " gave " + std::to_string(status), status == QV_OK);
    }

    // The same for calls that tell a failure in another way.
    bool worked(const char* call, bool success)
    {
        return m_strict ? holds(std::string(call) + " failed", success) : success;
    }

    // What a fault is no excuse for. promise: what shows in the report when it is broken.
    bool holds(const std::string& broken, bool condition)
    {
        if (!condition)
            m_findings.push_back(broken);
        return condition;
    }

    // Waits for what has to come. A time that only a fault takes is the limit.
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

// Session::ok of a call as it is written, with the statuses that it may give beside QV_OK.
#define CALL(call, ...) session.ok(#call, call, {__VA_ARGS__})

// Read without the library, whose files may fail.
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
