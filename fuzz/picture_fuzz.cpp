// Date and time pictures, of a caller, of the registry, or made from a locale's strftime format.
#include <tchar.h>
#include <windows.h>

#include "fuzz_target.h"
#include "kernel32/locale/locale_picture.h"

using fuzz::check;
using namespace platform;

namespace
{

[[maybe_unused]] const int g_locale = setenv("LC_ALL", "C", 1);

// Bounded, terminated, and the same length whichever way it is asked for.
void try_pictures(const std::vector<wchar_t>& picture, size_t room)
{
    const SYSTEMTIME time = {2024, 3, 2, 5, 15, 4, 9, 0};
    for (const auto format : {GetDateFormatW, GetTimeFormatW})
    {
        const int needed = format(LOCALE_USER_DEFAULT, 0, &time, picture.data(), nullptr, 0);
        check(needed > 0, "every picture has a text");
        // No letter is replaced by more than a name.
        constexpr size_t longest_name = 32;
        check(static_cast<size_t>(needed) <= longest_name * (picture.size() - 1) + 1,
              "of a length that its letters account for");
        std::vector<wchar_t> text(room);
        const int stored = format(LOCALE_USER_DEFAULT, 0, &time, picture.data(), text.data(),
                                  static_cast<int>(room));
        const bool fits = static_cast<size_t>(needed) <= room;
        check(stored == (fits ? needed : 0), "what does not fit fails");
        check(!fits || wcsnlen(text.data(), room) < room, "what fits is terminated");
    }
}

// The text of a picture beside its fields.
std::string literal_text(const std::string& picture, PictureKind kind)
{
    std::string literal;
    PictureReader reader(picture, kind);
    for (PictureReader::Part part; reader.next(part); literal += part.literal)
        check(part.literal.empty() == (part.letter && part.count > 0),
              "a part is a field or a text");
    return literal;
}

void try_formats(const std::string& format)
{
    const std::string picture = picture_from_format(format, format);
    check(picture.size() <= 100 * format.size() * format.size(), "a picture has a limit");
    for (const PictureKind kind : {PictureKind::date, PictureKind::time})
        check(literal_text(picture, kind).size() <= picture.size(), "and its texts come from it");
    const std::string separator = time_shape(picture).separator;
    check(!separator.empty() && separator.size() <= 3, "a separator is short");
    date_shape(picture);
    date_shape(format);
    time_shape(format);
}

} // namespace

void fuzz::run(Input input)
{
    const bool wide = input.byte() & 1;
    const size_t room = size_t{1} + input.byte();
    if (wide)
        return try_pictures(input.text<wchar_t>(), room);
    const auto text = input.text<char>();
    try_formats(std::string(text.begin(), text.end() - 1));
    try_pictures({text.begin(), text.end()}, room);
}
