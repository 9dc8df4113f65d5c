// Runs a test program with a PLINTH_ROOT of its own.
//
// plinth_test_launcher PROGRAM ARGUMENTS... makes a folder, runs the program with PLINTH_ROOT and
// PLINTH_TEST_ROOT set to it, and afterwards removes the folder, the one beside it for files
// outside and its shared objects, even after a crash. It isn't linked to the library, which would
// open a log when loaded.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

void remove_tree(const std::string& path)
{
    namespace fs = std::filesystem;
    std::error_code ignored;
    // A test may have left folders without permissions, or read-only files.
    for (auto entry = fs::recursive_directory_iterator(
             path, fs::directory_options::skip_permission_denied, ignored);
         entry != fs::recursive_directory_iterator(); entry.increment(ignored))
        if (entry->is_directory(ignored) && !entry->is_symlink(ignored))
            fs::permissions(entry->path(), fs::perms::owner_all, ignored);
    fs::remove_all(path, ignored);
}

// The folder of the shared objects of a root, named as by the stand-in (FNV-1a of the path).
std::string shared_folder(const std::string& root)
{
    uint64_t hash = 14695981039346656037u;
    for (const unsigned char c : root)
        hash = (hash ^ c) * 1099511628211u;
    char name[64];
    std::snprintf(name, sizeof name, "%s/plinth-%u-%016llx",
                  access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp", geteuid(),
                  static_cast<unsigned long long>(hash));
    return name;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::fprintf(stderr, "usage: plinth_test_launcher PROGRAM [ARGUMENT...]\n");
        return 2;
    }
    std::string root = (std::filesystem::temp_directory_path() / "plinth-test-XXXXXX").string();
    if (!mkdtemp(root.data()))
    {
        std::perror("plinth_test_launcher: mkdtemp");
        return 98;
    }
    setenv("PLINTH_TEST_ROOT", root.c_str(), 1);
    setenv("PLINTH_ROOT", root.c_str(), 1);
    // No test shows windows on a user's desktop; those that need a display start their own.
    setenv("PLINTH_DESKTOP", "none", 1);

    const pid_t self = getpid();
    const pid_t inner = fork();
    if (inner == 0)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != self)
            _exit(97);
        execv(argv[1], argv + 1);
        std::perror(argv[1]);
        _exit(98);
    }
    int status = 0;
    while (waitpid(inner, &status, 0) < 0 && errno == EINTR)
    {
    }
    remove_tree(root);
    remove_tree(root + ".outside");
    remove_tree(shared_folder(root));
    if (WIFSIGNALED(status))
    {
        std::fprintf(stderr, "%s ended by signal %d\n", argv[1], WTERMSIG(status));
        return 128 + WTERMSIG(status);
    }
    return WEXITSTATUS(status);
}
