// The data to which a message points, copied for a receiver that may handle the message after its
// sender has stopped waiting: a send with a time limit must leave no pointer to the sender's stack.
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

    // Passed to the receiver instead of the sender's lParam.
    virtual LPARAM contents() = 0;
    // On the sender's thread, once the receiver has finished: copies what it wrote into the
    // sender's data.
    virtual void bring_back() {}
};

// Null for a message that points to no data. May throw std::bad_alloc.
using MakeParcel = std::unique_ptr<Parcel> (*)(UINT message, WPARAM wParam, LPARAM lParam);

// For the messages that every window has: WM_SETTEXT and WM_GETTEXT.
std::unique_ptr<Parcel> make_text_parcel(UINT message, WPARAM wParam, LPARAM lParam);

} // namespace platform
