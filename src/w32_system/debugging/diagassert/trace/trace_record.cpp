// A text is formatted before the lock is taken, unless it is too long for the stack: only the text
// of a record depends on the arguments, and formatting is the longest part that threads can do at
// the same time.
//
// The formatted text is scanned once for tags; runs of plain characters are copied unchanged. Every
// replacement is cut to the room that is left, and the end of the record then shows that it was
// cut. The buffers are never cleared: each record is terminated at its end.
#include "trace_record.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <new>

#include <windows.h>

#include <tchar.h>

#include "at_fork.h"
#include "debugging/logfile/logfile_internal.h"
#include "flag_lock.h"
#include "frame.h"
#include "trace_lock.h"

namespace
{

constexpr int32_t no_window = 0x7FFFFFFF; // the viewers' number for a line without a window
constexpr size_t tag_length = 7;          // of each tag, and of "|wndid:"

// A record may wait for another process under the trace lock, so a fork doesn't take that lock: the
// child creates it anew. All data is valid at any moment, or written anew by each record, except
// the parts that are built once. Those are built under this flag, which a fork takes.
constinit QvFlagLock s_building;

const QvAtFork s_atFork(QvForkStep::trace_record,
                        {[] { s_building.Take(); }, [] { s_building.Release(); },
                         [] { InitializeCriticalSection(&s_traceLock); }});

// The times of the windows' last records. Built by the first record, torn down with the library.
class WindowTimes
{
public:
    static void Build()
    {
        static QvTearDown s_tearDown;
        ::new (static_cast<void*>(s_storage)) Map();
        QvPushTearDown(s_tearDown, TearDown);
    }
    // Null if the window has had no record yet.
    static const double* Find(int32_t window)
    {
        const auto found = Get().find(window);
        return found == Get().end() ? nullptr : &found->second;
    }
    static void Set(int32_t window, double time)
    {
        Map& times = Get();
        const auto found = times.lower_bound(window);
        if (found != times.end() && found->first == window)
        {
            found->second = time;
            return;
        }
        const QvFlagGuard guard(s_building);
        times.emplace_hint(found, window, time);
    }

private:
    using Map = std::map<int32_t, double>;

    // A thread may be building a record while the process ends: the table is destroyed after that.
    // If a thread was terminated while it held the lock, the lock stays held, and the table stays.
    static void TearDown()
    {
        constexpr int attempts = 100;
        for (int attempt = 0; attempt < attempts; ++attempt, Sleep(1))
            if (TryEnterCriticalSection(&s_traceLock))
            {
                Get().~Map();
                LeaveCriticalSection(&s_traceLock);
                return;
            }
    }

    static Map& Get() { return *std::launder(reinterpret_cast<Map*>(s_storage)); }
    alignas(Map) static inline unsigned char s_storage[sizeof(Map)];
};

// A tag contains no terminator, so a text that ends within the compared characters differs.
bool StartsWith(const wchar_t* text, const wchar_t (&tag)[tag_length + 1])
{
    static_assert(tag_length <= qv_text_padding);
    return std::memcmp(text, tag, tag_length * sizeof *tag) == 0;
}

// The position of the next bar, or of the text's end: an argument may have put a zero character
// before the given end. Searches in blocks, which the compiler turns into few instructions:
// replacing the tags of a text of 55 characters takes 230 instructions, and 370 with one character
// at a time. The first characters are searched one by one, because most runs between tags are only
// a few characters long.
const wchar_t* EndOfPlain(const wchar_t* at, const wchar_t* end)
{
    constexpr ptrdiff_t short_run = 8;
    for (const wchar_t* const last = at + std::min(end - at, short_run); at != last; ++at)
        if (!*at || *at == L'|')
            return at;
    constexpr ptrdiff_t block_size = 16;
    for (; end - at >= block_size; at += block_size)
    {
        wchar_t found[block_size];
        for (ptrdiff_t i = 0; i < block_size; ++i)
            found[i] = static_cast<wchar_t>((at[i] == L'|') | (at[i] == L'\0'));
        constexpr wchar_t none[block_size] = {};
        if (std::memcmp(found, none, sizeof none) != 0)
            break;
    }
    while (at != end && *at && *at != L'|')
        ++at;
    return at;
}

// Up to 24 digits and signs, the last one first: they are produced in this order, and are always
// few.
struct Backwards
{
    void Digits(uint64_t number, int atLeast)
    {
        for (; number != 0 || atLeast > 0; number /= 10, --atLeast)
            Add(static_cast<wchar_t>(L'0' + number % 10));
    }
    void Add(wchar_t c) { text[length++] = c; }

    wchar_t text[24];
    size_t length = 0;
};

} // namespace

void QvTraceRecord::Start(double now)
{
    const QvFlagGuard guard(s_building);
    WindowTimes::Build();
    m_lastRecordTime = now;
    for (double& time : m_tagTimes)
        time = now;
    // The text buffer, which is free at this moment, has room for any path.
    constexpr DWORD path_limit = 32'768;
    const DWORD length = GetModuleFileNameW(nullptr, m_text, path_limit);
    const wchar_t* name = L"<unknown app>";
    if (length != 0)
    {
        const wchar_t* const last = wcsrchr(m_text, L'\\');
        name = last ? last + 1 : m_text;
    }
    wcsncpy(m_appName, name, app_name_limit - 1);
    m_appName[app_name_limit - 1] = L'\0';
    m_started = true;
}

QvFormatted QvFormatShort(QvShortText& text, const wchar_t* format, va_list arguments)
{
    const int length = _vsnwprintf(text, qv_short_text, format, arguments);
    if (length < 0 || static_cast<size_t>(length) >= qv_short_text)
        return {nullptr, 0};
    std::fill_n(text + length, qv_text_padding, L'\0');
    return {text, static_cast<size_t>(length)};
}

// A text that does not fit is cut at the limit; the part that fits is used.
QvFormatted QvTraceRecord::FormatLong(const wchar_t* format, va_list arguments)
{
    m_text[0] = L'\0';
    const int length = _vsnwprintf(m_text, text_limit, format, arguments);
    if (length < 0 || static_cast<size_t>(length) >= text_limit)
        m_text[text_limit] = L'\0';
    return {m_text, wcslen(m_text)};
}

QvBuiltRecord QvTraceRecord::Build(double now, QvFormatted formatted, const wchar_t* format,
                                   va_list arguments)
{
    m_now = now;
    if (!m_started)
        Start(now);
    if (!formatted.text)
        formatted = FormatLong(format, arguments);
    int64_t moment = 0;
    m_position = QvTimeStamp(m_record, m_stamp, moment); // no stamp without a local time
    m_windowId = 0;
    ReplaceTags(formatted);
    End();
    return {m_record, m_position, moment / 1000};
}

void QvTraceRecord::Finish()
{
    m_lastRecordTime = m_now;
    WindowTimes::Set(m_windowId, m_now);
}

void QvTraceRecord::Put(const wchar_t* text, size_t length)
{
    const size_t fitting = std::min(length, record_limit - m_position);
    std::memcpy(m_record + m_position, text, fitting * sizeof *text);
    m_position += fitting;
}

void QvTraceRecord::Put(const wchar_t* text)
{
    Put(text, wcslen(text));
}

// Plain characters of a formatted text. Most runs are so short that a copy of a fixed size takes
// less than a call.
void QvTraceRecord::PutRun(const wchar_t* text, size_t length)
{
    static_assert(qv_text_padding <= room_behind);
    if (length > qv_text_padding || m_position + length > record_limit)
        return Put(text, length);
    std::memcpy(m_record + m_position, text, qv_text_padding * sizeof *text);
    m_position += length;
}

// Copied one character at a time: a copy of the whole block would have to wait for the single
// stores before it.
void QvTraceRecord::PutBackwards(const wchar_t* text, size_t length)
{
    while (length != 0 && m_position < record_limit)
        m_record[m_position++] = text[--length];
}

void QvTraceRecord::PutNumber(int number)
{
    Backwards text;
    text.Digits(static_cast<uint64_t>(std::abs(int64_t{number})), 1);
    if (number < 0)
        text.Add(L'-');
    PutBackwards(text.text, text.length);
}

// One thread often makes several records in a row, so the digits of the last id are kept, which
// saves 8 ns of 200 (trace/nowhere of the benchmarks).
void QvTraceRecord::PutThreadId()
{
    const DWORD id = GetCurrentThreadId();
    if (id == m_threadId && m_threadDigitCount != 0)
        return Put(m_threadDigits, m_threadDigitCount);
    const size_t before = m_position;
    PutNumber(static_cast<int>(id));
    if (m_position < record_limit) // all digits had room
        KeepThreadId(id, m_record + before, m_position - before);
}

// A fork may happen between any two of these stores. While id and digits belong to different
// threads, the count is 0, so the child uses no digits; therefore the compiler must keep this
// order.
void QvTraceRecord::KeepThreadId(uint32_t id, const wchar_t* digits, size_t count)
{
    m_threadDigitCount = 0;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    m_threadId = id;
    std::memcpy(m_threadDigits, digits, count * sizeof *digits);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    m_threadDigitCount = count;
}

// Two decimals, rounded like the runtime's "%#.2f". For the usual intervals our own way is several
// times faster. The runtime formats large numbers, not-a-number, and values whose hundredths are so
// near to a half that rounding could differ.
void QvTraceRecord::PutInterval(double milliseconds)
{
    constexpr double largest = 8e7; // ms; the product's error is far smaller than the margin
    constexpr double margin = 1e-5;
    const double size = std::fabs(milliseconds);
    const double hundredths = size * 100.0;
    const uint64_t whole = size < largest ? static_cast<uint64_t>(hundredths) : 0;
    const double rest = hundredths - static_cast<double>(whole);
    if (!(size < largest) || std::fabs(rest - 0.5) < margin)
        return PutRareInterval(milliseconds);
    const uint64_t number = whole + (rest > 0.5 ? 1 : 0);
    if (number < 1000 && !std::signbit(milliseconds) && m_position <= record_limit - 4)
        return PutShortInterval(static_cast<uint32_t>(number));
    Backwards text;
    text.Digits(number % 100, 2);
    text.Add(L'.');
    text.Digits(number / 100, 1);
    if (std::signbit(milliseconds))
        text.Add(L'-');
    PutBackwards(text.text, text.length);
}

// Less than 10 ms, in hundredths: most intervals are. There is room for it.
void QvTraceRecord::PutShortInterval(uint32_t hundredths)
{
    wchar_t* const to = m_record + m_position;
    to[0] = static_cast<wchar_t>(L'0' + hundredths / 100);
    to[1] = L'.';
    to[2] = static_cast<wchar_t>(L'0' + hundredths / 10 % 10);
    to[3] = static_cast<wchar_t>(L'0' + hundredths % 10);
    m_position += 4;
}

void QvTraceRecord::PutRareInterval(double milliseconds)
{
    wchar_t text[400];
    _snwprintf(text, 400, L"%#.2f", milliseconds);
    text[399] = L'\0';
    Put(text);
}

void QvTraceRecord::ReplaceTags(QvFormatted formatted)
{
    const wchar_t* const end = formatted.text + formatted.length;
    for (const wchar_t* at = formatted.text; at != end && *at;)
    {
        const size_t tag = *at == L'|' ? ReplaceTag(at) : 0;
        at += tag;
        if (tag != 0)
            continue;
        const wchar_t* const run = at;
        at = EndOfPlain(run + 1, end);
        PutRun(run, static_cast<size_t>(at - run));
    }
}

size_t QvTraceRecord::ReplaceTag(const wchar_t* text)
{
    // The most frequent first.
    if (StartsWith(text, L"|thrid|"))
        PutThreadId();
    else if (StartsWith(text, L"|absdt|"))
        PutInterval(m_now - m_lastRecordTime);
    else if (text[1] == L'a' && text[2] == L'd' && text[3] == L't')
        return PutStopwatch(text);
    else if (StartsWith(text, L"|wndid:"))
    {
        // The tag stays in the text.
        TakeWindowId(text + tag_length);
        return 0;
    }
    else if (StartsWith(text, L"|wnddt|"))
    {
        const double* const last = WindowTimes::Find(m_windowId);
        PutInterval(last ? m_now - *last : 0.0);
    }
    else if (StartsWith(text, L"|stime|"))
    {
        wchar_t time[16];
        Put(_wstrtime(time));
    }
    else if (StartsWith(text, L"|appnm|"))
        Put(m_appName);
    else if (StartsWith(text, L"|sfile|"))
        PutLocation(true, false);
    else if (StartsWith(text, L"|nline|"))
        PutLocation(false, true);
    else if (StartsWith(text, L"|srcid|"))
        PutLocation(true, true);
    else
        return 0;
    return tag_length;
}

// "|adt00|" to "|adt07|". Any other text that begins with "|adt" is dropped, up to the length of a
// tag.
size_t QvTraceRecord::PutStopwatch(const wchar_t* text)
{
    const int number =
        text[4] == L'0' && text[5] >= L'0' && text[5] < L'0' + stopwatch_count && text[6] == L'|'
            ? text[5] - L'0'
            : -1;
    if (number >= 0)
    {
        PutInterval(m_now - m_tagTimes[number]);
        m_tagTimes[number] = m_now;
    }
    size_t length = 0;
    while (length < tag_length && text[length])
        ++length;
    return length;
}

void QvTraceRecord::TakeWindowId(const wchar_t* text)
{
    m_windowId =
        StartsWith(text, L"|thrid|") ? static_cast<int32_t>(GetCurrentThreadId()) : _wtoi(text);
    if (m_windowId == no_window)
        m_windowId = 0;
}

void QvTraceRecord::PutLocation(bool file, bool line)
{
    int32_t number = 0;
    QvTraceLocation(m_location, number);
    if (file)
        Put(m_location);
    if (file && line)
        Put(L" : ");
    if (line)
        PutNumber(number);
}

void QvTraceRecord::End()
{
    static constexpr wchar_t cut_mark[] = L"...\r\n";
    constexpr size_t cut_from = record_limit - 2; // this length and more is cut
    constexpr size_t mark_start = record_limit - 6;
    if (m_position >= cut_from)
    {
        wcscpy(m_record + mark_start, cut_mark);
        m_position = mark_start + std::size(cut_mark) - 1;
        return;
    }
    const bool ended =
        m_position >= 2 && m_record[m_position - 2] == L'\r' && m_record[m_position - 1] == L'\n';
    if (!ended)
    {
        m_record[m_position++] = L'\r';
        m_record[m_position++] = L'\n';
    }
    m_record[m_position] = L'\0';
}
