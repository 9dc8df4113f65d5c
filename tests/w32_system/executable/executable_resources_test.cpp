// The resources of the program itself: they control its log, and are loaded like those of a module.
// This test program has some (tests/CMakeLists.txt).
#include "support/test.h"

#include "support/files.h"
#include "support/wide_text.h"

namespace
{

TEST(ExecutableResources, NameTheFolderAndTheCharacterSetOfTheLog)
{
    QV_Log(L"a line\r\n");
    const std::string path = test::utf8(CQvLogFile::GetLogFilename());
    EXPECT_NE(
        path.find("\\ProgramData\\plinth-tests\\w32_system_executable_tests ö\\Logfiles\\qvapp_"),
        std::string::npos)
        << path;
    EXPECT_NE(test::read_file(test::native_form(test::Wide(path)))
                  .find(std::string("a\0 \0l\0i\0n\0e", 11)),
              std::string::npos);
}

TEST(ExecutableResources, LoadFromTheProgramWithoutAModule)
{
    CQvRscData data;
    QV_RCDATAToCQvRscData(data, static_cast<__qv_hmodule*>(nullptr));
    ASSERT_EQ(data.GetCQvByteArrayW32Count(), 1);
    int id = 0;
    const CQvByteArrayW32& entry = data.GetCQvByteArrayW32(0, &id);
    EXPECT_EQ(id, 0x409);
    EXPECT_TRUE(
        std::string(static_cast<const char*>(entry.GetData()), entry.GetSize()).starts_with("//"));
}

} // namespace
