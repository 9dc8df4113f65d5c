// The asynchronous paths of the file operations, and their end.
#pragma once

#include "async_request.h"

class QvAsyncDispatcher;

// The library's dispatcher, the first of its static objects.
QvAsyncDispatcher& QvTheAsyncDispatcher();

// How long the end of a process waits for a callback under way, in milliseconds.
inline constexpr double qv_async_stop_limit = 3000;

// Ends the library's workers, once; see QvAsyncDispatcher::Stop for the argument. Later calls do
// nothing.
void QvStopAsyncWorkers(double milliseconds);

// Queue a transfer. QV_OK, or QV_ERR_SYSTEM without memory or a thread for it; a copy also returns
// the status of a failed open. After any failure, nothing is left open and nothing calls back.
int QvTransferAsync(QvAsyncKind kind, QvFile file, void* buffer, uint64_t size,
                    const QvAsyncIo& async);
int QvCopyAsync(const wchar_t* source, const wchar_t* target, bool failIfExists,
                const volatile uint32_t* proceed, QvCopyCompletion completion, void* context);
