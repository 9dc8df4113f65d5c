// Views in a file, and the columns and expressions into which a text is split.
#include "support/test.h"

#include <filesystem>
#include <fstream>

#include "failure.h"
#include "plinth_platform_test.h"
#include "record_columns.h"
#include "settings_file.h"
#include "support/environment.h"
#include "text_shape.h"
#include "view_settings.h"

namespace
{

using namespace trace;

void write_file(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string read_file(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

ViewerSettings some_settings()
{
    ViewerSettings settings;
    settings.others["window.geometry"] = std::string("\0\n\\= [view]\r", 12);
    ViewSettings& view = settings.views.emplace_back();
    view.name = "Errors \u202e\u00e9 = [end]";
    view.include = {"a\tb", "", "\\x41|c = d"};
    view.excluded_processes = {"4711", "a program"};
    for (int32_t id = 0; id < 10'000; ++id)
        view.windows.insert(id * 7 - 30'000);
    view.highlights = {{"warn ing", 0x12ab00}, {"#", 0xffffff}};
    view.columns = {"time", "text"};
    view.others["window.widths"] = "1 2 3";
    settings.views.emplace_back().name = "second";
    return settings;
}

class SettingsFile : public testing::Test
{
protected:
    std::string failure_of_saving(const ViewerSettings& settings = some_settings())
    {
        try
        {
            save_settings(path, settings);
        }
        catch (const Failure& failure)
        {
            return failure.what();
        }
        return {};
    }

    std::string folder =
        test::make_folder(testing::UnitTest::GetInstance()->current_test_info()->name());
    std::string path = folder + "/new/x.views";
};

TEST_F(SettingsFile, HasWhatWasSavedWhateverItSays)
{
    EXPECT_EQ(load_settings(path).settings.views.size(), 0u);
    EXPECT_EQ(load_settings(path).problem, "") << "one that is missing is none";
    for (int i = 0; i < 2; ++i) // the second one replaces the first
        EXPECT_EQ(save_settings(path, some_settings()), "");
    const LoadedSettings loaded = load_settings(path);
    EXPECT_EQ(loaded.problem, "");
    EXPECT_TRUE(loaded.settings == some_settings());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder + "/new"), {}), 1);
}

TEST_F(SettingsFile, OfALaterVersionIsNeitherReadNorOverwritten)
{
    path = folder + "/x.views";
    const std::string later = "plinth-views 2\n<view name='x'/>\n";
    write_file(path, later);
    EXPECT_NE(load_settings(path).problem.find("later version"), std::string::npos);
    EXPECT_NE(failure_of_saving().find("later version"), std::string::npos);
    EXPECT_EQ(read_file(path), later);
}

TEST_F(SettingsFile, ThatIsDamagedIsReadAsFarAsItGoesAndKeptBesideTheNewOne)
{
    const std::string good = settings_text(some_settings());
    const std::string from_view = "plinth-views 1\n[view]\nname = x\n";
    for (const std::string& damaged : std::initializer_list<std::string>{
             good.substr(0, good.size() / 2), good.substr(0, good.size() - 6), std::string(),
             std::string("\0\xff\n", 3), "plinth-views 1\nname = of no view\n[end]\n",
             from_view + "inclde = x\n[end]\n", from_view + "window = 2147483648\n[end]\n",
             from_view + "include = \\q\n[end]\n", from_view + "highlight = red x\n[end]\n",
             from_view + "no setting\n[end]\n", from_view + std::string(5 << 20, '#')})
    {
        SCOPED_TRACE(damaged.substr(0, 60));
        path = folder + "/x.views";
        write_file(path, damaged);
        const LoadedSettings loaded = load_settings(path);
        EXPECT_NE(loaded.problem.find("damaged"), std::string::npos) << loaded.problem;
        EXPECT_EQ(read_file(path), damaged) << "reading changes nothing";
        const std::string note = save_settings(path, some_settings());
        const size_t name = note.find(path + ".damaged-");
        ASSERT_NE(name, std::string::npos) << note;
        EXPECT_EQ(read_file(note.substr(name)), damaged);
        EXPECT_TRUE(load_settings(path).settings == some_settings());
    }
}

TEST_F(SettingsFile, ThatCantBeReplacedIsLeftAndTheReasonTold)
{
    path = folder + "/x.views";
    std::filesystem::create_directory(path);
    EXPECT_NE(load_settings(path).problem.find("no regular file"), std::string::npos);
    EXPECT_NE(failure_of_saving().find("no regular file"), std::string::npos);
    path = folder + "/y.views";
    write_file(path, settings_text({}));
    const ViewerSettings too_long{.views = {{.name = "x", .include = {std::string(5 << 20, 'x')}}}};
    EXPECT_NE(failure_of_saving(too_long).find("4 MiB"), std::string::npos);
    PlinthTestFail("write", 1, 0, ENOSPC);
    const std::string failure = failure_of_saving();
    PlinthTestReset();
    EXPECT_NE(failure.find("can't be saved as " + path), std::string::npos) << failure;
    EXPECT_TRUE(load_settings(path).settings == ViewerSettings());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2) << "no rest";
}

TEST(SettingsPath, IsInTheUsersFolderAndTakesNoNameThatLeadsOutOfIt)
{
    const std::string folder = test::make_folder("config");
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    const std::string path = settings_path("my views");
    EXPECT_EQ(path, folder + "/plinth/my views.views");
    save_settings(path, {});
    save_settings(settings_path("a"), {});
    EXPECT_EQ(settings_names(), (std::vector<std::string>{"a", "my views"}));
    for (const std::string& bad : {std::string(), std::string("../x"), std::string("a\nb"),
                                   std::string(".x"), std::string(200, 'x')})
        EXPECT_THROW(settings_path(bad), Failure) << bad;
}

TEST(TextsLikeThis, DifferOnlyInNumbersAndQuotedParts)
{
    const std::string stamp = "2024-03-05 14:07:33.006 *vtq* ";
    struct Case
    {
        std::string text;
        std::vector<std::string> like;
        std::vector<std::string> unlike;
    };
    const Case cases[] = {
        {stamp + "|wndid:7| read 12.5 MB of \"a.b\" (0x1f)",
         {"2025-01-01 00:00:00.000 *vtq* |wndid:12| read 3 MB of \"\" (0xABC)"},
         {stamp + "|wndid:7| read 12.5 MB of \"a.b\" (0x1f), failed",
          stamp + "read 12.5 MB of \"a.b\" (0x1f)"}},
        {"a", {}, {"ab", "ba"}},
        {"it's 5 o'clock+", {"it's 12 o'clock+"}, {"it is 5 o'clock+", "it's 5 o'clock"}},
        {"id 0a1b2c3d4e5f", {"id deadbeef00"}, {"id x"}},
        {"a\tb\nc\\d [1]", {"a\tb\nc\\d [22]"}, {"a b\nc\\d [1]"}},
        {std::string(399, 'x') + "\u00e9" + std::string(100'000, 'y'),
         {std::string(399, 'x') + "\u00e9"},
         {"x"}},
        {std::string(2'000, '\t'), {}, {"\t"}},
    };
    for (const Case& each : cases)
    {
        const std::string expression = expression_like(each.text);
        SCOPED_TRACE(expression.substr(0, 200));
        const Pattern pattern(expression);
        EXPECT_EQ(pattern.in(each.text), Found::yes);
        for (const std::string& text : each.like)
            EXPECT_EQ(pattern.in(text), Found::yes) << text;
        for (const std::string& text : each.unlike)
            EXPECT_EQ(pattern.in(text), Found::no) << text;
    }
}

TEST(RecordColumns, HaveStampMarkerAndTagOutOfTheText)
{
    const std::string stamp = "2024-03-05 14:07:33.006 *vtq* ";
    struct Case
    {
        std::string text;
        std::string plain;
    };
    const Case cases[] = {
        {stamp + "|wndid:7| a\tb", "a\tb"},
        {stamp + "a |wndid:-7| b", "a b"},
        {stamp + "|wndid:7|", ""},
        {stamp + "|wndid: 12x", "x"},
        {stamp + "|wndid:1||wndid:2| x", "|wndid:2| x"},
        {"|wndid:7|x", "x"},
        {"a |wndid:7| x", "a |wndid:7| x"}, // no tag: the text has no stamp
        {stamp, ""},
    };
    for (const Case& each : cases)
    {
        Record record{.time = 1, .text = each.text};
        record.window = window_of(record.text).value_or(no_window);
        std::string storage;
        EXPECT_EQ(text_of(record, TextForm::plain, storage), each.plain) << each.text;
        EXPECT_EQ(text_of(record, TextForm::raw, storage), each.text);
    }
    const std::string many(2'000, '\t');
    const std::string ended = many + "end"; // the fields point into it
    const Fields fields(ended);
    EXPECT_EQ(fields.size(), Fields::most);
    EXPECT_EQ(count_fields(many), Fields::most);
    EXPECT_TRUE(fields[Fields::most - 1].ends_with("\tend")) << "the last field has the rest";
    EXPECT_EQ(cell_text(Column::delta, 0, Record{.time = 5}, {.chosen = 3'000'005}), "-3.000000");
    for (const Column column : all_columns())
        EXPECT_EQ(column_of(name_of(column)), column);
}

} // namespace
