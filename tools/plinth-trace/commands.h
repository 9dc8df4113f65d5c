// The commands: each takes its options, does its work and returns the exit code. help holds the
// text that --help prints.
#pragma once

#include "options.h"

namespace trace
{

int watch(Options& options);
int window(Options& options);
int log(Options& options);
int export_records(Options& options);
int settings(Options& options);
int module(Options& options);

extern const char* const watch_help;
extern const char* const window_help;
extern const char* const log_help;
extern const char* const export_help;
extern const char* const settings_help;
extern const char* const module_help;

} // namespace trace
