// The data come from the C library; they are read once after each change of the environment's
// names.
#include "locale_data.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <langinfo.h>
#include <mutex>

#include "locale_picture.h"
#include "system/calls.h"
#include "system/environment.h"
#include "system/fork.h"
#include "system/immortal.h"

namespace platform
{

namespace
{

std::string locale_name(const char* category)
{
    for (const char* variable : {"LC_ALL", category, "LANG"})
        if (const char* const name = locale_environment(variable); name && *name)
            return name;
    return "C";
}

// Whether data won't change if read again. A shortage of memory or descriptors while reading may
// pass, so the data must then be read again.
bool is_lasting(int error)
{
    return error == ENOENT || error == EINVAL; // no such locale, or no such character set
}

// Converts from a locale's character set. Texts are short.
class ToUtf8
{
public:
    ToUtf8(const char* from, bool& lasting)
        : m_same(std::strcmp(from, "UTF-8") == 0 || std::strcmp(from, "ANSI_X3.4-1968") == 0),
          m_converter(m_same ? none() : sys::iconv_open("UTF-8", from))
    {
        if (!m_same && m_converter == none())
            lasting &= is_lasting(errno);
    }
    ToUtf8(const ToUtf8&) = delete;
    ToUtf8& operator=(const ToUtf8&) = delete;
    ~ToUtf8()
    {
        if (m_converter != none())
            ::iconv_close(m_converter);
    }

    // Without a converter for the character set only ASCII is kept.
    std::string operator()(const char* text) const
    {
        if (m_same)
            return text;
        std::string result;
        if (m_converter == none())
        {
            for (; *text; ++text)
                result += static_cast<unsigned char>(*text) < 0x80 ? *text : '?';
            return result;
        }
        char buffer[512];
        char* in = const_cast<char*>(text); // iconv takes a pointer without const
        char* out = buffer;
        size_t left = std::strlen(text);
        size_t room = sizeof buffer;
        ::iconv(m_converter, &in, &left, &out, &room);
        result.assign(buffer, out);
        return result;
    }

private:
    static iconv_t none() { return reinterpret_cast<iconv_t>(-1); }

    const bool m_same;
    const iconv_t m_converter;
};

// A locale object for one category and its character set. Falls back to "C", which always exists.
class Category
{
public:
    Category(int mask, const std::string& name, bool& lasting)
        : m_locale(sys::newlocale(mask | LC_CTYPE_MASK, name.c_str()))
    {
        if (m_locale)
            return;
        lasting &= is_lasting(errno);
        m_locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    }
    Category(const Category&) = delete;
    Category& operator=(const Category&) = delete;
    ~Category() { ::freelocale(m_locale); }

    const char* raw(nl_item item) const { return ::nl_langinfo_l(item, m_locale); }
    locale_t get() const { return m_locale; }

private:
    locale_t m_locale;
};

// The C library's grouping is a list of bytes: the last one repeats, unless CHAR_MAX (or -1) ends
// the list. The system's list ends in 0 if the last one repeats.
std::string system_grouping(const char* grouping)
{
    std::string sizes;
    for (; *grouping > 0 && *grouping < CHAR_MAX; ++grouping)
        sizes += *grouping;
    if (sizes.empty())
        return "0";
    const bool goes_on = *grouping == 0;
    while (goes_on && sizes.size() > 1 && sizes.back() == sizes[sizes.size() - 2])
        sizes.pop_back();
    std::string result;
    for (const char size : sizes)
        result += std::to_string(static_cast<int>(size)) + ";";
    if (goes_on)
        return result + "0";
    result.pop_back();
    return result;
}

// Year numbers of an era, such as the Buddhist one, as a difference from common years. Eras that
// restarted within living memory have no constant difference: their years stay common ones.
int era_distance(locale_t locale)
{
    const auto distance = [locale](int year)
    {
        struct tm date = {};
        date.tm_year = year - 1900;
        date.tm_mon = 5;
        date.tm_mday = 15;
        char text[64];
        if (!::strftime_l(text, sizeof text, "%Ey", &date, locale))
            return 0;
        char* end = nullptr;
        const long number = std::strtol(text, &end, 10);
        return *end || number < 1000 || number > 9999 ? 0 : static_cast<int>(number) - year;
    };
    const int now = distance(2024);
    return now == distance(1900) ? now : 0;
}

template <size_t size>
void read_names(std::array<std::string, size>& names, const Category& time, const ToUtf8& utf8,
                nl_item first)
{
    for (size_t i = 0; i < size; ++i)
    {
        names[i] = utf8(time.raw(first + static_cast<nl_item>(i)));
        names[i].erase(0, names[i].find_first_not_of(' ')); // some are padded to one width
    }
}

// Both return false if the data must be read again.
bool read_numeric(LocaleData& data, const std::string& name)
{
    bool lasting = true;
    const Category numeric(LC_NUMERIC_MASK, name, lasting);
    const ToUtf8 utf8(numeric.raw(CODESET), lasting);
    data.decimal = utf8(numeric.raw(RADIXCHAR));
    data.thousand = utf8(numeric.raw(THOUSEP));
    data.grouping = system_grouping(numeric.raw(GROUPING));
    if (data.decimal.empty())
        data.decimal = ".";
    return lasting;
}

bool read_time(LocaleData& data, const std::string& name)
{
    bool lasting = true;
    const Category time(LC_TIME_MASK, name, lasting);
    const ToUtf8 utf8(time.raw(CODESET), lasting);
    const std::string date_format = utf8(time.raw(D_FMT));
    data.short_date = picture_from_format(date_format, "");
    data.time = picture_from_format(utf8(time.raw(T_FMT)), utf8(time.raw(T_FMT_AMPM)));
    data.am = utf8(time.raw(AM_STR));
    data.pm = utf8(time.raw(PM_STR));
    // A twelve-hour time without a mark for morning or afternoon would be ambiguous.
    if (data.am.empty() && data.pm.empty() && !time_shape(data.time).hours24)
    {
        data.am = "AM";
        data.pm = "PM";
    }
    read_names(data.days, time, utf8, DAY_1);
    read_names(data.short_days, time, utf8, ABDAY_1);
    read_names(data.months, time, utf8, ALTMON_1);
    read_names(data.months_of_date, time, utf8, MON_1);
    read_names(data.short_months, time, utf8, ABMON_1);
    if (date_format.find("%E") != std::string::npos)
        data.year_offset = era_distance(time.get());
    return lasting;
}

struct Cached
{
    std::mutex lock; // guards the rest; a leaf lock, taken while no other lock of ours is held
    std::string numeric;
    std::string time;
    std::shared_ptr<const LocaleData> data;
};

Cached& the_cache()
{
    static Immortal<Cached> only;
    return *only;
}

std::mutex& cache_lock()
{
    return the_cache().lock;
}

const AtFork g_at_fork(ForkStep::locale, taken_at_fork<cache_lock>());

} // namespace

std::shared_ptr<const LocaleData> locale_data()
{
    Cached& cached = the_cache();
    std::string numeric = locale_name("LC_NUMERIC");
    std::string time = locale_name("LC_TIME");
    const std::lock_guard guard(cached.lock);
    if (!cached.data || cached.numeric != numeric || cached.time != time)
    {
        auto data = std::make_shared<LocaleData>();
        const bool numeric_lasts = read_numeric(*data, numeric);
        const bool time_lasts = read_time(*data, time);
        if (!numeric_lasts || !time_lasts)
            return data;
        cached.data = std::move(data);
        cached.numeric = std::move(numeric);
        cached.time = std::move(time);
    }
    return cached.data;
}

} // namespace platform
