#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"

#include "StoreEnv.h"

#include <QSettings>

#include <filesystem>

using kau::CRegistryAccess;
using kau::RegistryHive;
namespace reminder = kau::reminder;

namespace {

constexpr RegistryHive kHive = RegistryHive::LocalMachine;
const std::string kKey = reminder::KeyPath("Prod");

class RegistryAccess : public kau::test::StoreEnv {};

} // namespace

TEST_F(RegistryAccess, StoreFileFollowsXdgConfigHomeAtEveryCall)
{
    EXPECT_EQ(reminder::StoreFilePath(), storeFile());
    CRegistryAccess reg;
    ASSERT_EQ(reg.WriteDword(kHive, kKey, "Active", 1), 0);
    EXPECT_TRUE(std::filesystem::exists(storeFile()));

    kau::test::TempDir other;
    ::setenv("XDG_CONFIG_HOME", other.str().c_str(), 1);
    std::uint32_t v = 7;
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Active", v), -1);
    EXPECT_EQ(v, 0u);
    ::setenv("XDG_CONFIG_HOME", m_dir.str().c_str(), 1);
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Active", v), 0);
    EXPECT_EQ(v, 1u);
}

TEST_F(RegistryAccess, FallsBackToHomeConfigWhenXdgIsUnsetOrRelative)
{
    const char* home = std::getenv("HOME");
    const std::string expected = std::string(home ? home : "") + "/.config/Korvane/AutoUpdate.conf";
    if (!home)
        GTEST_SKIP() << "HOME is not set";
    ::unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(reminder::StoreFilePath(), expected);
    ::setenv("XDG_CONFIG_HOME", "relative/dir", 1);
    EXPECT_EQ(reminder::StoreFilePath(), expected);
}

TEST_F(RegistryAccess, MissingKeyAndValuesGiveTheirStatusAndEmptyResults)
{
    CRegistryAccess reg;
    std::uint32_t n = 42;
    std::string text = "stale";
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Active", n), -1);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(reg.ReadString(kHive, kKey, "LastUpdate", text), -1);
    EXPECT_EQ(text, "");
    EXPECT_EQ(reg.ProbeKey(kHive, kKey), -1);
    EXPECT_EQ(reg.DeleteValue(kHive, kKey, "Active"), -1);
    EXPECT_FALSE(std::filesystem::exists(storeFile()));  // reads create nothing

    ASSERT_EQ(reg.WriteDword(kHive, kKey, "Active", 1), 0);
    EXPECT_EQ(reg.ProbeKey(kHive, kKey), 0);
    n = 42;
    text = "stale";
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Check", n), -1);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(reg.ReadString(kHive, kKey, "LastUpdate", text), -3);
    EXPECT_EQ(text, "");
    EXPECT_EQ(reg.DeleteValue(kHive, kKey, "Check"), -3);
}

TEST_F(RegistryAccess, WritesValuesIntoTheGroupOfTheProduct)
{
    CRegistryAccess reg;
    ASSERT_EQ(reg.WriteDword(kHive, kKey, "Active", 1), 0);
    ASSERT_EQ(reg.WriteDword(kHive, kKey, "Interval", 4294967295u), 0);
    ASSERT_EQ(reg.WriteString(kHive, kKey, "LastUpdate", "46348.250000"), 0);
    const std::string text = storeText();
    EXPECT_NE(text.find("[Prod]"), std::string::npos) << text;
    EXPECT_NE(text.find("Active=1"), std::string::npos) << text;
    EXPECT_NE(text.find("Interval=4294967295"), std::string::npos) << text;
    EXPECT_NE(text.find("LastUpdate=46348.250000"), std::string::npos) << text;

    std::uint32_t n = 0;
    std::string s;
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Interval", n), 0);
    EXPECT_EQ(n, 4294967295u);
    EXPECT_EQ(reg.ReadString(kHive, kKey, "LastUpdate", s), 0);
    EXPECT_EQ(s, "46348.250000");

    EXPECT_EQ(reg.DeleteValue(kHive, kKey, "Interval"), 0);
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Interval", n), -1);
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Active", n), 0);
}

TEST_F(RegistryAccess, CombinedWriteStoresEveryValue)
{
    CRegistryAccess reg;
    ASSERT_EQ(reg.WriteValues(kHive, kKey,
                              {{"Active", std::uint32_t(1)},
                               {"Check", std::uint32_t(0)},
                               {"Interval", std::uint32_t(5)},
                               {"LastUpdate", std::string("46348.250000")}}),
              0);
    const std::string text = storeText();
    for (const char* line : {"Active=1", "Check=0", "Interval=5", "LastUpdate=46348.250000"})
        EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
    std::uint32_t n = 0;
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Interval", n), 0);
    EXPECT_EQ(n, 5u);
}

TEST_F(RegistryAccess, BackslashInProductKeyMakesNestedGroup)
{
    CRegistryAccess reg;
    ASSERT_EQ(reg.WriteDword(kHive, reminder::KeyPath("Suite\\Pro"), "Active", 0), 0);
    ASSERT_EQ(reg.WriteDword(kHive, reminder::KeyPath("Suite"), "Active", 1), 0);

    QSettings file(QString::fromStdString(storeFile()), QSettings::IniFormat);
    EXPECT_EQ(file.value("Suite/Pro/Active").toString(), "0");
    EXPECT_EQ(file.value("Suite/Active").toString(), "1");

    std::uint32_t n = 9;
    EXPECT_EQ(reg.ReadDword(kHive, reminder::KeyPath("Suite\\Pro"), "Active", n), 0);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(reg.ReadDword(kHive, reminder::KeyPath("Suite"), "Active", n), 0);
    EXPECT_EQ(n, 1u);
    EXPECT_EQ(reminder::GroupOfKeyPath(reminder::KeyPath("a\\\\b\\")), "a/b");
    EXPECT_EQ(reminder::GroupOfKeyPath("Other\\Path"), "Other/Path");
}

TEST_F(RegistryAccess, NumbersReadOnlyWhenTheyFitInFourBytes)
{
    CRegistryAccess reg;
    struct Case {
        const char* stored;
        int status;
        std::uint32_t value;
    } cases[] = {
        {"4294967295", 0, 4294967295u}, {"4294967296", -1, 0},  {"-1", 0, 0xFFFFFFFFu},
        {"-2147483648", 0, 0x80000000u}, {"-2147483649", -1, 0}, {"12abc", -1, 0},
        {"", -1, 0},                     {"text", -1, 0},        {" 17 ", 0, 17},
    };
    for (const Case& c : cases) {
        ASSERT_EQ(reg.WriteString(kHive, kKey, "Interval", c.stored), 0);
        std::uint32_t n = 99;
        EXPECT_EQ(reg.ReadDword(kHive, kKey, "Interval", n), c.status) << c.stored;
        EXPECT_EQ(n, c.value) << c.stored;
    }
}

TEST_F(RegistryAccess, TextsReadOnlyUpToOneHundredBytes)
{
    CRegistryAccess reg;
    const std::string hundred(100, 'x');
    std::string s;
    ASSERT_EQ(reg.WriteString(kHive, kKey, "LastUpdate", hundred), 0);
    EXPECT_EQ(reg.ReadString(kHive, kKey, "LastUpdate", s), 0);
    EXPECT_EQ(s, hundred);

    ASSERT_EQ(reg.WriteString(kHive, kKey, "LastUpdate", hundred + "y"), 0);
    s = "stale";
    EXPECT_EQ(reg.ReadString(kHive, kKey, "LastUpdate", s), -3);
    EXPECT_EQ(s, "");

    // The limit counts bytes: 50 two-byte letters fit, 51 don't.
    std::string umlauts;
    for (int i = 0; i < 50; ++i)
        umlauts += "\xC3\xA4";
    ASSERT_EQ(reg.WriteString(kHive, kKey, "Note", umlauts), 0);
    EXPECT_EQ(reg.ReadString(kHive, kKey, "Note", s), 0);
    EXPECT_EQ(s, umlauts);
    ASSERT_EQ(reg.WriteString(kHive, kKey, "Note", umlauts + "\xC3\xA4"), 0);
    EXPECT_EQ(reg.ReadString(kHive, kKey, "Note", s), -3);
}

TEST_F(RegistryAccess, StoreThatCannotBeWrittenGivesMinusFour)
{
    // The store's directory can't be made: a plain file stands in its place.
    m_dir.write("Korvane", "not a directory");
    CRegistryAccess reg;
    EXPECT_EQ(reg.WriteDword(kHive, kKey, "Active", 1), -4);
    EXPECT_EQ(reg.WriteString(kHive, kKey, "LastUpdate", "1.0"), -4);
    EXPECT_EQ(reg.WriteValues(kHive, kKey, {{"Active", std::uint32_t(1)}}), -4);
    std::uint32_t n = 5;
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Active", n), -1);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(m_dir.read("Korvane"), "not a directory");
}

TEST_F(RegistryAccess, StoreThatCannotBeReadGivesMinusOneAndStaysAsItWas)
{
    // A directory where the store file should be.
    std::filesystem::create_directories(storeFile());
    CRegistryAccess reg;
    std::uint32_t n = 5;
    std::string s = "stale";
    EXPECT_EQ(reg.ReadDword(kHive, kKey, "Active", n), -1);
    EXPECT_EQ(reg.ReadString(kHive, kKey, "LastUpdate", s), -1);
    EXPECT_EQ(s, "");
    const int w = reg.WriteDword(kHive, kKey, "Active", 1);
    EXPECT_TRUE(w == -1 || w == -4) << w;
    EXPECT_TRUE(std::filesystem::is_directory(storeFile()));
}
