// The texts that plinth-demo prints for people: an introduction, and the summary.
#pragma once

#include <string>

#include "workers.h"

namespace demo
{

// Explains on standard error what the program does, and how to see it. name: the text's.
void print_introduction(const std::string& name, unsigned threads, bool window);

// Prints the counts and the time on standard output. spent: milliseconds.
void print_summary(const std::string& name, const Result& result, unsigned threads, double spent);

} // namespace demo
