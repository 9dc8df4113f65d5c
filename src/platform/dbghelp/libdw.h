// The library that reads ELF symbol tables and DWARF, loaded when it is first needed.
//
// Linking to it would load five libraries into each process that few processes ever need, and keep
// programs from starting where it isn't installed.
#pragma once

#include <elfutils/libdwfl.h>

namespace platform
{

struct Libdw
{
    decltype(&::dwfl_begin) begin = nullptr;
    decltype(&::dwfl_report_begin) report_begin = nullptr;
    decltype(&::dwfl_report_begin_add) report_begin_add = nullptr;
    decltype(&::dwfl_report_module) report_module = nullptr;
    decltype(&::dwfl_report_end) report_end = nullptr;
    decltype(&::dwfl_addrmodule) addrmodule = nullptr;
    decltype(&::dwfl_module_addrinfo) module_addrinfo = nullptr;
    decltype(&::dwfl_module_getsrc) module_getsrc = nullptr;
    decltype(&::dwfl_lineinfo) lineinfo = nullptr;
    decltype(&::dwfl_build_id_find_debuginfo) build_id_find_debuginfo = nullptr;
    // From libelf, which libdw uses.
    decltype(&::elf_version) elf_version = nullptr;
    decltype(&::elf_begin) elf_begin = nullptr;
};

// Null without the library; the next call tries again. One thread at a time, as for all of this
// folder.
const Libdw* libdw();

} // namespace platform
