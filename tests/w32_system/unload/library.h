// The library, loaded and unloaded by a program that isn't linked to it.
#pragma once

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
