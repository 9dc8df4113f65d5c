// plinth_w32_system: the system layer of a family of desktop applications.
//
// One shared library for all modules of an application: it provides files, directories, clocks and
// text, a log and traces. A first program:
//
//     #include <plinth_w32_system.h>
//
//     int main()
//     {
//         QV_Log(L"application started\r\n");
//         DiagOutputExW_hlp("main", __LINE__);
//         DiagOutputExW(L"|wndid:1| |thrid| %d files, |adt00| ms since the last", 3);
//     }
//
// Conventions that hold everywhere:
//
// - Status: a plain int result, QV_OK (0) for success and a negative QV_ERR_... number otherwise.
//   Results are returned in out-parameters. No exception reports a failed operation; only
//   std::bad_alloc and std::length_error may reach the caller, and then nothing is lost. The
//   system's own error stays readable through GetLastError.
// - Text is 16-bit wchar_t (on Linux: compiled with -fshort-wchar), zero-terminated, unless a name
//   ends in A or the parameter is a const char*. Sizes of text buffers count characters, terminator
//   included, unless said otherwise.
// - Paths take both '\' and '/' as separators. On Linux C: is the root directory.
// - Any thread may call any function, unless its description says otherwise. Options and cached
//   answers are plain words without a lock.
// - The most stack that a call uses, on 64-bit Linux with paths up to 500 bytes and no links in the
//   state folder: log and trace records 12 KB, also when they open the log; files, folders, modules
//   opened as data, resources and settings 20 KB; assertion reports 20 KB, and 256 KB with stack
//   lines; all others 8 KB. The code of a loaded module uses stack of its own in addition.
// - docs/NAME.md in a comment is a document, installed in share/doc/plinth/docs; the Debian package
//   installs it in /usr/share/doc/libplinth-dev/docs.
// - A file, search or view belongs to the caller that received it, until the matching close call.
//
// This header includes all parts of the interface. Each part has a header of its own in the folder
// plinth_w32_system.
#ifndef PLINTH_W32_SYSTEM_H
#define PLINTH_W32_SYSTEM_H

#include "plinth_w32_system/base.h"
#include "plinth_w32_system/clock.h"
#include "plinth_w32_system/diagnostics.h"
#include "plinth_w32_system/files.h"
#include "plinth_w32_system/machine.h"
#include "plinth_w32_system/resources.h"
#include "plinth_w32_system/sockets.h"
#include "plinth_w32_system/status.h"
#include "plinth_w32_system/text.h"
#include "plinth_w32_system/thread_pool.h"
#include "plinth_w32_system/trace_format.h"
#include "plinth_w32_system/trace_viewing.h"

#endif
