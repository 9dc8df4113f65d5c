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

    // Paths are UTF-8. Failure for what isn't there; may_be_missing: it is a folder then, which a
    // program may make later.
    LogInputs(const std::vector<std::string>& paths, bool may_be_missing);

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

    static Input file_input(const std::string& path);
    static void find_in(const Input& input, std::vector<LogName>& names);

    std::vector<Input> m_inputs;
};

} // namespace trace
