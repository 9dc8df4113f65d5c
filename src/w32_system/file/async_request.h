// One asynchronous transfer, and the queue that transfers wait in.
#pragma once

#include <list>
#include <memory>

#include "plinth_w32_system.h"

// The most that is moved in one step: the grain of the callbacks and of the turn-taking.
inline constexpr uint64_t QV_ASYNC_BLOCK_SIZE = 4096;

enum QvAsyncKind : uint32_t
{
    QV_ASYNC_READ = 1,
    QV_ASYNC_WRITE = 2,
    QV_ASYNC_COPY = 3,
};

// What a read or write needs and what a copy needs share their places; the kind says which of the
// two names of a place is the right one. A copy owns its files and its block; a read or write
// leaves file and buffer to its caller.
struct QvAsyncRequest
{
    QvAsyncRequest(QvAsyncKind transfer, void* first, QvFile on, uint64_t size,
                   const QvAsyncIo& async);
    // A copy without its files yet, so that memory is there before a target is made or cut.
    QvAsyncRequest(const volatile uint32_t* word, QvCopyCompletion callback, void* of);
    QvAsyncRequest(const QvAsyncRequest&) = delete;
    QvAsyncRequest& operator=(const QvAsyncRequest&) = delete;
    ~QvAsyncRequest(); // closes the files of a copy and frees its block

    const uint32_t kind;
    unsigned char* buffer; // the next byte; of a copy its block
    QvFile file;           // of a copy the source
    union
    {
        uint64_t offset; // the next position in the file
        QvFile target;
    };
    union
    {
        uint64_t remaining; // bytes still to move
        uint64_t copied;    // bytes copied so far
    };
    union
    {
        uint64_t total;                   // the size asked for
        const volatile uint32_t* proceed; // may be null
    };
    union
    {
        QvIoCompletion completion; // may be null
        QvCopyCompletion copyCompletion;
    };
    void* context;
};

// A list, as a request that takes turns moves from the front to the back without an allocation.
using QvAsyncQueue = std::list<std::unique_ptr<QvAsyncRequest>>;
