// The library, loaded and unloaded by a program that isn't linked to it.
#pragma once

#include <atomic>
#include <thread>

#include <dlfcn.h>

#include <gtest/gtest.h>

class Library
{
public:
    Library() : m_handle(dlopen(PLINTH_LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        EXPECT_NE(m_handle, nullptr) << dlerror();
        s_last = m_handle;
    }
    ~Library() { unload(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void unload()
    {
        if (m_handle)
        {
            // CQvLogFile::CloseLog: an open log stays behind otherwise.
            get<int()>("_ZN10CQvLogFile8CloseLogEv")();
            EXPECT_EQ(dlclose(m_handle), 0);
        }
        m_handle = nullptr;
    }
    static bool is_loaded()
    {
        void* const found = dlopen(PLINTH_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
        if (found)
            dlclose(found);
        return found != nullptr;
    }
    // The lowest address.
    void* base() const
    {
        Dl_info info = {};
        EXPECT_NE(dladdr(dlsym(m_handle, "DiagOutputWnd"), &info), 0);
        return info.dli_fbase;
    }
    template <class Function> Function* get(const char* name) const
    {
        return reinterpret_cast<Function*>(dlsym(m_handle, name));
    }
    // A function of what the library needs and this program stands in front of. It stays in the
    // process, unlike the library.
    template <class Function> static Function* needed(const char* name)
    {
        return reinterpret_cast<Function*>(dlsym(s_last, name));
    }

private:
    void* m_handle;
    static inline void* s_last = nullptr;
};

// A call through the library's code that a test holds while the library is unloaded.
inline std::atomic<bool> g_held{false};

// How far the thread that unloads has come.
enum class Unload
{
    none,
    begins,
    sets_the_fence, // the timer whose call comes after the one that is held
    waits,
    done,
};
inline std::atomic<Unload> g_unload{Unload::none};
inline std::atomic<bool> g_cameBackEarly{false}; // from the wait, with the call still held

inline void reach(Unload next)
{
    g_unload = next;
    g_unload.notify_all();
}

inline void stay_held()
{
    g_held = true;
    g_held.notify_all();
    g_held.wait(true);
}

// Unloads the library, and lets the call that is held return when the unloading waits for it.
inline void expect_unloading_waits(Library& library)
{
    reach(Unload::begins);
    std::thread closer(
        [&]
        {
            library.unload();
            reach(Unload::done);
        });
    for (Unload now = g_unload; now < Unload::waits; now = g_unload)
        g_unload.wait(now);
    const bool waits = g_unload == Unload::waits;
    EXPECT_TRUE(waits) << "the call would return into code that has gone"; // so it never returns
    if (waits)
    {
        g_held = false;
        g_held.notify_all();
    }
    closer.join();
    EXPECT_FALSE(g_cameBackEarly);
    g_unload = Unload::none;
    EXPECT_FALSE(Library::is_loaded());
}
