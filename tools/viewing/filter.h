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
    DWORD id = 0; // 0: the name counts
    std::string name{};
};

// A number is an id, anything else a name.
WantedProcess wanted_process(const std::string& text);

struct Filter
{
    std::vector<Pattern> match{};                    // each is in the text
    std::vector<Pattern> include{};                  // one of them is, if there are any
    std::vector<Pattern> exclude{};                  // none of them is
    WindowIds windows{};                             // it has one of them, if there are any
    std::vector<WantedProcess> processes{};          // the writer is one of them, if there are any
    std::vector<WantedProcess> excluded_processes{}; // the writer is none of them

    // A loss always passes. A pattern that gives up decides nothing: the record is rather shown.
    bool passes(const RecordView& record) const;

    // For how many texts, and which, patterns have given up: empty if none has.
    std::string given_up() const;
};

} // namespace trace
