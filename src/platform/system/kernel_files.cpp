// Reading the kernel's text files and taking them apart.
#include "kernel_files.h"

#include <atomic>
#include <mutex>
#include <set>

#include "calls.h"

namespace platform
{

namespace
{

constexpr size_t file_limit = 1 << 20;

// Null: the real files.
std::atomic<const std::string*> g_kernel_root{nullptr};

// One for each root that was ever set, for good: a reader may still hold a former one.
const std::string* kept_root(const char* folder)
{
    static std::mutex lock; // guards kept
    static auto& kept = *new std::set<std::string>;
    const std::lock_guard guard(lock);
    return &*kept.emplace(folder).first;
}

} // namespace

void set_kernel_root(const char* folder)
{
    g_kernel_root = folder && *folder ? kept_root(folder) : nullptr;
}

std::string kernel_path(const std::string& path)
{
    const std::string* const root = g_kernel_root;
    return root ? *root + path : path;
}

bool read_kernel_file(const std::string& path, std::string& text)
{
    text.clear();
    const int fd = sys::open(kernel_path(path).c_str(), O_RDONLY);
    if (fd < 0)
        return false;
    char block[4096];
    ssize_t got = 0;
    while (text.size() < file_limit && (got = sys::read(fd, block, sizeof block)) > 0)
        text.append(block, static_cast<size_t>(got));
    const int error = errno;
    sys::close(fd);
    errno = error;
    return got >= 0;
}

std::optional<uint64_t> leading_number(std::string_view text)
{
    uint64_t number = 0;
    size_t at = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
        if (__builtin_mul_overflow(number, 10u, &number) ||
            __builtin_add_overflow(number, static_cast<unsigned>(text[at] - '0'), &number))
            return std::nullopt;
    const bool ends = at == text.size() || text[at] == ' ' || text[at] == '\t' || text[at] == '\n';
    return at != 0 && ends ? std::optional(number) : std::nullopt;
}

bool next_line(std::string_view& text, std::string_view& line)
{
    if (text.empty())
        return false;
    const size_t end = text.find('\n');
    line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return true;
}

std::string_view next_field(std::string_view& line)
{
    constexpr const char* blanks = " \t";
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    const std::string_view field = line.substr(0, line.find_first_of(blanks));
    line.remove_prefix(field.size());
    return field;
}

} // namespace platform
