// The store: its defaults, the files it is made from and the files it writes.

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "config/ZqConfig.h"
#include "support/TempDir.h"
#include "support_src/LogRecorder.h"
#include "support_src/UnitEnvironment.h"
#include "support_src/Unprivileged.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<LogEntry>;

constexpr char kHostsAllowed[] = "[IP_ADDRESS] HOSTS_ALLOWED";

class ZqConfigTest : public testing::Test {
  protected:
    void main(const char* text) const { writeFile(root / "etc/tesk_v2.ini", text); }
    void update(const char* text) const { writeFile(root / "config/.sw_update.ini", text); }
    void configured(const std::string& text) const { writeFile(root / "config/config.ini", text); }

    LogEntry notWritten(const std::string& file, const std::string& reason) const {
        return {180, "ZqConfig: Cannot write " + (root / file).string() + ": " + reason};
    }

    const PrivateRoot root;
    const LogRecorder log;
};

const ZqConfig::Map kDefaults{
    {"[INTERNAL] TESKv2_ENABLE", "false"},
    {"[IP_ADDRESS] IP_SERVER", "192.168.0.1"},
    {"[IP_ADDRESS] UDP_SERVER", "5001"},
    {"[IP_ADDRESS] IP_LOCAL", "*"},
    {"[IP_ADDRESS] TCP_LOCAL", "5001"},
    {"[SLOT_MACHINE] PORT_ASYNC", "1,2,3,4"},
    {"[PORT_ASYNC1] IP_ADDRESS", "127.0.0.1"},
    {"[PORT_ASYNC1] TCP_PORT", "2100"},
    {"[PORT_ASYNC1] FLOWCONTROL", "No Flow"},
    {"[PORT_ASYNC1] STOPSIZE", "1"},
    {"[PORT_ASYNC1] PARITY", "NONE"},
    {"[PORT_ASYNC1] DATASIZE", "8"},
    {"[PORT_ASYNC1] BAUDRATE", "19200"},
    {"[PORT_ASYNC2] IP_ADDRESS", "127.0.0.1"},
    {"[PORT_ASYNC2] TCP_PORT", "2200"},
    {"[PORT_ASYNC2] FLOWCONTROL", "No Flow"},
    {"[PORT_ASYNC2] STOPSIZE", "1"},
    {"[PORT_ASYNC2] PARITY", "NONE"},
    {"[PORT_ASYNC2] DATASIZE", "8"},
    {"[PORT_ASYNC2] BAUDRATE", "19200"},
    {"[PORT_ASYNC3] IP_ADDRESS", "127.0.0.1"},
    {"[PORT_ASYNC3] TCP_PORT", "2300"},
    {"[PORT_ASYNC3] FLOWCONTROL", "No Flow"},
    {"[PORT_ASYNC3] STOPSIZE", "1"},
    {"[PORT_ASYNC3] PARITY", "NONE"},
    {"[PORT_ASYNC3] DATASIZE", "8"},
    {"[PORT_ASYNC3] BAUDRATE", "19200"},
    {"[PORT_ASYNC4] IP_ADDRESS", "127.0.0.1"},
    {"[PORT_ASYNC4] TCP_PORT", "2400"},
    {"[PORT_ASYNC4] FLOWCONTROL", "No Flow"},
    {"[PORT_ASYNC4] STOPSIZE", "1"},
    {"[PORT_ASYNC4] PARITY", "NONE"},
    {"[PORT_ASYNC4] DATASIZE", "8"},
    {"[PORT_ASYNC4] BAUDRATE", "19200"},
    {"[RICH_ORA] TOUT_ORA", "7200"},
    {"[INTERNAL] MAC_ADDR_eth0", "ff:ff:ff:ff:ff:00"},
    {"[INTERNAL] MAC_ADDR_eth1", "ff:ff:ff:ff:ff:01"},
    {"[INTERNAL] ZQ_MODEL", "<unknown>"},
    {"[INTERNAL] ZQ_SW_VERSION", "<unknown"},
    {"[INTERNAL] ZQ_MANUFACTURER_ID", "ZEPH WLT"},
    {"[INTERNAL] SW_UPDATE_A", "YYMMDDHHMMSS"},
    {"[INTERNAL] SW_UPDATE_B", "YYMMDDHHMMSS"},
    {"[INTERNAL] TESK_CONNECTION_TYPE", "3"},
    {"[INTERNAL] ZQ_CONNECTION_TYPE", "9"},
    {"[AAMS] TMP_APP_COLLEGATI", "1"},
    {"[AAMS] INVIO_APP_COLLEGATI", "1"},
    {"[AAMS] INVIO_NO_APP_COLLEGATI", "1"},
    {"[AAMS] TMP_APP_ACCENSIONE", "2"},
    {"[INTERNAL] ZQ_CONFIG_FILE", "config.ini"},
};

// What a start without any file writes, apart from the four equal port sections.
constexpr const char* kDumpBeforePorts =
    "\n[AAMS]\n"
    "\t INVIO_APP_COLLEGATI=1\n"
    "\t INVIO_NO_APP_COLLEGATI=1\n"
    "\t TMP_APP_ACCENSIONE=2\n"
    "\t TMP_APP_COLLEGATI=1\n"
    "\n[INTERNAL]\n"
    "\t MAC_ADDR_eth0=ff:ff:ff:ff:ff:00\n"
    "\t MAC_ADDR_eth1=ff:ff:ff:ff:ff:01\n"
    "\t SW_UPDATE_A=YYMMDDHHMMSS\n"
    "\t SW_UPDATE_B=YYMMDDHHMMSS\n"
    "\t TESK_CONNECTION_TYPE=3\n"
    "\t TESKv2_ENABLE=false\n"
    "\t ZQ_CONFIG_FILE=config.ini\n"
    "\t ZQ_CONNECTION_TYPE=9\n"
    "\t ZQ_MANUFACTURER_ID=ZEPH WLT\n"
    "\t ZQ_MODEL=<unknown>\n"
    "\t ZQ_SW_VERSION=<unknown\n"
    "\n[IP_ADDRESS]\n"
    "\t IP_LOCAL=*\n"
    "\t IP_SERVER=192.168.0.1\n"
    "\t TCP_LOCAL=5001\n"
    "\t UDP_SERVER=5001\n";
constexpr const char* kDumpOfPortOne =
    "\n[PORT_ASYNC1]\n"
    "\t BAUDRATE=19200\n"
    "\t DATASIZE=8\n"
    "\t FLOWCONTROL=No Flow\n"
    "\t IP_ADDRESS=127.0.0.1\n"
    "\t PARITY=NONE\n"
    "\t STOPSIZE=1\n"
    "\t TCP_PORT=2100\n"
    "\n[PORT_ASYNC2]\n";
constexpr const char* kDumpAfterPorts =
    "\t TCP_PORT=2400\n"
    "\n[RICH_ORA]\n"
    "\t TOUT_ORA=7200\n"
    "\n[SLOT_MACHINE]\n"
    "\t PORT_ASYNC=1,2,3,4\n"
    "\n";

TEST_F(ZqConfigTest, WithoutFilesItHoldsExactlyTheDefaults) {
    const ZqConfig config;
    EXPECT_EQ(kDefaults, static_cast<const ZqConfig::Map&>(config));
    EXPECT_EQ(Lines{}, log.lines());
}

TEST_F(ZqConfigTest, LookingUpAnAbsentKeyInsertsAnEmptyValue) {
    ZqConfig config;
    EXPECT_EQ("", config["[NO] SUCH"]);
    EXPECT_EQ(1U, config.count("[NO] SUCH"));
}

TEST_F(ZqConfigTest, KeysAreCaseSensitive) {
    ZqConfig config;
    EXPECT_EQ("", config["[INTERNAL] zq_model"]);
}

TEST_F(ZqConfigTest, TheMainFileOverridesTheDefaults) {
    main("[IP_ADDRESS]\nIP_SERVER = 10.0.0.1\n");
    ZqConfig config;
    EXPECT_EQ("10.0.0.1", config["[IP_ADDRESS] IP_SERVER"]);
    EXPECT_EQ("5001", config["[IP_ADDRESS] UDP_SERVER"]);
}

TEST_F(ZqConfigTest, EachFileOverridesTheOnesBefore) {
    main("[X]\nA=main\nB=main\nC=main\n");
    update("[X]\nB=update\nC=update\n");
    configured("[X]\nC=configured\n");
    ZqConfig config;
    EXPECT_EQ("main", config["[X] A"]);
    EXPECT_EQ("update", config["[X] B"]);
    EXPECT_EQ("configured", config["[X] C"]);
}

TEST_F(ZqConfigTest, TheMainFileMayNameTheConfiguredFile) {
    main("ZQ_CONFIG_FILE=other.ini\n");
    configured("[X]\nA=config.ini\n");
    writeFile(root / "config/other.ini", "[X]\nA=other.ini\n");
    ZqConfig config;
    EXPECT_EQ("other.ini", config["[X] A"]);
}

TEST_F(ZqConfigTest, TheUpdateFileMayNameTheConfiguredFile) {
    main("ZQ_CONFIG_FILE=first.ini\n");
    update("ZQ_CONFIG_FILE=second.ini\n");
    writeFile(root / "config/second.ini", "[X]\nA=second.ini\n");
    ZqConfig config;
    EXPECT_EQ("second.ini", config["[X] A"]);
}

TEST_F(ZqConfigTest, TheConfiguredFileCannotNameAnother) {
    configured("ZQ_CONFIG_FILE=other.ini\n[X]\nA=config.ini\n");
    writeFile(root / "config/other.ini", "[X]\nA=other.ini\n");
    ZqConfig config;
    EXPECT_EQ("config.ini", config["[X] A"]);
    EXPECT_EQ("other.ini", config["[INTERNAL] ZQ_CONFIG_FILE"]);
}

TEST_F(ZqConfigTest, AnEmptyNameOfTheConfiguredFileIsSkipped) {
    main("ZQ_CONFIG_FILE= \n");
    ZqConfig config;
    EXPECT_EQ("", config["[INTERNAL] ZQ_CONFIG_FILE"]);
    EXPECT_EQ(0U, config.count(kHostsAllowed));
    EXPECT_EQ(Lines{}, log.lines());
}

TEST_F(ZqConfigTest, ABrokenHeaderIsLoggedWithFileAndLine) {
    configured("[X]\n\n\n[BROKEN\nA=1\n");
    ZqConfig config;
    const std::string path = root / "config/config.ini";
    EXPECT_EQ((Lines{{180, "ZqConfig: Section syntax error: " + path + ":2"}}), log.lines());
    EXPECT_EQ("1", config["[X] A"]);
}

TEST_F(ZqConfigTest, OfABrokenFileTwentyLinesAreLoggedAndTheirNumber) {
    std::string broken;
    for (int i = 0; i < 25; ++i) broken += "[BROKEN\n";
    configured(broken + "A=1\n");
    ZqConfig config;
    const std::string path = root / "config/config.ini";
    Lines expected;
    for (int i = 1; i <= 20; ++i) {
        expected.push_back(
            {180, "ZqConfig: Section syntax error: " + path + ":" + std::to_string(i)});
    }
    expected.push_back({180, "ZqConfig: 5 more section syntax errors: " + path});
    EXPECT_EQ(expected, log.lines());
    EXPECT_EQ("1", config["[INTERNAL] A"]);
}

TEST_F(ZqConfigTest, OfTwentySyntaxErrorsEachHasItsLine) {
    std::string broken;
    for (int i = 0; i < 20; ++i) broken += "[BROKEN\n";
    configured(broken);
    ZqConfig config;
    EXPECT_EQ(20U, log.lines().size());
}

TEST_F(ZqConfigTest, CarriageReturnsSpoilHeadersAndStayInValues) {
    main("[X]\r\nA=1\r\n");
    ZqConfig config;
    const std::string path = root / "etc/tesk_v2.ini";
    EXPECT_EQ((Lines{{180, "ZqConfig: Section syntax error: " + path + ":1"}}), log.lines());
    EXPECT_EQ("1\r", config["[INTERNAL] A"]);
}

TEST_F(ZqConfigTest, PercentSignsInAPathAreLoggedAsTheyAre) {
    main("ZQ_CONFIG_FILE=%s%n.ini\n");
    writeFile(root / "config/%s%n.ini", "[BROKEN\n");
    const ZqConfig config;
    EXPECT_TRUE(log.waitForText("/config/%s%n.ini:1", std::chrono::milliseconds(0)));
}

TEST_F(ZqConfigTest, TheUpdateFileEndsWithBothStampsEqual) {
    const ZqConfig config;
    EXPECT_EQ(
        "\n[INTERNAL]\n"
        "\t SW_UPDATE_A=YYMMDDHHMMSS\n"
        "\t SW_UPDATE_B=YYMMDDHHMMSS\n"
        "\n",
        readFile(root / "config/.sw_update.ini"));
}

TEST_F(ZqConfigTest, TheUpdateFileTakesTheCurrentStampAndTheStoreKeepsThePrevious) {
    update("SW_UPDATE_A=240101000000\nSW_UPDATE_B=240202000000\nOTHER=1\n");
    ZqConfig config;
    EXPECT_EQ("240101000000", config["[INTERNAL] SW_UPDATE_A"]);
    EXPECT_EQ("240202000000", config["[INTERNAL] SW_UPDATE_B"]);
    EXPECT_EQ(
        "\n[INTERNAL]\n"
        "\t SW_UPDATE_A=240202000000\n"
        "\t SW_UPDATE_B=240202000000\n"
        "\n",
        readFile(root / "config/.sw_update.ini"));
}

TEST_F(ZqConfigTest, AnUpdateIsSeenByOneStartOnly) {
    configured("SW_UPDATE_B=240202000000\n");
    ZqConfig first;
    EXPECT_EQ("YYMMDDHHMMSS", first["[INTERNAL] SW_UPDATE_A"]);
    EXPECT_EQ("240202000000", first["[INTERNAL] SW_UPDATE_B"]);
    ZqConfig second;
    EXPECT_EQ("240202000000", second["[INTERNAL] SW_UPDATE_A"]);
    EXPECT_EQ("240202000000", second["[INTERNAL] SW_UPDATE_B"]);
}

TEST_F(ZqConfigTest, TheDumpOfTheDefaultsReadsAsFollows) {
    const ZqConfig config;
    const std::string dump = readFile(root / "tmp/dump_map.ini");
    const std::string before(kDumpBeforePorts);
    const std::string after(kDumpAfterPorts);
    ASSERT_GT(dump.size(), before.size() + after.size());
    EXPECT_EQ(before, dump.substr(0, before.size()));
    EXPECT_EQ(kDumpOfPortOne, dump.substr(before.size(), std::string(kDumpOfPortOne).size()));
    EXPECT_EQ(after, dump.substr(dump.size() - after.size()));
}

TEST_F(ZqConfigTest, TheDumpHoldsEveryKey) {
    main("[X]\nA=1\n[Y Z]\nB = two words\n");
    const ZqConfig config;
    ZqConfig::Map dumped;
    ZqConfig::parse_file(root / "tmp/dump_map.ini", dumped);
    EXPECT_EQ(static_cast<const ZqConfig::Map&>(config), dumped);
    EXPECT_EQ("1", dumped["[X] A"]);
    EXPECT_EQ("two words", dumped["[Y Z] B"]);
}

TEST_F(ZqConfigTest, TheDumpShowsThePreviousStamp) {
    update("SW_UPDATE_A=240101000000\nSW_UPDATE_B=240202000000\n");
    const ZqConfig config;
    EXPECT_NE(std::string::npos,
              readFile(root / "tmp/dump_map.ini").find("\t SW_UPDATE_A=240101000000\n"));
}

TEST_F(ZqConfigTest, TheDumpDoesNotFollowASymbolicLink) {
    writeFile(root / "victim", "precious");
    fs::create_symlink("../victim", root / "tmp/dump_map.ini");
    const ZqConfig config;
    EXPECT_EQ("precious", readFile(root / "victim"));
    EXPECT_FALSE(fs::is_symlink(root / "tmp/dump_map.ini"));
}

TEST_F(ZqConfigTest, WithoutItsDirectoriesItStillHoldsTheDefaults) {
    for (const char* folder : {"etc", "config", "tmp"}) fs::remove_all(root / folder);
    const ZqConfig config;
    EXPECT_EQ(kDefaults, static_cast<const ZqConfig::Map&>(config));
    EXPECT_EQ((Lines{notWritten("config/.sw_update.ini", "No such file or directory"),
                     notWritten("tmp/dump_map.ini", "No such file or directory")}),
              log.lines());
}

TEST_F(ZqConfigTest, APowerCutDuringTheLastStartDoesNotMatter) {
    update("SW_UPDATE_A=240101000000\nSW_UPDATE_B=240202000000\n");
    writeFile(root / "config/.sw_update.ini.teskd.tmp", "\n[INTERNAL]\n\t SW_UPD");
    ZqConfig config;
    EXPECT_EQ("240101000000", config["[INTERNAL] SW_UPDATE_A"]);
    EXPECT_FALSE(fs::exists(root / "config/.sw_update.ini.teskd.tmp"));
}

TEST_F(ZqConfigTest, AFileThatMayNotBeReadIsLogged) {
    const std::string path = root / "etc/tesk_v2.ini";
    main("A=1\n");
    fs::permissions(path, fs::perms::none);
    fs::permissions(root / "", fs::perms::all);
    ZqConfig::Map map;
    {
        const Unprivileged unprivileged;
        EXPECT_FALSE(ZqConfig::parse_file(path, map));
    }
    EXPECT_EQ((Lines{{180, "ZqConfig: Cannot read " + path + ": Permission denied"}}), log.lines());
    EXPECT_EQ(ZqConfig::Map{}, map);
}

TEST_F(ZqConfigTest, AFileThatIsMissingOrReadHoldsNoSecret) {
    ZqConfig::Map map;
    EXPECT_TRUE(ZqConfig::parse_file(root / "etc/tesk_v2.ini", map));
    EXPECT_TRUE(ZqConfig::parse_file(root / "no/such/file", map));
    main("A=1\n");
    EXPECT_TRUE(ZqConfig::parse_file(root / "etc/tesk_v2.ini", map));
    EXPECT_TRUE(ZqConfig::parse_file(root / "etc/tesk_v2.ini/file", map));
    EXPECT_EQ(Lines{}, log.lines());
}

TEST_F(ZqConfigTest, AListOfHostsCountsOnlyBehindTheLastFileThatWasNotRead) {
    fs::create_directory(root / "config/.sw_update.ini");
    main("[IP_ADDRESS]\nHOSTS_ALLOWED=10.0.0.0/8\n");
    EXPECT_EQ("unreadable", ZqConfig()[kHostsAllowed]);
    configured("[IP_ADDRESS]\nHOSTS_ALLOWED=10.0.0.7\n");
    EXPECT_EQ("10.0.0.7", ZqConfig()[kHostsAllowed]);
}

// Things that are no readable files at the three names, one kind at a time.
class ZqConfigObstacleTest : public ZqConfigTest, public testing::WithParamInterface<const char*> {
  protected:
    void expectDefaultsWith(void (*obstruct)(const fs::path&), const Lines& logged = {},
                            const ZqConfig::Map& others = {}) {
        obstruct(root / GetParam());
        const ZqConfig config;
        ZqConfig::Map expected = kDefaults;
        expected.insert(others.begin(), others.end());
        EXPECT_EQ(expected, static_cast<const ZqConfig::Map&>(config));
        EXPECT_EQ(logged, log.lines());
    }
    // It could hold a list of hosts.
    void expectUnread(void (*obstruct)(const fs::path&), const std::string& problem,
                      Lines logged = {}) {
        const std::string path = root / GetParam();
        logged.insert(logged.begin(), {180, "ZqConfig: Cannot read " + path + ": " + problem});
        expectDefaultsWith(obstruct, logged, {{kHostsAllowed, "unreadable"}});
    }

    // What is logged of the one file that is written as well.
    Lines unlessOnlyRead(const std::string& reason) const {
        const std::string file = GetParam();
        if (file != "config/.sw_update.ini") return {};
        return {notWritten(file, reason)};
    }
};

TEST_P(ZqConfigObstacleTest, ADirectoryIsSkipped) {
    expectUnread([](const fs::path& path) { fs::create_directory(path); }, "Is a directory",
                 unlessOnlyRead("Is a directory"));
}

TEST_P(ZqConfigObstacleTest, ADeviceIsSkipped) {
    expectUnread([](const fs::path& path) { fs::create_symlink("/dev/zero", path); },
                 "Invalid argument", unlessOnlyRead("File exists"));
}

TEST_P(ZqConfigObstacleTest, AFifoIsSkipped) {
    expectUnread([](const fs::path& path) { ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600)); },
                 "Invalid argument", unlessOnlyRead("File exists"));
}

TEST_P(ZqConfigObstacleTest, ADanglingLinkIsSkipped) {
    expectDefaultsWith([](const fs::path& path) { fs::create_symlink("nowhere", path); });
}

TEST_P(ZqConfigObstacleTest, ALinkToItselfIsSkipped) {
    expectUnread([](const fs::path& path) { fs::create_symlink(path.filename(), path); },
                 "Too many levels of symbolic links",
                 unlessOnlyRead("Too many levels of symbolic links"));
}

TEST_P(ZqConfigObstacleTest, AFileOfGarbageDoesNoHarm) {
    using namespace std::string_literals;
    expectDefaultsWith([](const fs::path& path) { writeFile(path, "\0\xff\n=\n==\n \n]["s); });
}

TEST_P(ZqConfigObstacleTest, AnOversizedFileIsSkippedWithAWarning) {
    expectUnread(
        [](const fs::path& path) { writeFile(path, "ZQ_MODEL=x\n" + std::string(1 << 20, '\n')); },
        "File too large");
}

INSTANTIATE_TEST_SUITE_P(
    AtEachName, ZqConfigObstacleTest,
    testing::Values("etc/tesk_v2.ini", "config/.sw_update.ini", "config/config.ini"),
    [](const auto& name) {
        return std::string(name.index == 0 ? "Main" : name.index == 1 ? "Update" : "Configured");
    });

TEST_F(ZqConfigTest, WriteFileTruncatesTheFile) {
    writeFile(root / "tmp/x.ini", std::string(1000, 'x'));
    ZqConfig::write_file(root / "tmp/x.ini", {{"[A] X", "1"}});
    EXPECT_EQ("\n[A]\n\t X=1\n\n", readFile(root / "tmp/x.ini"));
}

TEST_F(ZqConfigTest, WriteFileToNowhereIsLogged) {
    ZqConfig::write_file(root / "no/such/%s", {{"[A] X", "1"}});
    EXPECT_EQ(Lines{notWritten("no/such/%s", "No such file or directory")}, log.lines());
}

TEST_F(ZqConfigTest, ThereIsOneStore) {
    EXPECT_EQ(&getConfig(), &getConfig());
}

}  // namespace
}  // namespace teskd::test
