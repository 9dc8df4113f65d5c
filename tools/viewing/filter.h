// Which records are shown.
#pragma once

#include <string>
#include <vector>

#include "pattern.h"
#include "record.h"
#include "window_ids.h"

namespace trace
{

// A process that is wanted, by its id or its name.
struct WantedProcess
{
    DWORD id = 0; // 0: the name is compared
    std::string name{};
};

// A number is an id, anything else a name.
WantedProcess wanted_process(const std::string& text);

struct Filter
{
    std::vector<Pattern> match{};           // each must be in the text
    std::vector<Pattern> include{};         // one of them must be, if there are any
    std::vector<Pattern> exclude{};         // none of them may be
    WindowIds windows{};                    // its window must be one of them, if there are any
    std::vector<WantedProcess> processes{}; // its writer must be one, if there are any
    std::vector<WantedProcess> excluded_processes{}; // its writer must be none of them

    // A loss always passes. A pattern that gives up has no effect: the record is then shown.
    bool passes(const RecordView& record) const;

    // How many texts patterns have given up on, and which patterns: empty if none has.
    std::string given_up() const;
};

} // namespace trace
