// Numbers, dates, code pages and identifiers; figures of memory.
#include <ctime>

#include "session.h"

namespace sweep
{

namespace
{

void numbers(Session& session)
{
    wchar_t text[64] = L"";
    if (session.worked("QV_DoubleToString", QV_DoubleToString(-1234.5, 2, text, 64)))
        session.worked("another number", test::utf8(text) == "-1234.5");
    double value = 0.0;
    if (session.worked("QV_StringToDouble", QV_StringToDouble(L"12.25 kg", &value)))
        session.worked("another value", value == 12.25);
    char narrow[16] = "";
    session.worked("QV_WChar2Char", QV_WChar2Char(L"text", -1, narrow, 16) == 5);
    wchar_t wide[16] = L"";
    session.worked("QV_Char2WChar", QV_Char2WChar("text", -1, wide, 16) == 5);
}

void dates(Session& session)
{
    tm when = {};
    when.tm_year = 120;
    when.tm_mday = 1;
    double variant = 0.0;
    session.ok("QV_TmToVariantTime", QV_TmToVariantTime(&when, &variant), {QV_ERR_SYSTEM});
    wchar_t date[64] = L"", time[64] = L"";
    session.ok("QV_GetLocaleShortDateTimeFormat",
               QV_GetLocaleShortDateTimeFormat(date, 64, time, 64), {});
    session.worked("a short date's form", date[0] && time[0]);
    session.ok("QV_GetLocaleDateTimeFormat", QV_GetLocaleDateTimeFormat(date, 64, time, 64), {});
    session.ok("QV_GetLocaleUserDateTimeFormat", QV_GetLocaleUserDateTimeFormat(date, 64), {});
    SYSTEMTIME now = {};
    now.wYear = 2020;
    now.wMonth = 5;
    now.wDay = 6;
    session.ok("QV_FormatLocaleDateTime", QV_FormatLocaleDateTime(&now, date, 64, time, 64),
               {QV_ERR_SYSTEM});
}

} // namespace

void text_part(Session& session)
{
    numbers(session);
    dates(session);
    UUID id = {};
    wchar_t text[33] = L"";
    session.ok("QV_Generate_Uuid", QV_Generate_Uuid(&id), {QV_ERR_SYSTEM});
    session.ok("QV_Type_Uuid", QV_Type_Uuid(&id, text), {});
    session.holds("an identifier's length", wcslen32(text) == 32);
}

void memory_part(Session& session)
{
    uint64_t physical = 0, other[5] = {};
    session.ok("QV_GetMemoryStatus",
               QV_GetMemoryStatus(&physical, other, other + 1, other + 2, other + 3, other + 4),
               {});
    session.worked("QV_GetMemoryStatus", physical != 0);
    session.ok("QV_GetMemoryInfo",
               QV_GetMemoryInfo(other, other + 1, other + 2, &physical, other + 3, other + 4),
               {QV_ERR_SYSTEM});
    uint64_t committed = 0, limit = 0, overflow = 0;
    session.ok("QV_GetAllocLimit", QV_GetAllocLimit(&committed, &limit), {QV_ERR_SYSTEM});
    // The limit is worked out once: with a fault just then it is 0 for the library's whole life.
    if (limit != 0)
        session.worked("QV_CheckSingleDocumentSizeOverflow",
                       !QV_CheckSingleDocumentSizeOverflow(1'000, &overflow, true));
}

} // namespace sweep
