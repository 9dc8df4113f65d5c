// One step of a transfer: a block moved and its callback made.
#pragma once

#include "async_request.h"

// Moves the next block and calls back. False after the transfer's last callback: the caller then
// releases the request. The caller holds the lock of the request's worker, so that no two threads
// work on one request. A callback that throws ends the process.
bool QvAsyncStep(QvAsyncRequest& request) noexcept;
