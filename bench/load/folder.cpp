// A log folder with many old files: opening a log in it, splitting, and writing a record then,
// against reading the folder's names; and the removal of files that are too old, against unlink(2).
#include "curve.h"

#include <cstdio>
#include <ctime>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <plinth_w32_system.h>

#include "measure.h"
#include "paths.h"

namespace load
{

namespace
{

constexpr size_t message_length = 100;
constexpr int records = 200; // timed together

// "qvapp_YYYY-MM-DD" for the day this many days ago.
std::string day_name(int ago)
{
    const std::time_t then = std::time(nullptr) - std::time_t{ago} * 86'400;
    std::tm local{};
    localtime_r(&then, &local);
    char name[32];
    std::strftime(name, sizeof name, "qvapp_%Y-%m-%d", &local);
    return name;
}

std::string numbered(const std::string& day, int number)
{
    char behind[16] = "";
    if (number > 0)
        std::snprintf(behind, sizeof behind, "_(%04d)", number);
    return day + behind + ".log";
}

// The folder of the log, as a native path with a separator at its end.
std::string log_folder()
{
    std::string path;
    for (const wchar_t* at = CQvLogFile::GetLogFilename(); at && *at; ++at)
        path += *at == L'\\' ? '/' : static_cast<char>(*at);
    require(path.size() > 2, "no log");
    return path.substr(2, path.rfind('/') - 1); // without "C:"
}

// Files that are linked into a folder under the names of old logs. They are made once, because file
// systems are slow to make many files where many were just removed.
class Stock
{
public:
    explicit Stock(int files) : m_folder(bench::folder() + "/stock/"), m_files(files)
    {
        mkdir(m_folder.c_str(), 0755);
        for (int i = 0; i < files; ++i)
        {
            const int file = open(path(i).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            require(file >= 0, "a file could not be made");
            close(file);
        }
    }
    Stock(const Stock&) = delete;
    Stock& operator=(const Stock&) = delete;
    ~Stock()
    {
        for (int i = 0; i < m_files; ++i)
            unlink(path(i).c_str());
    }
    // Links the files into the folder and returns the paths; their dates cover `days` days,
    // starting `from` days ago.
    std::vector<std::string> lend(const std::string& folder, int from, int days) const
    {
        std::vector<std::string> names;
        for (int i = 0; i < m_files; ++i)
        {
            names.push_back(folder + numbered(day_name(from + i % days), i / days));
            require(link(path(i).c_str(), names.back().c_str()) == 0, "a name could not be made");
        }
        return names;
    }

private:
    std::string path(int number) const { return m_folder + std::to_string(number); }

    std::string m_folder;
    int m_files;
};

template <class Each> size_t for_each_name(const std::string& folder, Each each)
{
    DIR* const directory = opendir(folder.c_str());
    require(directory != nullptr, "the log folder can't be read");
    size_t count = 0;
    while (const dirent* const entry = readdir(directory))
    {
        ++count;
        each(entry->d_name);
    }
    closedir(directory);
    return count;
}

void empty(const std::string& folder, const std::string& beginning)
{
    for_each_name(folder,
                  [&](const char* name)
                  {
                      if (std::string(name).compare(0, beginning.size(), beginning) == 0)
                          unlink((folder + name).c_str());
                  });
}

void open_log()
{
    require(CQvLogFile::IsPerSession(), "no log"); // any function that needs the log opens it
}

double time_of_opening()
{
    CQvLogFile::CloseLog();
    return timed(open_log);
}

// The next text exceeds the limit, which is a whole number of MiB.
double time_of_split()
{
    static const std::vector<wchar_t> big = []
    {
        std::vector<wchar_t> text((size_t{1} << 20) + 1, L'm');
        text.back() = L'\0';
        return text;
    }();
    CQvLogFile::SetMaxLogMessageLength(-1);
    require(CQvLogFile::SetProperties(1, 10) == QV_OK, "the limit could not be set");
    for (int i = 0; i < 2; ++i)
        require(QV_Log(big.data()) == QV_OK, "QV_Log");
    const double took = timed([] { require(QV_Log(L"split\r\n") == QV_OK, "QV_Log"); });
    CQvLogFile::SetProperties(-1, 10);
    CQvLogFile::SetMaxLogMessageLength(512);
    return took;
}

double time_of_record()
{
    wchar_t message[message_length + 1];
    std::fill_n(message, message_length, L'm');
    message[message_length] = L'\0';
    return timed(
               [&]
               {
                   for (int i = 0; i < records; ++i)
                       QV_Log(message);
               }) /
           records;
}

double time_of_write(const std::string& folder)
{
    const std::string path = folder + "peer";
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    const std::string message(message_length, 'm');
    const double took = timed(
        [&]
        {
            for (int i = 0; i < records; ++i)
                require(write(file, message.data(), message.size()) > 0, "write");
        });
    close(file);
    unlink(path.c_str());
    return took / records;
}

// Both functions remove links whose date is too old; the files themselves stay in the stock.
double time_of_removal(const std::string& folder, const Stock& stock)
{
    CQvLogFile::CloseLog();
    const std::vector<std::string> names = stock.lend(folder, 20, 9);
    const double took = timed(open_log);
    for (const std::string& name : names)
        require(access(name.c_str(), F_OK) != 0, "old files are left");
    return took;
}

double time_of_unlinks(const std::string& folder, const Stock& stock)
{
    const std::vector<std::string> names = stock.lend(folder, 20, 9);
    return timed(
        [&]
        {
            for (const std::string& name : names)
                unlink(name.c_str());
        });
}

void measure_load(Curve& curve, const std::string& folder, int files, int repetitions)
{
    const std::string today = day_name(0);
    Series opening;
    Series names;
    Series split;
    Series record;
    Series bare;
    Series busy_day;
    Series removal;
    Series unlinks;
    const Stock stock(files);
    stock.lend(folder, 1, 9);
    for (int i = 0; i < repetitions; ++i)
    {
        opening.add(time_of_opening());
        names.add(timed([&] { for_each_name(folder, [](const char*) {}); }));
        split.add(time_of_split());
        record.add(time_of_record());
        bare.add(time_of_write(folder));
        empty(folder, today);
    }
    empty(folder, "qvapp");
    stock.lend(folder, 0, 1);
    for (int i = 0; i < repetitions; ++i)
        busy_day.add(time_of_opening());
    empty(folder, "qvapp");
    for (int i = 0; i < (repetitions + 1) / 2; ++i)
    {
        removal.add(time_of_removal(folder, stock) / files);
        unlinks.add(time_of_unlinks(folder, stock) / files);
        empty(folder, "qvapp");
    }
    CQvLogFile::CloseLog();
    curve.add({static_cast<double>(files), opening.median() / 1e3, names.median() / 1e3,
               opening.median() / names.median(), busy_day.median() / 1e3, split.median() / 1e3,
               record.median(), bare.median(), record.median() / bare.median(),
               removal.median() / 1e3, unlinks.median() / 1e3,
               removal.median() / unlinks.median()});
}

} // namespace

std::vector<Curve> measure_folder(bool quick)
{
    Curve curve("folder", "Old files in the log's folder",
                {{"files", "files", 0},
                 {"open_us", "opening, us", 0},
                 {"readdir_us", "readdir, us", 0},
                 {"open_per_readdir", "ratio", 2},
                 {"open_busy_day_us", "opening, all of today, us", 0},
                 {"split_us", "split, us", 0},
                 {"record_ns", "record, ns", 0},
                 {"write_ns", "write(2), ns", 0},
                 {"record_per_write", "ratio", 2},
                 {"removal_us", "removing one, us", 1},
                 {"unlink_us", "unlink, us", 1},
                 {"removal_per_unlink", "ratio", 2}});
    CQvLogFile::CloseLog();
    open_log();
    const std::string folder = log_folder();
    CQvLogFile::CloseLog();
    empty(folder, "qvapp");
    measure_load(curve, folder, 10, quick ? 1 : 9);
    if (!quick)
    {
        measure_load(curve, folder, 1'000, 9);
        measure_load(curve, folder, 10'000, 5);
    }
    return {curve};
}

} // namespace load
