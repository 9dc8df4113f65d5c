// What the documentation says of the run-time's functions that the library calls and no other test
// here covers.
#include <cerrno>

#include "support/test.h"

#include <io.h>
#include <tchar.h>

#include "support/environment.h"

TEST(DocumentedRuntime, FilesTimesAndRandomNumbers)
{
    const std::string name = test::make_folder("runtime") + "/file";
    test::write_file(name, "seven");
    FILE* const file = _wfopen(test::windows_form(name), L"rb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(_filelength(_fileno(file)), 5);
    const int number = _fileno(file);
    fclose(file);
    errno = 0;
    EXPECT_EQ(_filelength(number), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(_difftime64(5, 8), -3.0);
    srand(7);
    const int first = rand();
    EXPECT_TRUE(first >= 0 && first <= 32'767);
    rand();
    srand(7);
    EXPECT_EQ(rand(), first);
    wchar_t copy[4];
    EXPECT_EQ(wcscpy(copy, L"abc"), copy);
    EXPECT_EQ(wcscmp(copy, L"abc"), 0);
}
