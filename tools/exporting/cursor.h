// The file in which an export keeps how far it has come, so that the next export continues there.
//
// The file is replaced as a whole: a new one is written beside it, flushed, and renamed. Whenever
// the program or the machine stops, the file is the old one or the new one. It describes output
// that was already written; so after a stop some records are exported again, and none is missing.
#pragma once

#include <set>
#include <string>
#include <vector>

#include <windows.h>

#include "cursor_text.h"

namespace trace
{

// Whether the folder is there and has no file of this name.
bool is_missing(const std::string& path);

class Cursor
{
public:
    // Reads the file, or makes it. Fails if the file is damaged, of another version or of other
    // inputs (it then stays as it is), if another export uses it, or if it can't be read or made.
    // inputs: absolute native paths.
    Cursor(std::string path, std::vector<std::string> inputs);
    ~Cursor();
    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;

    const CursorEntries& entries() const { return m_entries; }

    // Forgets the files that no longer exist. Returns the paths of those that were in use when the
    // previous export stopped: programs may have written to them after that.
    std::vector<std::string> take_vanished();
    // Whether a file was in use when the previous export stopped.
    bool was_in_use(const CursorEntry& entry) const;

    // Forgets one file.
    void forget(const std::string& path);
    // Forgets the files that no longer exist, except those with these paths.
    void forget_missing_but(const std::set<std::string>& kept);

    // Takes over how far files were exported; save writes it.
    void update(const CursorChanges& changes);
    bool is_saved() const { return m_is_saved; }

    // Returns an empty text on success, otherwise the reason; then the old file remains.
    std::string save();

private:
    void lock();
    void read();
    std::string write(const std::string& path, const std::string& text) const;

    const std::string m_path;
    const std::vector<std::string> m_inputs;
    HANDLE m_lock = INVALID_HANDLE_VALUE;
    CursorEntries m_entries;
    Time m_newest = unknown_time; // of the records that were exported before
    bool m_is_saved = false;
};

} // namespace trace
