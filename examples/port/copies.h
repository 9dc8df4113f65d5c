// Copies files from one folder to another on several threads, until it is told to stop.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "files.h"
#include "handles.h"

class Copies
{
public:
    // stop: an event; once it is set, no further copy begins, and those that run are cancelled.
    Copies(std::wstring source, std::wstring target, std::vector<SourceFile> files, HANDLE stop);

    // Copies all files. The statuses are in the order of the files; QV_ERR_CANCELLED for those that
    // were cancelled or not begun.
    std::vector<int> run(unsigned threads);

private:
    static unsigned WINAPI thread_procedure(void* self);
    static int progress_tick(void* self);
    bool start_threads(unsigned count, std::vector<Handle>& threads);
    void work();
    bool next(size_t& index);
    int copy_one(const SourceFile& file) const;

    const std::wstring m_source;
    const std::wstring m_target;
    const std::vector<SourceFile> m_files;
    const HANDLE m_stop;
    const Handle m_waiting; // semaphore: files that no thread has taken yet
    CriticalSection m_lock; // guards the two below
    size_t m_next = 0;
    std::vector<int> m_statuses;
    std::atomic<unsigned> m_ended = 0;
    std::atomic<bool> m_shown = false; // progress has been printed, in a line without an end
};
