// The log files that a viewer was asked for: single files, and all files of folders.
//
// If a file has the name of a log, log files that come to its folder later continue it. Any other
// file is read alone.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "log_files.h"

namespace trace
{

class LogInputs
{
public:
    struct Found
    {
        LogName name;
        size_t place; // of the first input that has it
    };

    // Which files of its folder continue a single file.
    enum class GoesOn
    {
        in_new_ones,   // files that come from now on
        in_later_names // also existing files with a later name: they came while no viewer ran
    };

    // Paths are UTF-8. Fails if a path doesn't exist. may_be_missing: a program may make it later,
    // as a file if it has the name of a log, else as a folder.
    LogInputs(const std::vector<std::string>& paths, bool may_be_missing,
              GoesOn goes_on = GoesOn::in_new_ones);

    // The files that exist now. A folder that can't be read any more counts as empty, and problem
    // holds the reason.
    std::vector<Found> find(std::string& problem) const;

    // A description for people.
    std::string what() const;

private:
    struct Input
    {
        std::string path;
        std::string folder{};           // empty: only the file is read
        LogName file{};                 // its path is empty for a folder
        std::set<std::string> passed{}; // files that the folder had before, by path and id
    };

    static Input file_input(const std::string& path, bool is_there, GoesOn goes_on);
    static void find_in(const Input& input, std::vector<LogName>& names);

    std::vector<Input> m_inputs;
};

} // namespace trace
