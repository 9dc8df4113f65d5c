// Building one trace record: stamp, formatted text with its tags replaced, CR LF.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "debugging/logfile/logfile_internal.h"
#include "trace_location.h"

// Characters, terminator included, of the buffer for formatted text on the thread's stack.
inline constexpr size_t qv_short_text = 2048;

// Zero characters after a text, so that code may compare a tag's length or copy as much at each
// position of the text.
inline constexpr size_t qv_text_padding = 8;
using QvShortText = wchar_t[qv_short_text + qv_text_padding];

// A formatted text, terminated and padded. Null if it did not fit.
struct QvFormatted
{
    const wchar_t* text;
    size_t length;
};

// Formats a record's text, which needs no lock.
QvFormatted QvFormatShort(QvShortText& text, const wchar_t* format, va_list arguments);

// A record, terminated. A null text means that there is no record.
struct QvBuiltRecord
{
    const wchar_t* text;
    size_t length;
    int64_t second; // of its stamp, since 1970
};

// The state of all records, and the buffers that they are built in. Guarded by the trace lock.
class QvTraceRecord
{
public:
    // Builds a record for a moment of the library's clock, in milliseconds. Formats the text here
    // if it did not fit into QvFormatShort's buffer. The record is valid until the next call.
    QvBuiltRecord Build(double now, QvFormatted formatted, const wchar_t* format,
                        va_list arguments);

    // Called after the record was sent: stores its times. May add a node for a new window id.
    void Finish();

private:
    static constexpr size_t text_limit = 32'768;   // characters of the formatted text
    static constexpr size_t room_behind = 256;     // after the limit
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
    // Replaces the tag at the start of the text. Returns the tag's length in the text, 0 if there
    // is no tag.
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
    uint32_t m_threadId = 0;       // the thread whose digits are kept
    size_t m_threadDigitCount = 0; // 0: none are kept
    wchar_t m_threadDigits[16] = {};
    size_t m_position = 0; // of the next character of the record
    wchar_t m_appName[app_name_limit] = {};
    wchar_t m_location[qv_location_limit] = {}; // only while it is inserted
    wchar_t m_text[text_limit + room_behind] = {};
    wchar_t m_record[record_limit + room_behind] = {};
};
