// One walk: first the frames' addresses, then a line of text for each, beginning with the caller of
// the assertion.
//
// The reporter's frames are recognised by their source file, DiagAssert.cpp; these and the frames
// below them are dropped. If this module's own file was replaced while it runs, its frames have no
// lines, and the reporter's outermost frame is recognised by its exported name. Otherwise, without
// line information of that file, the frames can't be told apart, and nothing is appended.
#include "stack_lines.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include <windows.h>

#include <dbghelp.h>
#include <tchar.h>

#include "plinth_w32_system.h"

#include "at_fork.h"
#include "debugging/diagassert/trace/trace_location.h"
#include "symbol_engine.h"

namespace
{

constexpr size_t frame_limit = 512;
constexpr size_t line_limit = 520;   // characters of one stack line, terminator included
constexpr size_t symbol_limit = 260; // bytes of a symbol's name, terminator included
constexpr size_t symbol_header = 32;
constexpr DWORD module_record = 1'672;
constexpr DWORD line_record = 40;
constexpr DWORD context_full = 0x10000B; // of the 64-bit platform
constexpr const wchar_t* reporter_source = L"DiagAssert.cpp";
constexpr const char* reporter_name = "DiagAssertA";

static_assert(sizeof(IMAGEHLP_SYMBOL64) == symbol_header && sizeof(IMAGEHLP_LINE64) == line_record);
static_assert(sizeof(IMAGEHLP_MODULE64) >= module_record, "newer headers know a longer one");

// Both guarded by the report's lock.
int32_t s_symbolsStarted = 0;
DWORD64
s_addresses[frame_limit]; // of the current walk; static, as an assertion may have little stack left

// A child starts the symbol engine again, as another thread may have been using it.
const QvAtFork s_atFork(QvForkStep::stack_lines, {nullptr, nullptr, [] { s_symbolsStarted = 0; }});

struct Symbol : IMAGEHLP_SYMBOL64
{
    char more[symbol_limit]; // continues Name

    const char* NameText() const
    {
        return reinterpret_cast<const char*>(this) + offsetof(IMAGEHLP_SYMBOL64, Name);
    }
};

// A text of at most one stack line; the rest is cut.
class Line
{
public:
    template <class... Arguments> void Add(const wchar_t* format, Arguments... arguments)
    {
        const size_t room = line_limit - m_length;
        const int added = _snwprintf(m_text + m_length, room, format, arguments...);
        m_length = added < 0 || static_cast<size_t>(added) >= room
                       ? line_limit - 1
                       : m_length + static_cast<size_t>(added);
        m_text[m_length] = L'\0';
    }
    // Ends the line; if it is full, the line end replaces the last character.
    void End()
    {
        m_length = std::min(m_length, line_limit - 2);
        m_text[m_length++] = L'\n';
        m_text[m_length] = L'\0';
    }
    const wchar_t* Text() const { return m_text; }
    size_t Length() const { return m_length; }

private:
    wchar_t m_text[line_limit] = {};
    size_t m_length = 0;
};

void StartSymbols()
{
    SymSetOptions(SymGetOptions() | SYMOPT_LOAD_LINES);
    if (QvSymbolEngine().SymInitialize(GetCurrentProcess(), nullptr, false))
    {
        s_symbolsStarted = 1;
        return;
    }
    DiagOutputExW_hlp(qv_diagassert_source, __LINE__);
    DiagOutputExW(L"DiagAssert : Unable to initialize the symbol engine!!!\n");
}

// Registers a module that the walk meets with the symbol engine.
DWORD64 CALLBACK ModuleBase(HANDLE process, DWORD64 address)
{
    IMAGEHLP_MODULE64 known{};
    known.SizeOfStruct = module_record;
    if (QvSymbolEngine().SymGetModuleInfo64(address, known))
        return known.BaseOfImage;
    MEMORY_BASIC_INFORMATION memory{};
    static_assert(sizeof memory == 48);
    if (VirtualQueryEx(process, reinterpret_cast<LPCVOID>(address), &memory, sizeof memory) == 0)
        return 0;
    char path[MAX_PATH];
    HANDLE file = INVALID_HANDLE_VALUE;
    const DWORD length =
        GetModuleFileNameA(static_cast<HMODULE>(memory.AllocationBase), path, MAX_PATH);
    if (length != 0)
        file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    const auto base = reinterpret_cast<DWORD64>(memory.AllocationBase);
    QvSymbolEngine().SymLoadModule64(file == INVALID_HANDLE_VALUE ? nullptr : file,
                                     length != 0 ? path : nullptr, nullptr, base, 0);
    // The engine opens the files that it needs itself.
    if (file != INVALID_HANDLE_VALUE)
        CloseHandle(file);
    return base;
}

// Stores the addresses of the frames in s_addresses.
size_t WalkStack()
{
    alignas(16) CONTEXT context{};
    context.ContextFlags = context_full;
    if (!GetThreadContext(GetCurrentThread(), &context))
        return 0;
    STACKFRAME64 frame{};
    frame.AddrPC.Offset = context.Rip;
    frame.AddrPC.Mode = AddrModeFlat;
    frame.AddrStack.Offset = context.Rsp;
    frame.AddrStack.Mode = AddrModeFlat;
    frame.AddrFrame.Offset = context.Rbp;
    frame.AddrFrame.Mode = AddrModeFlat;
    size_t count = 0;
    for (size_t i = 0; i < frame_limit; ++i)
    {
        if (!StackWalk64(IMAGE_FILE_MACHINE_AMD64, GetCurrentProcess(), GetCurrentThread(), &frame,
                         &context, nullptr, SymFunctionTableAccess64, ModuleBase, nullptr))
            break;
        if (frame.AddrPC.Offset != 0)
            s_addresses[count++] = frame.AddrPC.Offset;
    }
    return count;
}

void AddModule(Line& line, DWORD64 address)
{
    IMAGEHLP_MODULE64 module{};
    module.SizeOfStruct = module_record;
    if (!QvSymbolEngine().SymGetModuleInfo64(address, module))
    {
        line.Add(L"<unknown module>: ");
        return;
    }
    const char* const separator = std::strchr(module.ImageName, '\\');
    line.Add(L"%hs: ", separator ? separator + 1 : module.ImageName);
}

bool FindSymbol(DWORD64 address, Symbol& symbol, DWORD64& displacement)
{
    symbol.SizeOfStruct = symbol_header;
    symbol.MaxNameLength = symbol_limit;
    return QvSymbolEngine().SymGetSymFromAddr64(address, displacement, symbol);
}

bool AddSymbol(Line& line, DWORD64 address)
{
    Symbol symbol{};
    DWORD64 displacement = 0;
    if (!FindSymbol(address, symbol, displacement))
    {
        line.Add(L"<unknown symbol>");
        return false;
    }
    if (displacement != 0)
        line.Add(L"%hs + %d bytes", symbol.Name, static_cast<int>(displacement));
    else
        line.Add(L"%hs", symbol.Name);
    return true;
}

void AddSource(Line& line, DWORD64 address)
{
    IMAGEHLP_LINE64 source{};
    DWORD displacement = 0;
    source.SizeOfStruct = line_record;
    if (!QvSymbolEngine().SymGetLineFromAddr64(address, displacement, source))
        return;
    line.Add(L"\n\t\t%hs, Line %d", source.FileName, static_cast<int>(source.LineNumber));
    if (displacement != 0)
        line.Add(L" + %d bytes", static_cast<int>(displacement));
}

Line MakeLine(DWORD64 address)
{
    Line line;
    line.Add(L"0x%08X ", static_cast<unsigned>(address));
    AddModule(line, address);
    if (AddSymbol(line, address))
        AddSource(line, address);
    line.End();
    return line;
}

// Whether this is the reporter's outermost frame, in a module whose own file no longer exists.
bool IsReporterByName(DWORD64 address)
{
    IMAGEHLP_MODULE64 module{};
    module.SizeOfStruct = module_record;
    Symbol symbol{};
    DWORD64 displacement = 0;
    return FindSymbol(address, symbol, displacement) &&
           std::strcmp(symbol.NameText(), reporter_name) == 0 &&
           QvSymbolEngine().SymGetModuleInfo64(address, module) && module.DbgUnmatched;
}

} // namespace

void AppendStackLines(wchar_t* buffer, size_t room)
{
    if (s_symbolsStarted == 0)
        StartSymbols();
    wchar_t* end = buffer + wcslen(buffer);
    bool inReporter = false;
    const size_t count = WalkStack();
    for (size_t i = 0; i < count; ++i)
    {
        const Line line = MakeLine(s_addresses[i]);
        if (wcsstr(line.Text(), reporter_source) ||
            (!inReporter && IsReporterByName(s_addresses[i])))
            inReporter = true;
        else if (inReporter)
        {
            if (line.Length() > room)
                break;
            std::memcpy(end, line.Text(), (line.Length() + 1) * sizeof *end);
            end += line.Length();
            room -= line.Length();
        }
    }
}
