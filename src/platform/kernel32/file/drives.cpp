#include "drives.h"

#include <vector>

#include "system/environment.h"

namespace platform
{

namespace
{

// "D=/mnt/data;E=/media/cd". Entries of another form are skipped.
std::vector<Drive> read_drives()
{
    std::vector<Drive> drives{{'C', ""}};
    const char* const setting = environment("PLINTH_DRIVES");
    std::string_view rest = setting ? setting : "";
    while (!rest.empty())
    {
        const size_t end = rest.find(';');
        std::string_view item = rest.substr(0, end);
        rest = end == std::string_view::npos ? "" : rest.substr(end + 1);
        if (item.size() < 3 || item[1] != '=' || item[2] != '/')
            continue;
        const char letter = static_cast<char>(item[0] & ~0x20);
        if (letter < 'A' || letter > 'Z' || letter == 'C')
            continue;
        item.remove_prefix(2);
        while (!item.empty() && item.back() == '/')
            item.remove_suffix(1);
        drives.push_back({letter, std::string(item)});
    }
    return drives;
}

const std::vector<Drive>& drives()
{
    static const std::vector<Drive>& only = *new std::vector<Drive>(read_drives());
    return only;
}

} // namespace

const Drive* find_drive(wchar_t letter)
{
    for (const Drive& drive : drives())
        if (drive.letter == (letter & ~0x20))
            return &drive;
    return nullptr;
}

const Drive& drive_of(std::string_view native)
{
    const Drive* best = &drives().front();
    for (const Drive& drive : drives())
        if (native.substr(0, drive.root.size()) == drive.root &&
            (native.size() == drive.root.size() || native[drive.root.size()] == '/') &&
            drive.root.size() >= best->root.size())
            best = &drive;
    return *best;
}

std::string drive_letters()
{
    std::string letters;
    for (const Drive& drive : drives())
        letters += drive.letter;
    return letters;
}

} // namespace platform
