// One step of a transfer: a block moved and its callback made.
#pragma once

#include "async_request.h"

// Moves the next block and calls back. False when the transfer has ended: its last callback is made
// and the request is to be released. The caller holds the lock of the worker whose request it is,
// so that no two threads work on one request. A callback that throws ends the process.
bool QvAsyncStep(QvAsyncRequest& request) noexcept;
