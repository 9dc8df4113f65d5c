// Date and time pictures, of a caller, of the registry, or made from a locale's strftime format.
#include <cstdlib>
#include <memory>
#include <string>

#include <tchar.h>
#include <windows.h>

#include "fuzz_check.h"
#include "kernel32/locale_picture.h"

using fuzz::check;
using namespace platform;

namespace
{

// Bounded, terminated, and the same length whichever way it is asked for.
template <class Call> void try_call(Call call, size_t picture_length, size_t room)
{
    const int needed = call(nullptr, 0);
    check(needed > 0, "every picture has a text");
    // No letter stands for more than a name.
    constexpr size_t longest_name = 32;
    check(static_cast<size_t>(needed) <= longest_name * picture_length + 1,
          "of a length that its letters account for");
    const auto text = std::make_unique<wchar_t[]>(room);
    const int stored = call(text.get(), static_cast<int>(room));
    check(stored == (static_cast<size_t>(needed) <= room ? needed : 0), "what does not fit fails");
    check(stored == 0 || wcsnlen(text.get(), room) < room, "what fits is terminated");
}

void try_pictures(const wchar_t* picture, size_t length, size_t room)
{
    const SYSTEMTIME time = {2024, 3, 2, 5, 15, 4, 9, 0};
    try_call([&](wchar_t* out, int size)
             { return GetDateFormatW(LOCALE_USER_DEFAULT, 0, &time, picture, out, size); },
             length, room);
    try_call([&](wchar_t* out, int size)
             { return GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &time, picture, out, size); },
             length, room);
}

// What a picture says beside its fields.
std::string literal_text(const std::string& picture, PictureKind kind)
{
    std::string literal;
    PictureReader reader(picture, kind);
    for (PictureReader::Part part; reader.next(part);)
    {
        check(part.letter ? part.count > 0 && part.literal.empty() : !part.literal.empty(),
              "a part is a field or a text");
        literal += part.literal;
    }
    return literal;
}

void try_formats(const std::string& format)
{
    const std::string picture = picture_from_format(format, format);
    check(picture.size() <= 100 * format.size() * format.size(), "a picture has a limit");
    for (const PictureKind kind : {PictureKind::date, PictureKind::time})
        check(literal_text(picture, kind).size() <= picture.size(), "and its texts come from it");
    const DateShape date = date_shape(picture);
    check(date.order >= 0 && date.order <= 2, "an order is one of three");
    check(!date.separator.empty() && date.separator.size() <= 3, "a separator is short");
    const TimeShape time = time_shape(picture);
    check(!time.separator.empty() && time.separator.size() <= 3, "a separator is short");
    date_shape(format);
    time_shape(format);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    setenv("LC_ALL", "C", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    const bool wide = input.byte() & 1;
    const size_t room = size_t{1} + input.byte();
    size_t length = input.size();
    if (wide)
    {
        const auto picture = input.text<wchar_t>(length);
        try_pictures(picture.get(), length, room);
        return 0;
    }
    const auto text = input.text<char>(length);
    try_formats(std::string(text.get(), length));
    const auto widened = std::make_unique<wchar_t[]>(length + 1);
    std::copy(text.get(), text.get() + length, widened.get());
    try_pictures(widened.get(), length, room);
    return 0;
}
