// The service as systemd and SysV run it.

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "packaging/InstalledRoot.h"
#include "packaging/Service.h"
#include "packaging/UnitFilter.h"
#include "support/ProcInfo.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

constexpr double kMostExposure = 2.0;

std::string exposure(const fs::path& root) {
    const std::string text = outputOf({"systemd-analyze", "--no-pager", "security", "--offline=yes",
                                       "--root=" + root.string(), "teskd.service"});
    const std::string label = "Overall exposure level for teskd.service: ";
    const std::size_t found = text.find(label);
    return found == std::string::npos ? "none"
                                      : splitWords(text.substr(found + label.size())).front();
}

// The files of the package, and the units and the program of this machine that they refer to.
class ServiceUnit : public testing::Test {
  protected:
    ServiceUnit() {
        outputOf({"dpkg-deb", "--extract", packageFile("teskd"), files_.path()});
        const fs::path units = files_ / "lib/systemd/system";
        for (const fs::directory_entry& entry : fs::directory_iterator("/lib/systemd/system")) {
            if (entry.path().extension() == ".target") fs::copy(entry.path(), units);
        }
        fs::create_directory(files_ / "bin");
        fs::copy_file("/bin/sh", files_ / "bin/sh");
    }

    const TempDir files_;
};

TEST_F(ServiceUnit, IsExposedAsLittleAsTheDocumentationSays) {
    const std::string figure = exposure(files_.path());
    EXPECT_LE(std::stod(figure), kMostExposure);
    EXPECT_THAT(readFile(TESKD_SOURCE "/docs/operation.md"), HasSubstr("**" + figure + "**"));
}

TEST_F(ServiceUnit, IsWellFormed) {
    ChildProcess verification({.command = {"systemd-analyze", "--man=no", "verify", "teskd.service",
                                           "--root=" + files_.path().string()}});
    const auto status = verification.waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(status->ok()) << status->describe();
    EXPECT_EQ("", verification.standardOutput() + verification.standardError());
}

TEST_F(ServiceUnit, LeavesNoPrivilegeButTheClock) {
    const std::string unit = readFile(files_ / "lib/systemd/system/teskd.service");
    for (const char* line : {"\nCapabilityBoundingSet=CAP_SYS_TIME\n", "\nNoNewPrivileges=yes\n",
                             "\nAmbientCapabilities=CAP_SYS_TIME\n", "\nUser=teskd\n",
                             "\nRestart=on-failure\n", "\n#IPAddressAllow="}) {
        EXPECT_THAT(unit, HasSubstr(line));
    }
}

// A root with the daemon in it, whose package was only unpacked.
class ServiceRun : public testing::Test {
  protected:
    ServiceRun() {
        root_.unpack("teskd");
        fs::create_directory(root_ / "config");
    }

    // What the unit does not make read-only. A hyphen is in front of what need not be there.
    Words writablePaths() const {
        Words paths = splitWords(root_.unitSetting("ReadWritePaths"));
        for (std::string& path : paths) path.erase(0, path.starts_with('-') ? 1 : 0);
        return paths;
    }

    InstalledRoot root_;
};

TEST_F(ServiceRun, TheFilterOfSystemCallsForbidsWhatADaemonHasNoUseFor) {
    const UnitFilter filter(root_.unit());
    const auto process = root_.start({"nice", "-n", "5", "true"}, {.filter = filter.file()});
    ASSERT_TRUE(process->waitForExit().has_value());
    EXPECT_THAT(process->standardError(), HasSubstr("Operation not permitted"));
}

TEST_F(ServiceRun, WithWhatTheUnitLeavesItTheDaemonDoesAllItsWork) {
    const UnitFilter filter(root_.unit());
    Service service(root_);
    Words command = {"env", "ASAN_OPTIONS=detect_leaks=0"};  // which would trace the process
    const Words daemon = root_.unitCommand();
    command.insert(command.end(), daemon.begin(), daemon.end());
    service.start(command, {.filter = filter.file(), .writable = writablePaths()});
    ASSERT_TRUE(service.machine().journal().waitForAcknowledgements(1)) << service.story();
    HostClient host(service.port());
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_EQ(0x81, host.readFrame().kind);
    Notifications(service.server()).take(1);  // the daemon has started
    EXPECT_EQ("507-0018-ffffffffff00-FF", ask(host, 507, "-260101000000"));
    EXPECT_TRUE(fs::exists(root_ / "tmp/dump_map.ini"));
    EXPECT_TRUE(fs::exists(root_ / "config/.sw_update.ini"));
    EXPECT_TRUE(service.stop().ok()) << service.story();
}

// Does what the test says, line after line, and says how each line ended. Beside it is a process
// that has ended and is not reaped.
constexpr char kOperator[] =
    "sh -c 'sleep 0 & echo $! >/run/unreaped; echo $$ >/run/stranger; exec sleep 9999' &\n"
    "n=0\n"
    "while n=$((n + 1)); do\n"
    "    while [ ! -e /run/order.$n ]; do sleep 0.02; done\n"
    "    /etc/init.d/teskd $(cat /run/order.$n) </dev/null >/run/said.$n 2>&1\n"
    "    echo $? >/run/ended && mv /run/ended /run/ended.$n\n"
    "done\n";

enum class Programs { Debians, BusyBoxs };

std::string nameOf(const testing::TestParamInfo<Programs>& info) {
    return info.param == Programs::Debians ? "WithDebiansPrograms" : "WithBusyBox";
}

// In a root of its own with processes of its own, where no user but root exists.
class ServiceInitScript : public ServiceRun, public testing::WithParamInterface<Programs> {
  protected:
    ServiceInitScript() {
        if (GetParam() == Programs::BusyBoxs) root_.useBusyBox();
        writeFile(root_ / "etc/default/teskd", "RUN_AS=root\n");
        operator_ = root_.start({"/bin/sh", "-c", kOperator}, {.alone = true});
        service_.configure();
    }
    ~ServiceInitScript() override { operator_->signal(SIGKILL); }

    // The status with which the script ends.
    int order(const std::string& action) {
        const std::string n = "." + std::to_string(++orders_);
        writeFile(root_ / "run/order-", action);
        fs::rename(root_ / "run/order-", root_ / ("run/order" + n));
        const fs::path ended = root_ / ("run/ended" + n);
        if (!eventually([&ended] { return fs::exists(ended); }, std::chrono::seconds(30)))
            return -1;
        return std::stoi(readFile(ended));
    }
    // What the script said to the last order.
    std::string said() const { return readFile(root_ / ("run/said." + std::to_string(orders_))); }
    std::string pidFile() const { return readFile(root_ / "run/teskd.pid"); }
    bool hasPidFile() const { return fs::exists(root_ / "run/teskd.pid"); }
    bool listens() const {
        return eventually([this] { return somebodyListens(service_.port()); });
    }

    Service service_{root_};
    std::unique_ptr<ChildProcess> operator_;
    int orders_ = 0;
};

INSTANTIATE_TEST_SUITE_P(, ServiceInitScript,
                         testing::Values(Programs::Debians, Programs::BusyBoxs), nameOf);

constexpr int kNotRunning = 3;

TEST_P(ServiceInitScript, StartsReportsRestartsAndStops) {
    EXPECT_EQ(kNotRunning, order("status"));
    EXPECT_EQ(0, order("start")) << said();
    EXPECT_EQ(0, order("status")) << said();
    ASSERT_TRUE(service_.machine().journal().waitForAcknowledgements(1)) << said();
    HostClient host(service_.port());
    host.request(1, named("\1", "ZA000000001"));
    EXPECT_EQ(0x81, host.readFrame().kind);
    const std::string before = pidFile();
    EXPECT_EQ(0, order("start")) << "it runs already";
    EXPECT_EQ(before, pidFile());

    EXPECT_EQ(0, order("restart")) << said();
    EXPECT_NE(before, pidFile());
    EXPECT_TRUE(listens());
    EXPECT_EQ(0, order("stop")) << said();
    EXPECT_FALSE(hasPidFile());
    EXPECT_FALSE(somebodyListens(service_.port()));
    EXPECT_EQ(0, order("stop")) << "it does not run any more";
    EXPECT_EQ(kNotRunning, order("status"));
    EXPECT_EQ(3, order("nonsense"));
}

TEST_P(ServiceInitScript, SaysWhatItDoes) {
    order("start");
    EXPECT_THAT(said(), HasSubstr("Starting"));
    order("stop");
    EXPECT_THAT(said(), HasSubstr("Stopping"));
    EXPECT_THAT(said(), testing::Not(HasSubstr("not found")));
}

// After a power cut, on a machine that keeps /run.
TEST_P(ServiceInitScript, APidFileOfAProcessThatIsGoneKeepsNothingFromStarting) {
    constexpr int kEndedByItself = 1;
    writeFile(root_ / "run/teskd.pid", "99999\n");
    EXPECT_EQ(kEndedByItself, order("status"));
    EXPECT_EQ(0, order("start")) << said();
    EXPECT_TRUE(listens());
    EXPECT_EQ(0, order("stop")) << said();
    EXPECT_FALSE(somebodyListens(service_.port()));
}

// In a container process 1 may reap nobody, and numbers of processes come again when it is
// restarted.
TEST_P(ServiceInitScript, AProcessThatHasEndedOrIsAnotherProgramIsNotTheDaemon) {
    constexpr int kEndedByItself = 1;
    for (const char* name : {"run/unreaped", "run/stranger"}) {
        ASSERT_TRUE(eventually(
            [&] { return fs::exists(root_ / name) && !readFile(root_ / name).empty(); }));
        const std::string number = readFile(root_ / name);
        writeFile(root_ / "run/teskd.pid", number);
        EXPECT_EQ(kEndedByItself, order("status")) << said();
        EXPECT_EQ(0, order("stop")) << said();
        EXPECT_EQ(kNotRunning, order("status")) << said();
        EXPECT_EQ(number, readFile(root_ / name));
    }
    EXPECT_EQ(0, order("start")) << said();
    writeFile(root_ / "run/teskd.pid", readFile(root_ / "run/stranger"));
    EXPECT_EQ(kEndedByItself, order("status")) << "it was started at another time: " << said();
}

TEST_P(ServiceInitScript, AStartThatFailsSaysWhy) {
    writeFile(root_ / "config/config.ini", "[INTERNAL]\nTESKv2_ENABLE=yes\n");
    EXPECT_EQ(1, order("start"));
    EXPECT_THAT(said(), HasSubstr("failed"));
    EXPECT_THAT(said(), HasSubstr("\nteskd is disabled: [INTERNAL] TESKv2_ENABLE is \"yes\", not "
                                  "\"true\"; it is set in /etc/tesk_v2.ini or /config/config.ini\n"
                                  "teskd cannot become /usr/bin/notrunning: No such file or "
                                  "directory\n"));
    EXPECT_FALSE(hasPidFile());
    EXPECT_EQ(kNotRunning, order("status"));

    service_.configure();
    EXPECT_EQ(0, order("start")) << said();
    EXPECT_TRUE(listens());
    EXPECT_EQ(0, order("stop")) << said();
}

TEST_P(ServiceInitScript, ADisabledDaemonsProgramIsStoppedAndReplaced) {
    writeFile(root_ / "config/config.ini", "");
    writeScript(root_ / "usr/bin/notrunning", "exec sleep 9999");
    EXPECT_EQ(1, order("start"));
    EXPECT_THAT(said(), HasSubstr("\nteskd is disabled: "));
    const std::string before = pidFile();
    EXPECT_EQ(kNotRunning, order("status"));
    EXPECT_THAT(said(), HasSubstr("teskd is disabled; sleep runs in its place."));
    EXPECT_EQ(0, order("stop")) << said();
    EXPECT_FALSE(hasPidFile());

    EXPECT_EQ(1, order("start"));
    service_.configure();
    EXPECT_EQ(0, order("start")) << said();
    EXPECT_TRUE(listens());
    EXPECT_EQ(0, order("status")) << said();
    EXPECT_EQ(0, order("stop")) << said();
}

// Only the service and root read what it writes, as under systemd.
TEST_P(ServiceInitScript, WhatTheDaemonWritesIsPrivate) {
    order("start");
    ASSERT_TRUE(listens());
    const fs::path dump = root_ / "tmp/dump_map.ini";
    ASSERT_TRUE(eventually([&dump] { return fs::exists(dump); }));
    EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write, fs::status(dump).permissions());
    EXPECT_EQ(0, order("stop")) << said();
}

TEST(ServiceScripts, AreSoundShell) {
    for (const char* script : {"teskd.init", "debian/postinst", "debian/prerm", "debian/postrm"}) {
        outputOf({"shellcheck", "--severity=style", "--exclude=SC1091", "--shell=sh",
                  std::string(TESKD_SOURCE "/packaging/") + script});
    }
}

}  // namespace
}  // namespace teskd::test
