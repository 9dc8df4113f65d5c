// The workers of plinth-demo, calls of a thread pool: they share out the blocks of a file and trace
// what they do.
#pragma once

#include <cstdint>

#include "statistics.h"
#include "words.h"

namespace demo
{

struct Result
{
    int status; // QV_OK, or that of the first operation that failed
    Statistics statistics;
    Words words;
    unsigned blocks;
    double record_time; // of a block's record, in milliseconds: half of the calls took no longer
};

// Counts the bytes of the file with the given number of workers. Each has its own window id, from 1
// up, and its own stopwatch.
Result count_file(const wchar_t* path, unsigned threads);

} // namespace demo
