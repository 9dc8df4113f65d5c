// For log tests: the folder, today's names, and the content without the lines that every session
// writes.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <plinth_w32_system.h>

#include "support/environment.h"

namespace test
{

// The stamp of a record, as a regular expression.
inline const std::string stamp_pattern =
    "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\*vtq\\* ";

// The folder of the log, native: this machine's on Linux, this program's on Windows.
std::string log_folder();

// Today's log file of a number, without the folder: "qvapp_YYYY-MM-DD_(NNNN).log". The day can be
// an earlier or, below 0, a later one.
std::string log_name(unsigned number, int days_ago = 0);

// Whole files of the log folder, by their names in it.
std::string read_log(const std::string& name);
void write_log(const std::string& name, const std::string& bytes);

// The names in the log folder, sorted.
std::vector<std::string> log_names();

// The name of the file that the log writes now, "" if there is none.
std::string current_log();

// Opens a fresh file: closes the log, empties the folder, and lets the next call open it.
// log_content() then returns what is written after the first session header.
void start_log();

// The content of the current file without session headers and their stamps.
std::string log_content();

// Stores a REG_DWORD of the log's settings for the next instances. It lasts to the end of the test
// with a FreshLog, or of the program.
void set_log_setting(const wchar_t* name, DWORD value);

#ifndef _WIN32
// This process and another find today's first file empty and open it; the other writes its first
// bytes first.
void start_log_after(const std::string& first_bytes);
#endif

// A test with a fresh log, which has no limit for a message. Afterwards the settings of the log and
// the destinations of records and reports are the usual ones again, and the stand-in has no faults.
class FreshLog : public testing::Test
{
protected:
    FreshLog();
    ~FreshLog() override;
};

} // namespace test
