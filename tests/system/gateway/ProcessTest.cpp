// Command line, enable switch, log and the files that a start writes.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utility>

#include "gateway/Gateway.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;

constexpr int kFailure = 255;

DaemonProcess::Options runOnce(std::vector<std::string> arguments = {}) {
    return daemonOptions({.arguments = std::move(arguments), .waitUntilListening = false});
}

int exitCode(DaemonProcess& daemon) {
    const auto status = daemon.waitForExit();
    return status ? status->code : -1;
}

// Each of these says that something works; there is nothing to say about what does not.
TEST(Process, AGoodStartCanBeToldFromTheLog) {
    Gateway gateway(2);
    gateway.startKnown();
    const std::string started =
        "teskd " PROJECT_VERSION " has started; listening on 127.0.0.1:" +
        std::to_string(gateway.daemon().port()) +
        "; machines: 2; notification server: 127.0.0.1:" + std::to_string(gateway.server().port());
    const auto notice = [&gateway](const std::string& text) {
        return gateway.log().waitForLine(
            [&text](const LogLine& line) { return line.priority == 181 && line.text == text; });
    };
    EXPECT_TRUE(notice(started)) << gateway.log().dump();
    EXPECT_TRUE(notice("'ZA000000001' on serial port 1 answers")) << gateway.log().dump();
    EXPECT_TRUE(notice("'ZA000000002' on serial port 2 answers")) << gateway.log().dump();
    EXPECT_CLEAN_STOP(gateway.daemon());
    EXPECT_EQ(1U, gateway.log().count(" has started; "));
}

TEST(Process, AStartThatServesNobodySaysSo) {
    Gateway gateway(0, Config().set("IP_ADDRESS", "IP_LOCAL", ","), {.waitUntilListening = false});
    gateway.start();
    EXPECT_TRUE(gateway.log().waitFor("has started; listening on nothing; machines: 0;"))
        << gateway.log().dump();
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Process, AnyOtherArgumentPrintsTheUsageAndFails) {
    for (const char* argument : {"-d", "--DEBUG", "--debug=1", "debug", ""}) {
        DaemonProcess daemon(runOnce({argument}), withoutMachines());
        daemon.start();
        EXPECT_EQ(kFailure, exitCode(daemon)) << argument;
        EXPECT_EQ("usage: " + daemonProgram() + " [--debug]", daemon.standardOutput());
        EXPECT_EQ("", daemon.standardError());
        EXPECT_TRUE(daemon.log().lines().empty());
    }
}

TEST(Process, TheUsageIsPrintedByADisabledDaemonToo) {
    DaemonProcess daemon(runOnce({"-d", "--debug"}), Config().remove("INTERNAL", "TESKv2_ENABLE"));
    daemon.start();
    EXPECT_EQ(kFailure, exitCode(daemon));
    EXPECT_EQ("usage: " + daemonProgram() + " [--debug]", daemon.standardOutput());
}

TEST(Process, DebugCopiesTheLogToStandardErrorAndIgnoresFurtherArguments) {
    Gateway gateway(1, {}, {.arguments = {"--debug", "extra"}});
    gateway.startKnown();
    EXPECT_CLEAN_STOP(gateway.daemon());
    const std::string pid = std::to_string(gateway.daemon().pid());
    EXPECT_THAT(gateway.daemon().standardError(),
                testing::HasSubstr(daemonProgram() + "[" + pid +
                                   "]: Generating automatique request "
                                   "for slot machine: 'SlotMachine_1'\n"));
    EXPECT_EQ("", gateway.daemon().standardOutput());
}

TEST(Process, WithoutDebugNothingIsPrinted) {
    Gateway gateway(1);
    gateway.startKnown();
    EXPECT_CLEAN_STOP(gateway.daemon());
    EXPECT_EQ("", gateway.daemon().standardError());
    EXPECT_EQ("", gateway.daemon().standardOutput());
}

TEST(Process, EveryLogLineNamesProgramProcessAndFacility) {
    Gateway gateway(1);
    gateway.startKnown();
    const auto lines = gateway.log().lines();
    EXPECT_FALSE(lines.empty());
    for (const LogLine& line : lines) {
        EXPECT_EQ(daemonProgram(), line.ident) << line.text;
        EXPECT_EQ(gateway.daemon().pid(), line.pid) << line.text;
        EXPECT_EQ(176, line.priority & ~7) << line.text;
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

class ProcessDisabled : public testing::TestWithParam<const char*> {
  protected:
    static Config config() {
        Config config = withoutMachines();
        config.remove("INTERNAL", "TESKv2_ENABLE");
        if (*GetParam() != '\0') config.set("INTERNAL", "TESKv2_ENABLE", GetParam());
        return config;
    }
    // The line of a daemon whose main file holds config().
    static std::string why(const DaemonProcess& daemon) {
        const std::string value = *GetParam() == '\0' ? "false" : GetParam();
        const std::string root = daemon.root();
        return "teskd is disabled: [INTERNAL] TESKv2_ENABLE is \"" + value +
               "\", not \"true\"; it is set in " + root + "/etc/tesk_v2.ini or " + root +
               "/config/config.ini (No such file or directory)\n";
    }
};

TEST_P(ProcessDisabled, BecomesTheOtherProgramWithItsNameAsTheOnlyArgument) {
    DaemonProcess daemon(runOnce({"--debug"}), config());
    fs::create_directories(daemon.root() / "usr/bin");
    fs::copy_file(SHOW_ARGUMENTS, daemon.root() / "usr/bin/notrunning");
    daemon.start();
    EXPECT_EQ(7, exitCode(daemon));
    EXPECT_EQ("0: " + daemonProgram() + "\n", daemon.standardOutput());
    EXPECT_EQ(why(daemon), daemon.standardError());
    EXPECT_TRUE(daemon.log().lines().empty()) << daemon.log().dump();
}

TEST_P(ProcessDisabled, TheOtherProgramMayBeTerminated) {
    DaemonProcess daemon(runOnce(), config());
    writeScript(daemon.root() / "usr/bin/notrunning", "exec cat /proc/self/status");
    daemon.start();
    EXPECT_EQ(0, exitCode(daemon));
    EXPECT_THAT(daemon.standardOutput(), testing::HasSubstr("SigBlk:\t0000000000000000\n"));
}

TEST_P(ProcessDisabled, WithoutTheOtherProgramFails) {
    DaemonProcess daemon(runOnce(), config());
    daemon.start();
    EXPECT_EQ(kFailure, exitCode(daemon));
    EXPECT_EQ("", daemon.standardOutput());
    EXPECT_EQ(why(daemon) + "teskd cannot become " +
                  (daemon.root() / "usr/bin/notrunning").string() + ": No such file or directory\n",
              daemon.standardError());
    EXPECT_TRUE(daemon.log().lines().empty()) << daemon.log().dump();
}

INSTANTIATE_TEST_SUITE_P(Process, ProcessDisabled,
                         testing::Values("", "TRUE", "True", "1", "false", "true yes"),
                         [](const auto& test) { return "Value" + std::to_string(test.index); });

// TESKD_ROOT names a directory that has no settings, or none at all.
TEST(Process, AWrongRootIsToldOnStandardError) {
    DaemonProcess::Options options = runOnce();
    options.arguments = std::exchange(options.emulator, {});
    options.arguments.insert(options.arguments.begin(), "TESKD_ROOT=/nowhere");
    options.arguments.push_back(std::exchange(options.program, "/usr/bin/env"));
    DaemonProcess daemon(options, withoutMachines());
    daemon.start();
    EXPECT_EQ(kFailure, exitCode(daemon));
    EXPECT_EQ(
        "teskd is disabled: [INTERNAL] TESKv2_ENABLE is \"false\", not \"true\"; it is set in "
        "/nowhere/etc/tesk_v2.ini (No such file or directory) or /nowhere/config/config.ini (No "
        "such file or directory)\n"
        "teskd cannot become /nowhere/usr/bin/notrunning: No such file or directory\n",
        daemon.standardError());
}

TEST(Process, ASettingsFileThatMayNotBeReadIsToldOnStandardError) {
    DaemonProcess daemon(runOnce(), withoutMachines());
    writeFile(daemon.root() / "config/config.ini", std::string(2 * 1024 * 1024, '\n'));
    daemon.config().remove("INTERNAL", "TESKv2_ENABLE");
    daemon.start();
    EXPECT_EQ(kFailure, exitCode(daemon));
    EXPECT_THAT(daemon.standardError(),
                testing::HasSubstr("/config/config.ini (File too large)\n"));
}

TEST(Process, WritesTheUpdateStampsAndTheDump) {
    Gateway gateway(1, Config().set("INTERNAL", "SW_UPDATE_B", "211231235959"));
    gateway.start();
    const fs::path root = gateway.daemon().root();
    EXPECT_EQ(
        "\n[INTERNAL]\n"
        "\t SW_UPDATE_A=211231235959\n"
        "\t SW_UPDATE_B=211231235959\n"
        "\n",
        readFile(root / "config/.sw_update.ini"));
    const std::string dump = readFile(root / "tmp/dump_map.ini");
    for (const char* part :
         {"\n[AAMS]\n\t INVIO_APP_COLLEGATI=1\n\t INVIO_NO_APP_COLLEGATI=1\n"
          "\t TMP_APP_ACCENSIONE=0\n\t TMP_APP_COLLEGATI=1\n",
          "\n[INTERNAL]\n\t MAC_ADDR_eth0=ff:ff:ff:ff:ff:00\n\t MAC_ADDR_eth1=ff:ff:ff:ff:ff:01\n"
          "\t SW_UPDATE_A=YYMMDDHHMMSS\n\t SW_UPDATE_B=211231235959\n"
          "\t TESK_CONNECTION_TYPE=3\n\t TESKv2_ENABLE=true\n",
          "\n[PORT_ASYNC4]\n\t BAUDRATE=19200\n\t DATASIZE=8\n\t FLOWCONTROL=No Flow\n"
          "\t IP_ADDRESS=127.0.0.1\n\t PARITY=NONE\n\t STOPSIZE=1\n\t TCP_PORT=2400\n",
          "\n[RICH_ORA]\n\t TOUT_ORA=7200\n"}) {
        EXPECT_THAT(dump, testing::HasSubstr(part));
    }
    EXPECT_EQ(1, std::distance(fs::directory_iterator(root / "config"), fs::directory_iterator()));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Process, LaterFilesOverrideEarlierOnes) {
    Gateway gateway(0, Config().set("INTERNAL", "ZQ_SW_VERSION", "first"));
    gateway.daemon().config().set("INTERNAL", "ZQ_CONFIG_FILE", "main.ini");
    writeFile(gateway.daemon().root() / "config/main.ini", "ZQ_SW_VERSION = last \t\n");
    gateway.start();
    HostClient host = gateway.host();
    host.request(7, "");
    EXPECT_STREQ("last", host.readFrame().body.c_str());
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Process, ABrokenSectionHeaderIsLoggedWithItsFileAndLine) {
    Gateway gateway;
    writeFile(gateway.daemon().root() / "config/config.ini", "[INTERNAL]\n\nA=B\n[OTHER\r\n");
    gateway.start();
    const auto line = gateway.log().waitFor("ZqConfig: Section syntax error");
    ASSERT_TRUE(line.has_value()) << gateway.log().dump();
    EXPECT_EQ(180, line->priority);
    EXPECT_THAT(line->text, testing::EndsWith("/config/config.ini:3"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(Process, NothingInAConfigurationFileKeepsItFromStarting) {
    Gateway gateway;
    const fs::path root = gateway.daemon().root();
    fs::create_directories(root / "config/config.ini");
    std::string rubbish(100000, '=');
    rubbish += std::string("\0%s%n[\n]=[\n====\n", 16) + std::string(70000, '[') + "\n\xFF\xFE";
    writeFile(root / "config/.sw_update.ini", rubbish);
    gateway.start();
    HostClient host = gateway.host();
    host.request(7, "");
    EXPECT_EQ(30U, host.readFrame().body.size());
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
