// What a message points to, copied for a receiver that may get to it after its sender has given up
// waiting: a send with a limit must leave no pointer to the sender's stack behind.
#pragma once

#include <memory>

#include "windef.h"

namespace platform
{

class Parcel
{
public:
    Parcel() = default;
    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;
    virtual ~Parcel() = default;

    // What the receiver is given in place of the sender's lParam.
    virtual LPARAM contents() = 0;
    // On the sender's thread, once the receiver is done: what it wrote goes into the sender's own.
    virtual void bring_back() {}
};

// Null for a message that points to nothing. May throw std::bad_alloc.
using MakeParcel = std::unique_ptr<Parcel> (*)(UINT message, WPARAM wParam, LPARAM lParam);

// For the messages that every window has: WM_SETTEXT and WM_GETTEXT.
std::unique_ptr<Parcel> make_text_parcel(UINT message, WPARAM wParam, LPARAM lParam);

} // namespace platform
