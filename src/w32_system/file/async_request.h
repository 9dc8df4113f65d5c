// One asynchronous transfer, and the queue that transfers wait in.
#pragma once

#include <list>
#include <memory>

#include "plinth_w32_system.h"

// The most that one step moves: after each step there is a callback, and another request has its
// turn.
inline constexpr uint64_t QV_ASYNC_BLOCK_SIZE = 4096;

enum QvAsyncKind : uint32_t
{
    QV_ASYNC_READ = 1,
    QV_ASYNC_WRITE = 2,
    QV_ASYNC_COPY = 3,
};

// Fields for reads and writes share memory with fields for copies; the kind decides which name is
// valid. A copy owns its files and its block; for a read or write the caller owns file and buffer.
struct QvAsyncRequest
{
    QvAsyncRequest(QvAsyncKind transfer, void* first, QvFile on, uint64_t size,
                   const QvAsyncIo& async);
    // A copy, still without its files, so that memory is allocated before a target is created or
    // cut.
    QvAsyncRequest(const volatile uint32_t* word, QvCopyCompletion callback, void* of);
    QvAsyncRequest(const QvAsyncRequest&) = delete;
    QvAsyncRequest& operator=(const QvAsyncRequest&) = delete;
    ~QvAsyncRequest(); // closes the files of a copy and frees its block

    const uint32_t kind;
    unsigned char* buffer; // the next byte; for a copy its block
    QvFile file;           // for a copy the source
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

// A list, because a request that takes turns moves to the back without an allocation.
using QvAsyncQueue = std::list<std::unique_ptr<QvAsyncRequest>>;
