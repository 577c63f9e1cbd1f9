// The power may go at any moment of a start: the next one finds whole files.

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "config/ConfigFile.h"
#include "config/ZqConfig.h"
#include "support/TempDir.h"
#include "support_src/UnitEnvironment.h"
#include "trouble/PowerCut.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;
using testing::AnyOf;
using testing::Eq;
using Content = std::optional<std::string>;

constexpr char kOldStamps[] =
    "\n[INTERNAL]\n\t SW_UPDATE_A=200101000000\n\t SW_UPDATE_B=200101000000\n\n";
constexpr char kNewStamps[] =
    "\n[INTERNAL]\n\t SW_UPDATE_A=261231235959\n\t SW_UPDATE_B=261231235959\n\n";
constexpr unsigned kManyCalls = 1000;

std::vector<fs::path> filesIn(const fs::path& directory) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(directory)) {
        files.push_back(entry.path().filename());
    }
    return files;
}

// Cuts the power at every call in turn, on a new disk every time, until the work gets done.
class PowerCut : public testing::TestWithParam<Unsynced> {
  protected:
    template <typename Try>
    static void atEveryCall(Try attempt) {
        unsigned call = 1;
        while (call < kManyCalls && !attempt(call) && !HasFailure()) ++call;
        EXPECT_LT(call, kManyCalls);
        EXPECT_GT(call, 1U);
    }

    // Whether the file was replaced before the power went; it is whole in any case.
    static bool replacesWithCutAt(unsigned call, const Content& before) {
        const TempDir directory;
        const std::string path = directory / "file.ini";
        if (before) writeFile(path, *before);
        const PowerCutResult result =
            runUntilPowerCut([&] { ConfigFile::replace(path, "new content"); }, call, GetParam());
        const Content found = ConfigFile::read(path);
        EXPECT_THAT(found, AnyOf(Eq(before), Eq("new content"))) << "cut at call " << call;
        EXPECT_TRUE(!result.completed || found == "new content");
        EXPECT_TRUE(ConfigFile::replace(path, "newer"));
        EXPECT_THAT(filesIn(directory.path()), testing::ElementsAre("file.ini"));
        return result.completed;
    }

    // The same for a file that is updated through a link.
    static bool updatesWithCutAt(unsigned call) {
        const TempDir directory;
        const std::string link = directory / "link.ini";
        writeFile(directory / "file.ini", "the old content");
        fs::create_symlink("file.ini", link);
        const PowerCutResult result =
            runUntilPowerCut([&] { ConfigFile::update(link, "new content"); }, call, GetParam());
        const Content found = ConfigFile::read(link);
        EXPECT_THAT(found, AnyOf("the old content", "new content")) << "cut at call " << call;
        EXPECT_TRUE(!result.completed || found == "new content");
        EXPECT_TRUE(ConfigFile::update(link, "newer"));
        EXPECT_TRUE(fs::is_symlink(link));
        EXPECT_THAT(filesIn(directory.path()),
                    testing::UnorderedElementsAre("file.ini", "link.ini"));
        return result.completed;
    }

    // The same for a whole start that has a new stamp and a dump to write.
    static bool startsWithCutAt(unsigned call) {
        const PrivateRoot root;
        writeFile(root / "etc/tesk_v2.ini", "ZQ_CONFIG_FILE=config.ini\n");
        writeFile(root / "config/config.ini", "SW_UPDATE_B=261231235959\n");
        writeFile(root / "config/.sw_update.ini", kOldStamps);
        writeFile(root / "tmp/dump_map.ini", "old dump");
        const PowerCutResult result =
            runUntilPowerCut([] { const ZqConfig config; }, call, GetParam());
        const Content stamps = ConfigFile::read(root / "config/.sw_update.ini");
        const std::string dump = readFile(root / "tmp/dump_map.ini");
        EXPECT_THAT(stamps, AnyOf(Eq(kOldStamps), Eq(kNewStamps))) << "cut at call " << call;
        EXPECT_EQ(result.completed || stamps == kNewStamps, nextStartSeesNoUpdate());
        EXPECT_THAT(dump, AnyOf("old dump", testing::EndsWith("\n\n"))) << "cut at call " << call;
        EXPECT_EQ(kNewStamps, ConfigFile::read(root / "config/.sw_update.ini"));
        EXPECT_THAT(filesIn(root / "config"),
                    testing::UnorderedElementsAre(".sw_update.ini", "config.ini"));
        EXPECT_THAT(filesIn(root / "tmp"), testing::ElementsAre("dump_map.ini"));
        return result.completed;
    }

    static bool nextStartSeesNoUpdate() {
        const ZqConfig next;
        return next.at("[INTERNAL] SW_UPDATE_A") == next.at("[INTERNAL] SW_UPDATE_B");
    }
};

TEST_P(PowerCut, LeavesTheOldFileOrTheNewOne) {
    atEveryCall([](unsigned call) { return replacesWithCutAt(call, "the old content"); });
}

TEST_P(PowerCut, LeavesNoFileOrTheNewOne) {
    atEveryCall([](unsigned call) { return replacesWithCutAt(call, std::nullopt); });
}

TEST_P(PowerCut, LeavesTheOldFileBehindALinkOrTheNewOne) {
    atEveryCall([](unsigned call) { return updatesWithCutAt(call); });
}

TEST_P(PowerCut, AnUpdateIsSeenByTheNextStartUnlessItWasWrittenDown) {
    atEveryCall([](unsigned call) { return startsWithCutAt(call); });
}

std::string nameOfMode(const testing::TestParamInfo<Unsynced>& mode) {
    constexpr const char* kNames[] = {"Kept", "Lost", "Half"};
    return kNames[mode.index];
}

INSTANTIATE_TEST_SUITE_P(Unsynced, PowerCut,
                         testing::Values(Unsynced::Kept, Unsynced::Lost, Unsynced::Half),
                         nameOfMode);

TEST(PowerCutOrderOfCalls, TheFileIsOnTheDiskBeforeItGetsItsNameAndTheNameAfterwards) {
    const TempDir directory;
    const std::string path = directory / "file.ini";
    const PowerCutResult result = runUntilPowerCut(
        [&] { ConfigFile::replace(path, "new content"); }, kManyCalls, Unsynced::Kept);
    ASSERT_TRUE(result.completed);
    std::vector<std::string> changes = result.calls;
    std::erase_if(changes, [](const std::string& call) {
        return call.starts_with("open ") || call.starts_with("close ");
    });
    const std::string name = directory.path().filename();
    EXPECT_THAT(changes,
                testing::ElementsAre("unlink file.ini.teskd.tmp", "write file.ini.teskd.tmp",
                                     "fsync file.ini.teskd.tmp", "rename file.ini.teskd.tmp",
                                     "fsync " + name));
}

}  // namespace
}  // namespace teskd::test
