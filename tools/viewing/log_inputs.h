// The log files that a viewer was asked for: single files, and all files of folders.
//
// A file that has the name of a log goes on in the log files that come to its folder later. Any
// other file stands alone.
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
        size_t place; // of the input that has it first
    };

    // Which files of its folder a single file goes on in.
    enum class GoesOn
    {
        in_new_ones,   // those that come after now
        in_later_names // also those that are there, if their names come after its own: they came
                       // while nobody looked
    };

    // Paths are UTF-8. Failure for what isn't there; may_be_missing: a program may make it later,
    // as a file if it has the name of a log, else as a folder.
    LogInputs(const std::vector<std::string>& paths, bool may_be_missing,
              GoesOn goes_on = GoesOn::in_new_ones);

    // What is there now. A folder that can't be read any more is empty, and problem says why.
    std::vector<Found> find(std::string& problem) const;

    // For people.
    std::string what() const;

private:
    struct Input
    {
        std::string path;
        std::string folder{}; // empty: only the file
        LogName file{};       // its path is empty for a folder
        std::set<std::string>
            passed{}; // files of the folder that were there before, by path and id
    };

    static Input file_input(const std::string& path, bool is_there, GoesOn goes_on);
    static void find_in(const Input& input, std::vector<LogName>& names);

    std::vector<Input> m_inputs;
};

} // namespace trace
