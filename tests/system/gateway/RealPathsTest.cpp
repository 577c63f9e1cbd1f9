// The daemon on its real paths, in a root of its own.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;

TEST(RealPaths, TheDaemonReadsAndWritesItsFiles) {
    Gateway gateway(1, Config().set("INTERNAL", "SW_UPDATE_B", "211231235959"),
                    {.files = Files::PrivateRoot});
    const fs::path root = gateway.daemon().root();
    writeFile(root / "config/config.ini", "ZQ_SW_VERSION=7.7\n");
    writeFile(root / "config/.sw_update.ini", "SW_UPDATE_A=200101000000\n");
    gateway.startKnown();

    HostClient host = gateway.host();
    host.request(7, "");
    EXPECT_STREQ("7.7", host.readFrame().body.c_str());
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_EQ(0x81, host.readFrame().kind);
    Notifications(gateway.server()).take(3);  // the update stamps differed

    EXPECT_THAT(readFile(root / "tmp/dump_map.ini"),
                testing::HasSubstr("\t SW_UPDATE_A=200101000000\n\t SW_UPDATE_B=211231235959\n"));
    EXPECT_THAT(readFile(root / "config/.sw_update.ini"),
                testing::HasSubstr("\t SW_UPDATE_A=211231235959\n\t SW_UPDATE_B=211231235959\n"));
    EXPECT_TRUE(gateway.log().waitFor("Generating automatique request"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

DaemonProcess::Options disabled(const fs::path& notRunning) {
    return daemonOptions(
        {.files = Files::PrivateRoot, .notRunning = notRunning, .waitUntilListening = false});
}

TEST(RealPaths, ADisabledDaemonBecomesTheOtherProgram) {
    DaemonProcess daemon(disabled(SHOW_ARGUMENTS),
                         withoutMachines().set("INTERNAL", "TESKv2_ENABLE", "false"));
    daemon.start();
    const auto status = daemon.waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(7, status->code);
    EXPECT_EQ("0: " + daemonProgram() + "\n", daemon.standardOutput());
}

TEST(RealPaths, ADisabledDaemonWithoutTheOtherProgramFails) {
    DaemonProcess daemon(disabled(""), withoutMachines().set("INTERNAL", "TESKv2_ENABLE", "false"));
    daemon.start();
    const auto status = daemon.waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(255, status->code);
    EXPECT_EQ("", daemon.standardOutput());
}

TEST(RealPaths, ALinkInPlaceOfTheDumpIsNotFollowed) {
    Gateway gateway(0, {}, {.files = Files::PrivateRoot});
    const fs::path root = gateway.daemon().root();
    writeFile(root / "etc/victim", "precious");
    fs::create_symlink("/etc/victim", root / "tmp/dump_map.ini");
    gateway.start();
    EXPECT_EQ("precious", readFile(root / "etc/victim"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(RealPaths, WithoutTheSwitchItIsDisabled) {
    DaemonProcess daemon(disabled(SHOW_ARGUMENTS));
    daemon.config() = Config().remove("INTERNAL", "TESKv2_ENABLE");
    daemon.start();
    const auto status = daemon.waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(7, status->code);
    EXPECT_THAT(readFile(daemon.root() / "tmp/dump_map.ini"),
                testing::HasSubstr("\t TESKv2_ENABLE=false\n"));
}

}  // namespace
}  // namespace teskd::test
