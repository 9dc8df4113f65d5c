// What plinth-demo prints for people: what is about to happen, and the summary.
#pragma once

#include <string>

#include "workers.h"

namespace demo
{

// Explains on standard error what the program does, and how to see it. name: the text's.
void print_introduction(const std::string& name, unsigned threads, bool window);

// Prints on standard output what was counted and what it took. spent: milliseconds.
void print_summary(const std::string& name, const Result& result, unsigned threads, double spent);

} // namespace demo
