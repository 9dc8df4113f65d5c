// The C++ library's facets for wide text, compiled for 16 bits.
//
// They have ids of their own. So a locale's table, which the library fills with its 32-bit facets,
// stays unchanged for others. A facet that an application has put into a locale is found there
// under our id. For all other facets, use_facet returns a default that behaves like the locale's
// narrow facets. Each different default is created once and kept.
#include "own_templates.h"

#include <climits>
#include <locale>
#include <map>
#include <mutex>
#include <string>

#include <langinfo.h>
#include <wctype.h>

#include "utf.h"

// The narrow facets remain the library's: a facet is found by the address of its id.
#define PLINTH_NARROW(...)                                                                         \
    extern template class __VA_ARGS__;                                                             \
    extern template const __VA_ARGS__& use_facet<__VA_ARGS__>(const locale&);
namespace std
{
PLINTH_NARROW(numpunct<char>)
PLINTH_NARROW(moneypunct<char, false>)
PLINTH_NARROW(moneypunct<char, true>)
PLINTH_NARROW(__timepunct<char>)
PLINTH_NARROW(collate<char>)
extern template class numpunct_byname<char>;
extern template class moneypunct_byname<char, false>;
extern template class moneypunct_byname<char, true>;
extern template const ctype<char>& use_facet<ctype<char>>(const locale&);
} // namespace std

using namespace std; // nearly all names here are from std

namespace
{

// Facets by a key of their behaviour. They are few and are used until the end of the process.
template <class Facet> class Kept
{
public:
    template <class Make> const Facet& get(const string& key, Make make)
    {
        const lock_guard guard(m_lock);
        const Facet*& place = m_all[key];
        if (!place)
            place = make();
        return *place;
    }

private:
    mutex m_lock; // guards m_all; while it is held, only a facet is created
    map<string, const Facet*> m_all;
};

template <class Facet> Kept<Facet>& kept()
{
    static auto* const all = new Kept<Facet>;
    return *all;
}

wstring widen(const string& text)
{
    wstring result;
    for (size_t at = 0; at < text.size();)
    {
        const plinth_wide::Decoded c = plinth_wide::decode(&text[at], text.size() - at);
        at += c.length ? c.length : text.size() - at;
        if (c.value < 0x10000)
            result += static_cast<wchar_t>(c.value);
        else
            result += {plinth_wide::high_of(c.value), plinth_wide::low_of(c.value)};
    }
    return result;
}

constexpr wchar_t widen(char c)
{
    return static_cast<unsigned char>(c);
}

// A copy with a terminator. The caller frees it.
template <class Char> const Char* copy_of(const basic_string<Char>& text, size_t* length = nullptr)
{
    auto* const copy = new Char[text.size() + 1];
    text.copy(copy, text.size());
    copy[text.size()] = 0;
    if (length)
        *length = text.size();
    return copy;
}

bool groups(const string& grouping)
{
    return !grouping.empty() && grouping[0] > 0 && grouping[0] != CHAR_MAX;
}

// A member of the locale of a narrow facet: protected, but a derived class can read it.
struct NarrowCtype : ctype<char>
{
    static locale_t place(const ctype<char>& facet)
    {
        return facet.*&NarrowCtype::_M_c_locale_ctype;
    }
};
struct NarrowCollate : collate<char>
{
    static locale_t place(const collate<char>& facet)
    {
        return facet.*&NarrowCollate::_M_c_locale_collate;
    }
};
struct NarrowTime : __timepunct<char>
{
    static locale_t place(const __timepunct<char>& facet)
    {
        return facet.*&NarrowTime::_M_c_locale_timepunct;
    }
};

string name_of(locale_t place, int category)
{
    return place->__names[category];
}

} // namespace

// ----------------------------------------------------------------------------------- characters --

namespace
{

struct Class
{
    ctype_base::mask bit;
    const char* name;
};

constexpr Class classes[] = {
    {ctype_base::upper, "upper"}, {ctype_base::lower, "lower"},   {ctype_base::alpha, "alpha"},
    {ctype_base::digit, "digit"}, {ctype_base::xdigit, "xdigit"}, {ctype_base::space, "space"},
    {ctype_base::print, "print"}, {ctype_base::cntrl, "cntrl"},   {ctype_base::punct, "punct"},
    {ctype_base::blank, "blank"},
};

} // namespace

namespace std
{

locale::id ctype<wchar_t>::id;

ctype<wchar_t>::ctype(size_t references) : ctype(_S_get_c_locale(), references) {}

ctype<wchar_t>::ctype(__c_locale place, size_t references)
    : __ctype_abstract_base<wchar_t>(references), _M_c_locale_ctype(_S_clone_c_locale(place))
{
    _M_initialize_ctype();
}

void ctype<wchar_t>::_M_initialize_ctype() throw()
{
    _M_narrow_ok = false; // narrowing needs no table
    size_t count = 0;
    for (const Class& one : classes)
    {
        _M_bit[count] = one.bit;
        _M_wmask[count++] = ::wctype_l(one.name, _M_c_locale_ctype);
    }
    for (; count < size(_M_bit); ++count)
        _M_bit[count] = 0;
}

ctype<wchar_t>::__wmask_type ctype<wchar_t>::_M_convert_to_wmask(const mask bits) const throw()
{
    for (size_t i = 0; i < size(_M_bit); ++i)
        if (_M_bit[i] == bits)
            return _M_wmask[i];
    return 0;
}

ctype<wchar_t>::~ctype()
{
    _S_destroy_c_locale(_M_c_locale_ctype);
}

bool ctype<wchar_t>::do_is(mask bits, wchar_t c) const
{
    for (size_t i = 0; i < size(_M_bit); ++i)
        if (_M_bit[i] & bits && ::iswctype_l(c, _M_wmask[i], _M_c_locale_ctype))
            return true;
    return false;
}

const wchar_t* ctype<wchar_t>::do_is(const wchar_t* first, const wchar_t* last, mask* to) const
{
    for (; first < last; ++first, ++to)
    {
        *to = 0;
        for (size_t i = 0; i < size(_M_bit); ++i)
            if (_M_bit[i] && ::iswctype_l(*first, _M_wmask[i], _M_c_locale_ctype))
                *to = static_cast<mask>(*to | _M_bit[i]);
    }
    return last;
}

const wchar_t* ctype<wchar_t>::do_scan_is(mask bits, const wchar_t* first,
                                          const wchar_t* last) const
{
    while (first < last && !do_is(bits, *first))
        ++first;
    return first;
}

const wchar_t* ctype<wchar_t>::do_scan_not(mask bits, const wchar_t* first,
                                           const wchar_t* last) const
{
    while (first < last && do_is(bits, *first))
        ++first;
    return first;
}

// Changes of case and of width have these two in common: one character, and each of a range.
#define PLINTH_RANGE(name)                                                                         \
    const wchar_t* ctype<wchar_t>::name(wchar_t* first, const wchar_t* last) const                 \
    {                                                                                              \
        for (; first < last; ++first)                                                              \
            *first = name(*first);                                                                 \
        return last;                                                                               \
    }
wchar_t ctype<wchar_t>::do_toupper(wchar_t c) const
{
    return static_cast<wchar_t>(::towupper_l(c, _M_c_locale_ctype));
}
wchar_t ctype<wchar_t>::do_tolower(wchar_t c) const
{
    return static_cast<wchar_t>(::towlower_l(c, _M_c_locale_ctype));
}
PLINTH_RANGE(do_toupper)
PLINTH_RANGE(do_tolower)

wchar_t ctype<wchar_t>::do_widen(char c) const
{
    return ::widen(c);
}
const char* ctype<wchar_t>::do_widen(const char* first, const char* last, wchar_t* to) const
{
    while (first < last)
        *to++ = ::widen(*first++);
    return last;
}
char ctype<wchar_t>::do_narrow(wchar_t c, char otherwise) const
{
    return c < 0x80 ? static_cast<char>(c) : otherwise;
}
const wchar_t* ctype<wchar_t>::do_narrow(const wchar_t* first, const wchar_t* last, char otherwise,
                                         char* to) const
{
    while (first < last)
        *to++ = do_narrow(*first++, otherwise);
    return last;
}

ctype_byname<wchar_t>::ctype_byname(const char* name, size_t references)
    : ctype<wchar_t>(references)
{
    _S_destroy_c_locale(_M_c_locale_ctype);
    _S_create_c_locale(_M_c_locale_ctype, name);
    _M_initialize_ctype();
}
ctype_byname<wchar_t>::ctype_byname(const string& name, size_t references)
    : ctype_byname(name.c_str(), references)
{
}
ctype_byname<wchar_t>::~ctype_byname() = default;

// ---------------------------------------------------------------------------- numbers and money --

} // namespace std

namespace
{

void set_up(__numpunct_cache<wchar_t>& cache, const numpunct<char>& narrow)
{
    cache._M_grouping = copy_of(narrow.grouping(), &cache._M_grouping_size);
    cache._M_use_grouping = groups(narrow.grouping());
    cache._M_truename = copy_of(widen(narrow.truename()), &cache._M_truename_size);
    cache._M_falsename = copy_of(widen(narrow.falsename()), &cache._M_falsename_size);
    cache._M_decimal_point = widen(narrow.decimal_point());
    cache._M_thousands_sep = widen(narrow.thousands_sep());
    for (size_t i = 0; i < __num_base::_S_oend; ++i)
        cache._M_atoms_out[i] = widen(__num_base::_S_atoms_out[i]);
    for (size_t i = 0; i < __num_base::_S_iend; ++i)
        cache._M_atoms_in[i] = widen(__num_base::_S_atoms_in[i]);
    cache._M_allocated = true;
}

template <bool international>
void set_up(__moneypunct_cache<wchar_t, international>& cache,
            const moneypunct<char, international>& narrow)
{
    cache._M_grouping = copy_of(narrow.grouping(), &cache._M_grouping_size);
    cache._M_use_grouping = groups(narrow.grouping());
    cache._M_decimal_point = widen(narrow.decimal_point());
    cache._M_thousands_sep = widen(narrow.thousands_sep());
    cache._M_curr_symbol = copy_of(widen(narrow.curr_symbol()), &cache._M_curr_symbol_size);
    cache._M_positive_sign = copy_of(widen(narrow.positive_sign()), &cache._M_positive_sign_size);
    cache._M_negative_sign = copy_of(widen(narrow.negative_sign()), &cache._M_negative_sign_size);
    cache._M_frac_digits = narrow.frac_digits();
    cache._M_pos_format = narrow.pos_format();
    cache._M_neg_format = narrow.neg_format();
    for (size_t i = 0; i < money_base::_S_end; ++i)
        cache._M_atoms[i] = widen(money_base::_S_atoms[i]);
    cache._M_allocated = true;
}

// The narrow facet that a wide one copies: that of a locale of the C library, or of "C".
template <class Narrow, class Named> const Narrow& narrow_of(locale_t place, int category)
{
    const string name = place ? name_of(place, category) : "C";
    return kept<Narrow>().get(name, [&] { return new Named(name, 1); });
}

// A wide facet that behaves like a narrow one. Its members read the cache that it is created with.
template <class Wide, class Narrow> const Wide* as(const Narrow& narrow)
{
    auto* const cache = new typename Wide::__cache_type(1);
    set_up(*cache, narrow);
    return new Wide(cache, 1);
}

string key_of(const numpunct<char>& narrow)
{
    return string{narrow.decimal_point(), narrow.thousands_sep()} + narrow.grouping() + '\n' +
           narrow.truename() + '\n' + narrow.falsename();
}

template <bool international> string key_of(const moneypunct<char, international>& narrow)
{
    string key{narrow.decimal_point(), narrow.thousands_sep()};
    for (const string& part :
         {narrow.grouping(), narrow.curr_symbol(), narrow.positive_sign(), narrow.negative_sign()})
        key += part + '\n';
    for (const money_base::pattern& pattern : {narrow.pos_format(), narrow.neg_format()})
        key.append(pattern.field, sizeof pattern.field);
    return key + to_string(narrow.frac_digits());
}

} // namespace

namespace std
{

// Both are left unchanged if they were created with a cache, which then has all values.
template <> void numpunct<wchar_t>::_M_initialize_numpunct(__c_locale place)
{
    if (_M_data && !place)
        return;
    delete _M_data;
    _M_data = new __cache_type(1);
    set_up(*_M_data, narrow_of<numpunct<char>, numpunct_byname<char>>(place, LC_NUMERIC));
}
template <> numpunct<wchar_t>::~numpunct()
{
    delete _M_data;
}

#define PLINTH_MONEYPUNCT(international)                                                           \
    template <>                                                                                    \
    void moneypunct<wchar_t, international>::_M_initialize_moneypunct(__c_locale place,            \
                                                                      const char*)                 \
    {                                                                                              \
        if (_M_data && !place)                                                                     \
            return;                                                                                \
        delete _M_data;                                                                            \
        _M_data = new __cache_type(1);                                                             \
        set_up(*_M_data,                                                                           \
               narrow_of<moneypunct<char, international>, moneypunct_byname<char, international>>( \
                   place, LC_MONETARY));                                                           \
    }                                                                                              \
    template <> moneypunct<wchar_t, international>::~moneypunct()                                  \
    {                                                                                              \
        delete _M_data;                                                                            \
    }
PLINTH_MONEYPUNCT(false)
PLINTH_MONEYPUNCT(true)

// -------------------------------------------------------------------------- dates, order, texts --

template <>
const wchar_t* __timepunct_cache<wchar_t>::_S_timezones[14] = {
    L"GMT", L"HST", L"AKST", L"PST", L"MST", L"CST", L"EST",
    L"AST", L"NST", L"CET",  L"IST", L"EET", L"CST", L"JST"};

} // namespace std

namespace
{

// In the order of the pointers in the library's table of names.
constexpr nl_item names_of_time[] = {
    D_FMT,      ERA_D_FMT, T_FMT,   ERA_T_FMT, D_T_FMT,  ERA_D_T_FMT, AM_STR,  PM_STR,
    T_FMT_AMPM, DAY_1,     DAY_2,   DAY_3,     DAY_4,    DAY_5,       DAY_6,   DAY_7,
    ABDAY_1,    ABDAY_2,   ABDAY_3, ABDAY_4,   ABDAY_5,  ABDAY_6,     ABDAY_7, MON_1,
    MON_2,      MON_3,     MON_4,   MON_5,     MON_6,    MON_7,       MON_8,   MON_9,
    MON_10,     MON_11,    MON_12,  ABMON_1,   ABMON_2,  ABMON_3,     ABMON_4, ABMON_5,
    ABMON_6,    ABMON_7,   ABMON_8, ABMON_9,   ABMON_10, ABMON_11,    ABMON_12};
static_assert(sizeof(__timepunct_cache<wchar_t>) ==
              sizeof(__timepunct_cache<char>)); // one pointer for each item

// Texts that are never freed, each kept once.
const wchar_t* kept_text(const string& text)
{
    return kept<wstring>().get(text, [&] { return new wstring(widen(text)); }).c_str();
}

void name_times(__timepunct_cache<wchar_t>& cache, locale_t place)
{
    const wchar_t** to = &cache._M_date_format;
    for (const nl_item item : names_of_time)
    {
        const char* text = ::nl_langinfo_l(item, place);
        // If there is no era, use the usual form.
        if (!*text && (item == ERA_D_FMT || item == ERA_T_FMT || item == ERA_D_T_FMT))
            text = ::nl_langinfo_l(item == ERA_D_FMT   ? D_FMT
                                   : item == ERA_T_FMT ? T_FMT
                                                       : D_T_FMT,
                                   place);
        *to++ = kept_text(text);
    }
}

} // namespace

namespace std
{

template <> void __timepunct<wchar_t>::_M_initialize_timepunct(__c_locale place)
{
    if (!_M_data)
        _M_data = new __cache_type(1);
    _M_c_locale_timepunct = place ? _S_clone_c_locale(place) : _S_get_c_locale();
    name_times(*_M_data, _M_c_locale_timepunct);
}
template <>
void __timepunct<wchar_t>::_M_put(wchar_t* to, size_t room, const wchar_t* format,
                                  const tm* time) const throw()
{
    if (::wcsftime_l(to, room, format, time, _M_c_locale_timepunct) == 0)
        to[0] = L'\0';
}

template <> int collate<wchar_t>::_M_compare(const wchar_t* a, const wchar_t* b) const throw()
{
    const int order = ::wcscoll_l(a, b, _M_c_locale_collate);
    return order < 0 ? -1 : order > 0;
}
template <>
size_t collate<wchar_t>::_M_transform(wchar_t* to, const wchar_t* from, size_t room) const throw()
{
    return ::wcsxfrm_l(to, from, room, _M_c_locale_collate);
}

// There are no catalogues of wide texts: none can be opened, and a reader receives its own text.
template <> wstring messages<wchar_t>::do_get(catalog, int, int, const wstring& otherwise) const
{
    return otherwise;
}

template <>
messages<wchar_t>::catalog messages<wchar_t>::do_open(const string&, const locale&) const
{
    return -1;
}
template <> void messages<wchar_t>::do_close(catalog) const {}

} // namespace std

// ------------------------------------------------------------------------------ finding a facet --

namespace
{

// The facet of a locale that was given no facet of ours.
template <class Facet> struct Default
{
    static const Facet& of(const locale&)
    {
        static const auto* const only = new Facet(1);
        return *only;
    }
};

template <class Facet, class Narrow> const Facet& speaking_as(const Narrow& narrow)
{
    return kept<Facet>().get(key_of(narrow), [&] { return as<Facet>(narrow); });
}

template <> struct Default<ctype<wchar_t>>
{
    static const ctype<wchar_t>& of(const locale& where)
    {
        const locale_t place = NarrowCtype::place(use_facet<ctype<char>>(where));
        return kept<ctype<wchar_t>>().get(name_of(place, LC_CTYPE),
                                          [&] { return new ctype<wchar_t>(place, 1); });
    }
};
template <> struct Default<numpunct<wchar_t>>
{
    static const numpunct<wchar_t>& of(const locale& where)
    {
        return speaking_as<numpunct<wchar_t>>(use_facet<numpunct<char>>(where));
    }
};
template <bool international> struct Default<moneypunct<wchar_t, international>>
{
    static const moneypunct<wchar_t, international>& of(const locale& where)
    {
        return speaking_as<moneypunct<wchar_t, international>>(
            use_facet<moneypunct<char, international>>(where));
    }
};
template <> struct Default<__timepunct<wchar_t>>
{
    static const __timepunct<wchar_t>& of(const locale& where)
    {
        const locale_t place = NarrowTime::place(use_facet<__timepunct<char>>(where));
        const string name = name_of(place, LC_TIME);
        return kept<__timepunct<wchar_t>>().get(
            name, [&] { return new __timepunct<wchar_t>(place, name.c_str(), 1); });
    }
};
struct PlacedCollate : collate<wchar_t>
{
    explicit PlacedCollate(locale_t place) : collate<wchar_t>(place, 1) {}
};
template <> struct Default<collate<wchar_t>>
{
    static const collate<wchar_t>& of(const locale& where)
    {
        const locale_t place = NarrowCollate::place(use_facet<collate<char>>(where));
        return kept<collate<wchar_t>>().get(name_of(place, LC_COLLATE),
                                            [&] { return new PlacedCollate(place); });
    }
};

} // namespace

#define PLINTH_FACETS(FACET)                                                                       \
    FACET(ctype<wchar_t>)                                                                          \
    FACET(codecvt<wchar_t, char, mbstate_t>)                                                       \
    FACET(numpunct<wchar_t>)                                                                       \
    FACET(num_put<wchar_t>)                                                                        \
    FACET(num_get<wchar_t>)                                                                        \
    FACET(moneypunct<wchar_t, false>)                                                              \
    FACET(moneypunct<wchar_t, true>)                                                               \
    FACET(money_put<wchar_t>)                                                                      \
    FACET(money_get<wchar_t>)                                                                      \
    FACET(__timepunct<wchar_t>)                                                                    \
    FACET(time_put<wchar_t>)                                                                       \
    FACET(time_get<wchar_t>)                                                                       \
    FACET(collate<wchar_t>)                                                                        \
    FACET(messages<wchar_t>)

namespace std
{

#define PLINTH_FIND(...)                                                                           \
    template <> const __VA_ARGS__& use_facet<__VA_ARGS__>(const locale& where)                     \
    {                                                                                              \
        const size_t at = __VA_ARGS__::id._M_id();                                                 \
        const locale::_Impl& all = *where._M_impl;                                                 \
        if (at < all._M_facets_size && all._M_facets[at])                                          \
            return static_cast<const __VA_ARGS__&>(*all._M_facets[at]);                            \
        return Default<__VA_ARGS__>::of(where);                                                    \
    }                                                                                              \
    template <> bool has_facet<__VA_ARGS__>(const locale&) throw()                                 \
    {                                                                                              \
        return true;                                                                               \
    }
PLINTH_FACETS(PLINTH_FIND)
// The regular expressions use this form. See the stand-in's <regex>.
template <> const ctype<wchar_t>& use_facet<const ctype<wchar_t>>(const locale& where)
{
    return use_facet<ctype<wchar_t>>(where);
}
#if _GLIBCXX_RELEASE >= 13
#define PLINTH_TRY(...)                                                                            \
    template <> const __VA_ARGS__* __try_use_facet<__VA_ARGS__>(const locale& where) noexcept      \
    {                                                                                              \
        return &use_facet<__VA_ARGS__>(where);                                                     \
    }
PLINTH_FACETS(PLINTH_TRY)
#endif

} // namespace std

// The cache for formatting a number or an amount: kept in the locale if the locale was given such a
// facet, otherwise once for each default.
namespace
{

template <class Cache> struct Formatting;
template <> struct Formatting<__numpunct_cache<wchar_t>>
{
    using Wide = numpunct<wchar_t>;
    using Narrow = numpunct<char>;
};
template <bool international> struct Formatting<__moneypunct_cache<wchar_t, international>>
{
    using Wide = moneypunct<wchar_t, international>;
    using Narrow = moneypunct<char, international>;
};

template <class Cache> const Cache* default_cache(const locale& where)
{
    using Narrow = typename Formatting<Cache>::Narrow;
    const auto get = [](const Narrow& narrow)
    {
        return &kept<Cache>().get(key_of(narrow),
                                  [&]
                                  {
                                      auto* const cache = new Cache(1);
                                      set_up(*cache, narrow);
                                      return cache;
                                  });
    };
    static const Narrow& usual = use_facet<Narrow>(locale::classic());
    static const Cache* const of_usual = get(usual);
    const Narrow& narrow = use_facet<Narrow>(where);
    return &narrow == &usual ? of_usual : get(narrow);
}

} // namespace

namespace std
{

// A specialisation, because those are friends of a locale.
template <class Cache> struct __use_cache<Formatting<Cache>>
{
    static const Cache* get(const locale& where)
    {
        const size_t at = Formatting<Cache>::Wide::id._M_id();
        locale::_Impl& all = *where._M_impl;
        if (at >= all._M_facets_size || !all._M_facets[at])
            return default_cache<Cache>(where);
        if (!all._M_caches[at])
        {
            auto* const cache = new Cache;
            cache->_M_cache(where);
            all._M_install_cache(cache, at);
        }
        return static_cast<const Cache*>(all._M_caches[at]);
    }
};

#define PLINTH_USE_CACHE(...)                                                                      \
    template <> struct __use_cache<__VA_ARGS__>                                                    \
    {                                                                                              \
        const __VA_ARGS__* operator()(const locale& where) const;                                  \
    };                                                                                             \
    const __VA_ARGS__* __use_cache<__VA_ARGS__>::operator()(const locale& where) const             \
    {                                                                                              \
        return __use_cache<Formatting<__VA_ARGS__>>::get(where);                                   \
    }
PLINTH_USE_CACHE(__numpunct_cache<wchar_t>)
PLINTH_USE_CACHE(__moneypunct_cache<wchar_t, false>)
PLINTH_USE_CACHE(__moneypunct_cache<wchar_t, true>)

template class numpunct<wchar_t>;
template class numpunct_byname<wchar_t>;
template class num_get<wchar_t>;
template class num_put<wchar_t>;
template class moneypunct<wchar_t, false>;
template class moneypunct<wchar_t, true>;
template class moneypunct_byname<wchar_t, false>;
template class moneypunct_byname<wchar_t, true>;
template class money_get<wchar_t>;
template class money_put<wchar_t>;
template class __timepunct<wchar_t>;
template class time_put<wchar_t>;
template class time_put_byname<wchar_t>;
template class time_get<wchar_t>;
template class time_get_byname<wchar_t>;
template class messages<wchar_t>;
template class messages_byname<wchar_t>;
template class collate<wchar_t>;
template class collate_byname<wchar_t>;

} // namespace std
