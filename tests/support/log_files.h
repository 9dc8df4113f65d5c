// What log tests need: the folder, today's names, the content without the lines that every session
// has.
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

// The name of the file that is written now, "" if there is none.
std::string current_log();

// What the current file holds behind the first session header of this test; call start_log first.
// Opens a fresh file: closes the log, empties the folder, and lets the next call open it.
void start_log();

// The content of the current file without session headers and their stamps.
std::string log_content();

// Stores a REG_DWORD of the log's settings for the next instances. It lasts to the end of the test
// with a FreshLog, or of the program.
void set_log_setting(const wchar_t* name, DWORD value);

#ifndef _WIN32
// Another program writes the first bytes of today's first file, which both have found empty, after
// this one has opened it and before this one's first bytes.
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
