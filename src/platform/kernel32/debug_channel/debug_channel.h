// The debug string channel: the writer's side, and what the objects of a listener tell it.
//
// The protocol with a listener is the system's: two events, "DBWIN_BUFFER_READY" (the buffer may be
// written) and "DBWIN_DATA_READY" (it holds a text), and a mapping "DBWIN_BUFFER" of 4,096 bytes
// with the writer's process id and a text. Behind it stands a control page that the writers of all
// of the user's processes share:
//
// - One word says whether there is a listener. Writers look at it before anything else, so that a
//   text without a listener costs one load and no system call.
// - Another word says which writer may use the buffer. A writer that dies with the buffer leaves
// its
//   mark in the first event's word, and the next one puts the channel right.
// - A writer that has waited its time for a listener says so there; the writers after it don't wait
//   until the listener has taken a text.
#pragma once

namespace platform
{

inline constexpr char debug_channel_listener_event[] = "DBWIN_BUFFER_READY";

// Makes the control page ready; the gate must not be held.
void debug_channel_prepare();

// Called under the gate of shared objects, when the first holder of the listener's event has come
// and when its last one has gone.
void debug_channel_listener_came();
void debug_channel_listener_went();

} // namespace platform
