// Building one trace record: stamp, formatted text with its tags replaced, CR LF.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "debugging/logfile/logfile_internal.h"
#include "trace_location.h"

// Characters of formatted text, terminator included, that a record has room for on its thread's
// stack.
inline constexpr size_t qv_short_text = 2048;

// What a text has behind these, so that code may look at a tag's length of it, or copy as much,
// wherever it is in the text.
inline constexpr size_t qv_text_padding = 8;
using QvShortText = wchar_t[qv_short_text + qv_text_padding];

// A formatted text, terminated and padded. Null if it had no room.
struct QvFormatted
{
    const wchar_t* text;
    size_t length;
};

// Formats a record's text, which needs no lock.
QvFormatted QvFormatShort(QvShortText& text, const wchar_t* format, va_list arguments);

// A record, terminated: without a text there is none.
struct QvBuiltRecord
{
    const wchar_t* text;
    size_t length;
    int64_t second; // of its stamp, since 1970
};

// The state behind all records, and the buffers that they are built in. Guarded by the trace lock.
class QvTraceRecord
{
public:
    // Builds a record at a moment of the library's clock, in milliseconds. What QvFormatShort had
    // no room for is formatted here. The record stays until the next call.
    QvBuiltRecord Build(double now, QvFormatted formatted, const wchar_t* format,
                        va_list arguments);

    // Notes that the record that was built has gone out. May add a node for a new window id.
    void Finish();

private:
    static constexpr size_t text_limit = 32'768;   // characters of the formatted text
    static constexpr size_t room_behind = 256;     // behind the limit
    static constexpr size_t record_limit = 32'768; // characters of a record, terminator included
    static constexpr int stopwatch_count = 8;
    static constexpr size_t app_name_limit = 1024;

    void Start(double now);
    QvFormatted FormatLong(const wchar_t* format, va_list arguments);
    void Put(const wchar_t* text, size_t length);
    void Put(const wchar_t* text);
    void PutRun(const wchar_t* text, size_t length);
    void PutBackwards(const wchar_t* text, size_t length);
    void PutNumber(int number);
    void PutThreadId();
    void KeepThreadId(uint32_t id, const wchar_t* digits, size_t count);
    void PutInterval(double milliseconds);
    void PutShortInterval(uint32_t hundredths);
    void PutRareInterval(double milliseconds);
    void ReplaceTags(QvFormatted formatted);
    // Replaces the tag at the start of the text and gives the characters that it takes up, 0 if
    // there is no tag.
    size_t ReplaceTag(const wchar_t* text);
    size_t PutStopwatch(const wchar_t* text);
    void TakeWindowId(const wchar_t* text);
    void PutLocation(bool file, bool line);
    void End();

    bool m_started = false;
    double m_now = 0.0;
    double m_lastRecordTime = 0.0;
    double m_tagTimes[stopwatch_count] = {};
    QvStamp m_stamp; // the last one
    int32_t m_windowId = 0;
    uint32_t m_threadId = 0;       // whose digits are kept
    size_t m_threadDigitCount = 0; // 0: none are
    wchar_t m_threadDigits[16] = {};
    size_t m_position = 0; // of the next character of the record
    wchar_t m_appName[app_name_limit] = {};
    wchar_t m_location[qv_location_limit] = {}; // while it is put
    wchar_t m_text[text_limit + room_behind] = {};
    wchar_t m_record[record_limit + room_behind] = {};
};
