// A daemon whose disk is read-only, full, missing or planted with traps: it serves all the same.

#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <utility>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/TempDir.h"
#include "support/UniqueFd.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr char kUpdateFile[] = "config/.sw_update.ini";
constexpr char kDumpFile[] = "tmp/dump_map.ini";
constexpr char kOldStamps[] = "SW_UPDATE_A=200101000000\nSW_UPDATE_B=200101000000\n";
constexpr char kNewStamps[] =
    "\n[INTERNAL]\n\t SW_UPDATE_A=200101000000\n\t SW_UPDATE_B=200101000000\n\n";
constexpr char kPrecious[] = "precious";
constexpr std::size_t kTinyDisk = 8192;  // two pages
constexpr char kSaveStamps[] =
    "printf 'SW_UPDATE_A=200101000000\\nSW_UPDATE_B=200101000000\\n' > config/.sw_update.ini\n";
constexpr char kSaveDump[] = "printf precious > tmp/dump_map.ini\n";

// A daemon with a machine, on a disk with some trouble. Every test ends with service all the same.
class DiskTrouble : public testing::Test {
  protected:
    // Version 7.7 of the software, from whatever file the configuration is in.
    static Gateway gatewayOn(Disk disk, const char* configFile = "etc/tesk_v2.ini") {
        return Gateway(1, Config().set("INTERNAL", "ZQ_SW_VERSION", "7.7"),
                       {.disk = std::move(disk), .configFile = configFile});
    }

    static void expectService(Gateway& gateway) {
        gateway.awaitKnown();
        HostClient host = gateway.host();
        host.request(7, "");
        EXPECT_STREQ("7.7", host.readFrame().body.c_str());
        host.request(8, "");
        EXPECT_THAT(host.readFrame().body, HasSubstr(codeIdOf(1)));
        host.request(1, named("\1", codeIdOf(1)));
        EXPECT_EQ(0x81, host.readFrame().kind);
        host.request(kAamsType, aamsPayload(506, "-5!1!1!10"));
        EXPECT_EQ("", host.readFrame().body);
        EXPECT_THAT(ask(host, 505), HasSubstr("-5!1!1!10-"));
        EXPECT_CLEAN_STOP(gateway.daemon());
    }

    static void expectLogged(Gateway& gateway, const char* file, const char* reason) {
        const fs::path path = gateway.daemon().root() / file;
        const auto line = gateway.log().waitFor("Cannot write " + path.string());
        ASSERT_TRUE(line.has_value()) << gateway.log().dump();
        EXPECT_EQ(180, line->priority);
        EXPECT_EQ("ZqConfig: Cannot write " + path.string() + ": " + reason, line->text);
    }

    static void expectNothingLogged(Gateway& gateway) {
        EXPECT_EQ(0U, gateway.log().count("Cannot write")) << gateway.log().dump();
    }

    // The content of a file as the running daemon sees it.
    static std::string inside(Gateway& gateway, const char* file) {
        return readFile(gateway.daemon().rootInside() / file);
    }

    static bool existsInside(Gateway& gateway, const std::string& file) {
        return fs::exists(gateway.daemon().rootInside() / file);
    }
};

TEST_F(DiskTrouble, ASoundDiskTakesBothFiles) {
    Gateway gateway = gatewayOn({});
    writeFile(gateway.daemon().root() / kUpdateFile, kOldStamps);
    gateway.start();
    EXPECT_EQ(kNewStamps, inside(gateway, kUpdateFile));
    EXPECT_THAT(inside(gateway, kDumpFile), HasSubstr("\t ZQ_SW_VERSION=7.7\n"));
    expectNothingLogged(gateway);
    expectService(gateway);
}

TEST_F(DiskTrouble, TheConfigurationDirectoryIsReadOnly) {
    Gateway gateway = gatewayOn({.readOnly = {"config"}});
    const fs::path root = gateway.daemon().root();
    writeFile(root / kUpdateFile, kOldStamps);
    gateway.start();
    expectLogged(gateway, kUpdateFile, "Read-only file system");
    EXPECT_EQ(kOldStamps, readFile(root / kUpdateFile));
    EXPECT_TRUE(existsInside(gateway, kDumpFile));
    expectService(gateway);
}

TEST_F(DiskTrouble, TheConfigurationDirectoryIsFull) {
    Gateway gateway =
        gatewayOn({.limited = {{"config", kTinyDisk}},
                   .before = std::string(kSaveStamps) + "cat /dev/zero > config/all 2> /dev/null"});
    gateway.start();
    expectLogged(gateway, kUpdateFile, "No space left on device");
    EXPECT_EQ(kOldStamps, inside(gateway, kUpdateFile));
    EXPECT_FALSE(existsInside(gateway, std::string(kUpdateFile) + ".teskd.tmp"));
    expectService(gateway);
}

// The new stamp needs more room than the old one has, and what stands at the temporary name leaves
// no way but writing in place.
TEST_F(DiskTrouble, TheConfigurationDirectoryIsFullAndTakesNoTemporaryFile) {
    Gateway gateway =
        gatewayOn({.limited = {{"config", kTinyDisk}},
                   .before = std::string(kSaveStamps) + "mkdir config/.sw_update.ini.teskd.tmp\n"
                                                        "cat /dev/zero > config/all 2> /dev/null"},
                  "etc/tesk_v2.ini");
    gateway.daemon().config().set("INTERNAL", "ZQ_CONFIG_FILE", "../etc/more.ini");
    writeFile(gateway.daemon().root() / "etc/more.ini",
              "SW_UPDATE_B=" + std::string(kTinyDisk, '7') + "\n");
    gateway.start();
    expectLogged(gateway, kUpdateFile, "No space left on device");
    EXPECT_EQ(kOldStamps, inside(gateway, kUpdateFile));
    expectService(gateway);
}

TEST_F(DiskTrouble, TheConfigurationDirectoryIsMissing) {
    Gateway gateway = gatewayOn({});
    fs::remove(gateway.daemon().root() / "config");
    gateway.start();
    expectLogged(gateway, kUpdateFile, "No such file or directory");
    EXPECT_FALSE(existsInside(gateway, "config"));
    EXPECT_TRUE(existsInside(gateway, kDumpFile));
    expectService(gateway);
}

TEST_F(DiskTrouble, AFileIsInPlaceOfTheConfigurationDirectory) {
    Gateway gateway = gatewayOn({});
    fs::remove(gateway.daemon().root() / "config");
    writeFile(gateway.daemon().root() / "config", kPrecious);
    gateway.start();
    expectLogged(gateway, kUpdateFile, "Not a directory");
    EXPECT_EQ(kPrecious, inside(gateway, "config"));
    expectService(gateway);
}

TEST_F(DiskTrouble, ADirectoryIsInPlaceOfTheUpdateFile) {
    Gateway gateway = gatewayOn({});
    writeFile(gateway.daemon().root() / kUpdateFile / "file", kPrecious);
    gateway.start();
    expectLogged(gateway, kUpdateFile, "Is a directory");
    EXPECT_EQ(kPrecious, readFile(gateway.daemon().root() / kUpdateFile / "file"));
    expectService(gateway);
}

TEST_F(DiskTrouble, TheUpdateFileIsAMountPoint) {
    Gateway gateway = gatewayOn({.mounted = {kUpdateFile}});
    writeFile(gateway.daemon().root() / kUpdateFile, kOldStamps + std::string(1000, '\n'));
    gateway.start();
    EXPECT_EQ(kNewStamps, inside(gateway, kUpdateFile));
    expectNothingLogged(gateway);
    expectService(gateway);
}

TEST_F(DiskTrouble, TheUpdateFileIsAReadOnlyMountPoint) {
    Gateway gateway = gatewayOn({.readOnly = {kUpdateFile}});
    writeFile(gateway.daemon().root() / kUpdateFile, kOldStamps);
    gateway.start();
    expectLogged(gateway, kUpdateFile, "Read-only file system");
    EXPECT_EQ(kOldStamps, inside(gateway, kUpdateFile));
    EXPECT_FALSE(existsInside(gateway, std::string(kUpdateFile) + ".teskd.tmp"));
    expectService(gateway);
}

TEST_F(DiskTrouble, ALinkKeepsTheStampsOfAReadOnlyConfigurationDirectoryElsewhere) {
    Gateway gateway = gatewayOn({.readOnly = {"config"}});
    const fs::path root = gateway.daemon().root();
    writeFile(root / "data/stamps", kOldStamps);
    ASSERT_EQ(0, ::chmod((root / "data/stamps").c_str(), 0640));
    fs::create_symlink("../data/stamps", root / kUpdateFile);
    gateway.start();
    EXPECT_EQ(kNewStamps, readFile(root / "data/stamps"));
    EXPECT_EQ(fs::perms(0640), fs::status(root / "data/stamps").permissions());
    EXPECT_TRUE(fs::is_symlink(root / kUpdateFile));
    expectNothingLogged(gateway);
    expectService(gateway);
}

TEST_F(DiskTrouble, AHardLinkOfTheUpdateFileStaysOne) {
    Gateway gateway = gatewayOn({});
    const fs::path root = gateway.daemon().root();
    writeFile(root / kUpdateFile, kOldStamps);
    fs::create_hard_link(root / kUpdateFile, root / "config/backup");
    gateway.start();
    EXPECT_EQ(kNewStamps, readFile(root / "config/backup"));
    expectNothingLogged(gateway);
    expectService(gateway);
}

TEST_F(DiskTrouble, WhatCouldNotBeWrittenIsWrittenByTheNextStart) {
    Gateway gateway = gatewayOn({});
    const fs::path root = gateway.daemon().root();
    writeFile(root / kUpdateFile, kOldStamps);
    ::chmod((root / kUpdateFile).c_str(), 0444);
    ::chmod((root / "config").c_str(), 0555);
    gateway.start();
    expectLogged(gateway, kUpdateFile, "Permission denied");
    EXPECT_EQ(kOldStamps, readFile(root / kUpdateFile));
    EXPECT_CLEAN_STOP(gateway.daemon());
    ::chmod((root / "config").c_str(), 0755);
    gateway.log().clear();
    gateway.machine(1).journal().clear();
    gateway.daemon().start();
    EXPECT_EQ(kNewStamps, readFile(root / kUpdateFile));
    expectNothingLogged(gateway);
    expectService(gateway);
}

TEST_F(DiskTrouble, TheTemporaryDirectoryIsReadOnly) {
    Gateway gateway = gatewayOn({.readOnly = {"tmp"}});
    writeFile(gateway.daemon().root() / kDumpFile, kPrecious);
    gateway.start();
    expectLogged(gateway, kDumpFile, "Read-only file system");
    EXPECT_EQ(kPrecious, inside(gateway, kDumpFile));
    expectService(gateway);
}

TEST_F(DiskTrouble, TheTemporaryDirectoryIsFull) {
    Gateway gateway =
        gatewayOn({.limited = {{"tmp", kTinyDisk}},
                   .before = std::string(kSaveDump) + "cat /dev/zero > tmp/all 2> /dev/null"});
    gateway.start();
    expectLogged(gateway, kDumpFile, "No space left on device");
    EXPECT_EQ(kPrecious, inside(gateway, kDumpFile));
    EXPECT_FALSE(existsInside(gateway, std::string(kDumpFile) + ".teskd.tmp"));
    expectService(gateway);
}

TEST_F(DiskTrouble, TheTemporaryDirectoryIsMissing) {
    Gateway gateway = gatewayOn({});
    writeFile(gateway.daemon().root() / kUpdateFile, kOldStamps);
    fs::remove(gateway.daemon().root() / "tmp");
    gateway.start();
    expectLogged(gateway, kDumpFile, "No such file or directory");
    EXPECT_EQ(kNewStamps, inside(gateway, kUpdateFile));
    expectService(gateway);
}

TEST_F(DiskTrouble, BothDirectoriesAreReadOnly) {
    Gateway gateway = gatewayOn({.readOnly = {"config", "tmp", "etc"}});
    gateway.start();
    expectLogged(gateway, kUpdateFile, "Read-only file system");
    expectLogged(gateway, kDumpFile, "Read-only file system");
    expectService(gateway);
}

TEST_F(DiskTrouble, AFileMayHaveNoSizeAtAll) {
    Gateway gateway = gatewayOn({.before = "ulimit -f 0"});
    writeFile(gateway.daemon().root() / kUpdateFile, kOldStamps);
    gateway.start();
    expectLogged(gateway, kUpdateFile, "File too large");
    expectLogged(gateway, kDumpFile, "File too large");
    EXPECT_EQ(kOldStamps, inside(gateway, kUpdateFile));
    expectService(gateway);
}

TEST_F(DiskTrouble, TheOtherProgramIsStillSubjectToTheLimitOfFiles) {
    DaemonProcess daemon(daemonOptions({.waitUntilListening = false}),
                         withoutMachines().set("INTERNAL", "TESKv2_ENABLE", "false"));
    writeScript(daemon.root() / "usr/bin/notrunning", "kill -XFSZ $$\n");
    daemon.start();
    const auto status = daemon.waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(SIGXFSZ, status->signal) << status->describe();
}

// Somebody was at the dump's name before the daemon.
class DiskTroublePlantedDump : public DiskTrouble {
  protected:
    fs::path at(Gateway& gateway, const std::string& file) {
        return gateway.daemon().root() / file;
    }

    static void plantFifo(const fs::path& path) { ASSERT_EQ(0, ::mkfifo(path.c_str(), 0666)); }

    // Leaves no way to replace the dump.
    void blockTemporaryName(Gateway& gateway) {
        fs::create_directory(at(gateway, std::string(kDumpFile) + ".teskd.tmp"));
    }
};

TEST_F(DiskTroublePlantedDump, ALinkIsReplaced) {
    Gateway gateway = gatewayOn({});
    writeFile(at(gateway, "etc/victim"), kPrecious);
    fs::create_symlink("../etc/victim", at(gateway, kDumpFile));
    gateway.start();
    EXPECT_EQ(kPrecious, inside(gateway, "etc/victim"));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(at(gateway, kDumpFile))));
    expectNothingLogged(gateway);
    expectService(gateway);
}

TEST_F(DiskTroublePlantedDump, ALinkThatCannotBeReplacedIsNotFollowed) {
    Gateway gateway = gatewayOn({});
    writeFile(at(gateway, "etc/victim"), kPrecious);
    fs::create_symlink("../etc/victim", at(gateway, kDumpFile));
    blockTemporaryName(gateway);
    gateway.start();
    expectLogged(gateway, kDumpFile, "File exists");
    EXPECT_EQ(kPrecious, inside(gateway, "etc/victim"));
    expectService(gateway);
}

TEST_F(DiskTroublePlantedDump, ALinkToNothingCreatesNothing) {
    Gateway gateway = gatewayOn({});
    fs::create_symlink("../etc/victim", at(gateway, kDumpFile));
    blockTemporaryName(gateway);
    gateway.start();
    expectLogged(gateway, kDumpFile, "File exists");
    EXPECT_FALSE(existsInside(gateway, "etc/victim"));
    expectService(gateway);
}

TEST_F(DiskTroublePlantedDump, ALinkAtTheTemporaryNameIsNotFollowed) {
    Gateway gateway = gatewayOn({});
    writeFile(at(gateway, "etc/victim"), kPrecious);
    fs::create_symlink("../etc/victim", at(gateway, std::string(kDumpFile) + ".teskd.tmp"));
    gateway.start();
    EXPECT_EQ(kPrecious, inside(gateway, "etc/victim"));
    EXPECT_THAT(inside(gateway, kDumpFile), HasSubstr("\t ZQ_SW_VERSION=7.7\n"));
    expectService(gateway);
}

TEST_F(DiskTroublePlantedDump, AFifoIsReplaced) {
    Gateway gateway = gatewayOn({});
    plantFifo(at(gateway, kDumpFile));
    gateway.start();
    EXPECT_THAT(inside(gateway, kDumpFile), HasSubstr("\t ZQ_SW_VERSION=7.7\n"));
    expectNothingLogged(gateway);
    expectService(gateway);
}

TEST_F(DiskTroublePlantedDump, AFifoThatCannotBeReplacedBlocksNobody) {
    Gateway gateway = gatewayOn({});
    plantFifo(at(gateway, kDumpFile));
    blockTemporaryName(gateway);
    gateway.start();
    expectLogged(gateway, kDumpFile, "File exists");
    EXPECT_TRUE(fs::is_fifo(at(gateway, kDumpFile)));
    expectService(gateway);
}

TEST_F(DiskTroublePlantedDump, WhoReadsFromAFifoThatCannotBeReplacedGetsNothing) {
    Gateway gateway = gatewayOn({});
    plantFifo(at(gateway, kDumpFile));
    blockTemporaryName(gateway);
    const UniqueFd reader(::open(at(gateway, kDumpFile).c_str(), O_RDONLY | O_NONBLOCK));
    gateway.start();
    expectLogged(gateway, kDumpFile, "File exists");
    char byte = 0;
    EXPECT_EQ(0, ::read(reader.get(), &byte, 1));
    expectService(gateway);
}

TEST_F(DiskTroublePlantedDump, ADirectoryStaysWithAllThatIsInIt) {
    Gateway gateway = gatewayOn({});
    writeFile(at(gateway, kDumpFile) / "file", kPrecious);
    gateway.start();
    expectLogged(gateway, kDumpFile, "Is a directory");
    EXPECT_EQ(kPrecious, readFile(at(gateway, kDumpFile) / "file"));
    expectService(gateway);
}

TEST_F(DiskTroublePlantedDump, ASecondNameOfSomebodysFileDoesNotLeadToIt) {
    Gateway gateway = gatewayOn({});
    writeFile(at(gateway, "etc/victim"), kPrecious);
    fs::create_hard_link(at(gateway, "etc/victim"), at(gateway, kDumpFile));
    gateway.start();
    EXPECT_EQ(kPrecious, inside(gateway, "etc/victim"));
    EXPECT_THAT(inside(gateway, kDumpFile), HasSubstr("\t ZQ_SW_VERSION=7.7\n"));
    expectNothingLogged(gateway);
    expectService(gateway);
}

TEST_F(DiskTroublePlantedDump, ASecondNameThatCannotBeReplacedIsLeftAlone) {
    Gateway gateway = gatewayOn({});
    writeFile(at(gateway, "etc/victim"), kPrecious);
    fs::create_hard_link(at(gateway, "etc/victim"), at(gateway, kDumpFile));
    blockTemporaryName(gateway);
    gateway.start();
    expectLogged(gateway, kDumpFile, "File exists");
    EXPECT_EQ(kPrecious, inside(gateway, "etc/victim"));
    expectService(gateway);
}

// The main file is no file that can be read; the configured one stands in for it.
class DiskTroubleMainFile : public DiskTrouble {
  protected:
    Gateway gateway_ = gatewayOn({}, "config/config.ini");
    const fs::path main_ = gateway_.daemon().root() / "etc/tesk_v2.ini";

    void expectServiceWithoutIt() {
        gateway_.start();
        expectNothingLogged(gateway_);
        expectService(gateway_);
    }
};

TEST_F(DiskTroubleMainFile, Missing) {
    expectServiceWithoutIt();
    EXPECT_FALSE(fs::exists(main_));
}

TEST_F(DiskTroubleMainFile, MissingWithItsDirectory) {
    fs::remove(main_.parent_path());
    expectServiceWithoutIt();
    EXPECT_FALSE(fs::exists(main_.parent_path()));
}

TEST_F(DiskTroubleMainFile, Unreadable) {
    writeFile(main_, "ZQ_CONFIG_FILE=none\n");
    fs::permissions(main_, fs::perms::none);
    expectServiceWithoutIt();
    fs::permissions(main_, fs::perms::owner_read);
    EXPECT_EQ("ZQ_CONFIG_FILE=none\n", readFile(main_));
}

TEST_F(DiskTroubleMainFile, ADirectory) {
    writeFile(main_ / "file", kPrecious);
    expectServiceWithoutIt();
    EXPECT_EQ(kPrecious, readFile(main_ / "file"));
}

TEST_F(DiskTroubleMainFile, AFifo) {
    ASSERT_EQ(0, ::mkfifo(main_.c_str(), 0666));
    expectServiceWithoutIt();
}

TEST_F(DiskTroubleMainFile, Huge) {
    constexpr std::uintmax_t kTerabyte = std::uintmax_t{1} << 40;
    writeFile(main_, "ZQ_CONFIG_FILE=none\n");
    fs::resize_file(main_, kTerabyte);
    expectServiceWithoutIt();
    EXPECT_EQ(kTerabyte, fs::file_size(main_));
}

}  // namespace
}  // namespace teskd::test
