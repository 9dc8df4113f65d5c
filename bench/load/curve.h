// The parts of a curve: a load, and the figures that were measured at it.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace load
{

struct Column
{
    const char* name;    // in the CSV file
    const char* heading; // for people, with the unit
    int decimals;
};

// The first column is the load. A value that is not a number was not measured and stays empty.
class Curve
{
public:
    Curve(const char* name, const char* title, std::vector<Column> columns);

    void add(std::vector<double> values);
    // A row whose load is a name; one value for each other column.
    void add(std::string name, std::vector<double> values);

    void print() const;
    // Writes NAME.csv, and NAME.md with the table for a document. False if they could not be
    // written.
    bool write(const std::string& folder) const;

private:
    std::string text(size_t row, size_t column) const;
    int width(size_t column) const;
    std::string csv() const;
    std::string markdown() const;

    const char* m_name;
    const char* m_title;
    std::vector<Column> m_columns;
    struct Row
    {
        std::string name; // in place of the first value
        std::vector<double> values;
    };
    std::vector<Row> m_rows;
};

// Each is measured by one source. quick: only the small loads, once, to check that it works.
std::vector<Curve> measure_threads(bool quick);
std::vector<Curve> measure_folder(bool quick);
std::vector<Curve> measure_timers(bool quick);
std::vector<Curve> measure_transfers(bool quick);
std::vector<Curve> measure_rows(bool quick);
std::vector<Curve> measure_records(bool quick);
std::vector<Curve> measure_kills(bool quick);

// The process that measure_kills starts and kills: logs until it is killed or its parent ends.
int logging_child(const std::string& kind, const std::string& folder, pid_t parent);

} // namespace load
