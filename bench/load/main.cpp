// Measures the cost of an operation at several loads, and writes a table for each curve.
// scripts/load runs it on an idle machine and draws the curves.
//
//     plinth_load [--quick] [--output FOLDER] [threads] [folder] [timers] [transfers] [rows]
//         [records] [kills]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <string>
#include <vector>

#include "curve.h"
#include "measure.h"

namespace
{

struct Part
{
    const char* name;
    std::vector<load::Curve> (*measure)(bool quick);
};

constexpr Part parts[] = {
    {"threads", load::measure_threads}, {"folder", load::measure_folder},
    {"timers", load::measure_timers},   {"transfers", load::measure_transfers},
    {"rows", load::measure_rows},       {"records", load::measure_records},
    {"kills", load::measure_kills}};

struct Options
{
    bool quick = false;
    std::string output; // empty: tables on standard output only
    std::vector<std::string> parts;
};

bool is_part(const std::string& word)
{
    return std::any_of(std::begin(parts), std::end(parts),
                       [&word](const Part& part) { return word == part.name; });
}

bool read_options(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string word = argv[i];
        if (word == "--quick")
            options.quick = true;
        else if (word == "--output" && i + 1 < argc)
            options.output = argv[++i];
        else if (is_part(word))
            options.parts.push_back(word);
        else
            return false;
    }
    return true;
}

int measure(const Options& options)
{
    for (const Part& part : parts)
    {
        if (!options.parts.empty() &&
            std::find(options.parts.begin(), options.parts.end(), part.name) == options.parts.end())
            continue;
        for (const load::Curve& curve : part.measure(options.quick))
        {
            curve.print();
            if (!options.output.empty() && !curve.write(options.output))
            {
                std::fprintf(stderr, "plinth_load: could not write into %s\n",
                             options.output.c_str());
                return 1;
            }
        }
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
try
{
    if (argc == 5 && std::string(argv[1]) == "--logging-child")
        return load::logging_child(argv[2], argv[3], std::atoi(argv[4]));
    Options options;
    if (!read_options(argc, argv, options))
    {
        std::fprintf(stderr, "usage: plinth_load [--quick] [--output FOLDER] [threads] [folder] "
                             "[timers] [transfers] [rows] [records] [kills]\n");
        return 2;
    }
    if (!std::getenv("PLINTH_ROOT"))
    {
        std::fprintf(stderr, "plinth_load: set PLINTH_ROOT to an empty folder of the run "
                             "(scripts/load does)\n");
        return 2;
    }
    load::raise_file_limit();
    return measure(options);
}
catch (const std::exception& error)
{
    std::fprintf(stderr, "plinth_load: %s\n", error.what());
    return 1;
}
