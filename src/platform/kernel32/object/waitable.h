// What a wait for several objects needs from each of them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "windef.h"

namespace platform
{

// A futex word, and the value that means "no signal".
struct WaitWord
{
    void* address;
    uint32_t value;
    bool shared; // shared between processes
};

// The part of an object that can be signalled. All functions may be called by any thread.
class Waitable
{
public:
    // False if the object is signalled; else word is set to what to sleep on.
    virtual bool unsignalled(WaitWord& word) = 0;
    // Takes the signal if there is one.
    virtual bool try_take() = 0;
    // The same until keep or give_back with the same token, which differs from one taker to the
    // next. Changes to the object meanwhile count as made after the signal was taken.
    virtual bool reserve(uint32_t token) = 0;
    virtual void keep(uint32_t token) = 0;
    virtual void give_back(uint32_t token) = 0;
    // The thread is about to sleep on the word, or no longer sleeps on it.
    virtual void enter() {}
    virtual void leave() {}
    // Wakes another thread if the object is signalled: the caller was woken for the signal and
    // didn't take it.
    virtual void pass_on() {}

protected:
    Waitable() = default;
    Waitable(const Waitable&) = default;
    Waitable& operator=(const Waitable&) = default;
    ~Waitable() = default;
};

// Waits until one of the objects is signalled, or all are at once, and takes the signals:
// WAIT_OBJECT_0 plus the index of the object (0 for all), or WAIT_TIMEOUT.
DWORD wait_for_one(Waitable* const* objects, size_t count, DWORD milliseconds);
DWORD wait_for_all(Waitable* const* objects, size_t count, DWORD milliseconds);

} // namespace platform
