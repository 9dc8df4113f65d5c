// plinth-trace export: its options.
#include "commands.h"
#include "exporter.h"
#include "log_files.h"
#include "view_options.h"

namespace trace
{

const char* const export_help =
    "usage: plinth-trace export [OPTION...]\n"
    "\n"
    "Writes the records of log files for other programs: each record once, in the order of their\n"
    "times, with its time in UTC, the machine, the file, a mark that tells files of one name\n"
    "apart, the offset in the file, the number of the record and of its session. A record that\n"
    "is exported twice has the same machine, file, mark and offset.\n"
    "\n"
    "  --input FROM       this log file or folder; several times: all of them; the default is\n"
    "                     the folder of all programs' logs\n"
    "  --follow           continue with what is written later, also to new log files; Ctrl-C\n"
    "                     ends\n"
    "  --cursor FILE      keep in this file how far the export has come, and continue from there\n"
    "  --format FORMAT    json (default; an object a line), rfc5424 (a syslog message a line) or\n"
    "                     journal (the export format of systemd's journal)\n"
    "  --output FILE      append to this file; otherwise write to standard output\n"
    "  --rotate SIZE      with --output: rename a file of this size to FILE.1 and begin a new one\n"
    "  --since TIME       only records from this time on: \"2024-03-05 14:07\", UTC with Z at its\n"
    "                     end, 14:07 of today, or a span before now: 90s, 10m, 2h, 1d\n"
    "  --until TIME       only records up to this time; don't wait for later ones\n"
    "  --zone ZONE        the time zone in which the logs were written, as Europe/Berlin\n";

int export_records(Options& options)
{
    ExportOptions wanted;
    wanted.inputs = take_values(options, "--input");
    wanted.may_be_missing = wanted.inputs.empty();
    if (wanted.inputs.empty())
        wanted.inputs.push_back(default_log_folder());
    wanted.cursor = options.take_value("--cursor");
    wanted.output = options.take_value("--output");
    wanted.largest = take_size(options, "--rotate");
    if (const auto name = options.take_value("--format"))
    {
        const std::optional<ExportFormat> format = export_format_of(*name);
        if (!format)
            options.refuse("--format takes json, rfc5424 or journal, not \"" + *name + "\"");
        wanted.format = *format;
    }
    wanted.bounds = take_log_bounds(options);
    wanted.bounds.follows = options.take_flag("--follow");
    wanted.may_be_missing = wanted.may_be_missing || wanted.bounds.follows;
    if (wanted.bounds.tail)
        options.refuse("--tail is for those who look at the log; --since bounds an export");
    if (wanted.largest && !wanted.output)
        options.refuse("--rotate needs --output");
    if (wanted.output && wanted.format == ExportFormat::journal)
        options.refuse("--format journal is for standard output, not for --output");
    options.finish();
    return Exporter(std::move(wanted)).run();
}

} // namespace trace
