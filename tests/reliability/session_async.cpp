// Asynchronous reads, writes and copies.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "session.h"

namespace sweep
{

namespace
{

constexpr size_t size = 10'000; // three blocks

// What the callbacks of one transfer said.
struct Outcome
{
    std::atomic<int> last{QV_ERR_INPROGRESS};
    std::atomic<uint64_t> done{0};
    static void moved(int status, uint64_t done, void* self)
    {
        static_cast<Outcome*>(self)->done = done;
        static_cast<Outcome*>(self)->last = status;
    }
    // The two failures of a copy behind which others come are not its last.
    static void copied(int status, uint64_t, uint64_t done, void* self)
    {
        if (status != QV_ERR_READFILE && status != QV_ERR_FILESIZE)
            moved(status, done, self);
    }
    bool ended() const { return last != QV_ERR_INPROGRESS; }
};

std::string bytes()
{
    std::string all(size, '\0');
    for (size_t i = 0; i < size; ++i)
        all[i] = static_cast<char>(i * 31);
    return all;
}

std::string read_file(const std::string& native)
{
    std::ifstream file(native, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// True if all was written and is there.
bool write_all(Session& session, QvFile file, const std::string& all)
{
    Outcome outcome;
    const QvAsyncIo async = {0, &outcome, Outcome::moved};
    if (!session.ok("QV_WriteFile", QV_WriteFile(file, all.data(), size, nullptr, &async),
                    {QV_ERR_SYSTEM}))
        return false;
    session.comes("the end of a write", [&] { return outcome.ended(); });
    return session.ok("asynchronous write", outcome.last,
                      {QV_ERR_WRITEFILE, QV_ERR_DISKFULL, QV_ERR_SEEKFILE}) &&
           session.holds("a part was written", outcome.done == size) &&
           session.holds("what was written is not there",
                         read_file(session.native("moving")) == all);
}

void read_all(Session& session, QvFile file, const std::string& all)
{
    std::string into(size + 100, '\0');
    Outcome outcome;
    const QvAsyncIo async = {0, &outcome, Outcome::moved};
    if (!session.ok("QV_ReadFile", QV_ReadFile(file, into.data(), into.size(), nullptr, &async),
                    {QV_ERR_SYSTEM}))
        return;
    session.comes("the end of a read", [&] { return outcome.ended(); });
    if (session.ok("asynchronous read", outcome.last, {QV_ERR_READFILE, QV_ERR_SEEKFILE}))
        session.holds("something else was read", into.substr(0, outcome.done) == all);
}

void copy_all(Session& session, const std::string& all)
{
    Outcome outcome;
    if (!session.ok("QV_CopyFile",
                    QV_CopyFile(session.path("moving"), session.path("copied"), 0, nullptr,
                                Outcome::copied, &outcome),
                    {QV_ERR_OPENFILE, QV_ERR_SYSTEM}))
        return;
    session.comes("the end of a copy", [&] { return outcome.ended(); });
    // A copy that could read nothing ends with success, too.
    if (session.ok("asynchronous copy", outcome.last, {QV_ERR_WRITEFILE, QV_ERR_DISKFULL}) &&
        outcome.done == size)
        session.holds("the copy differs", read_file(session.native("copied")) == all);
    session.worked("copy of all", outcome.done == size);
}

} // namespace

void async_part(Session& session)
{
    const std::string all = bytes();
    QvFile file = nullptr;
    if (!session.ok("QV_OpenFile",
                    QV_OpenFile(session.path("moving"),
                                QV_OPEN_READ | QV_OPEN_WRITE | QV_OPEN_CREATE | QV_OPEN_ALWAYS,
                                QV_SHARE_READ | QV_SHARE_WRITE, QV_SECURITY_DEFAULT, &file),
                    {QV_ERR_OPENFILE}))
        return;
    if (write_all(session, file, all))
        read_all(session, file, all);
    copy_all(session, read_file(session.native("moving")).size() == size ? all : "");
    session.ok("QV_CancelAsyncIO", QV_CancelAsyncIO(file), {});
    session.ok("QV_CloseFile", QV_CloseFile(file), {QV_ERR_CLOSEFILE});
}

} // namespace sweep
