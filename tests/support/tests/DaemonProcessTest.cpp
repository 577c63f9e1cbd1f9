#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdexcept>

#include "support/Connection.h"
#include "support/DaemonProcess.h"
#include "support/ProcInfo.h"

namespace teskd::test {
namespace {

using namespace std::chrono_literals;

DaemonProcess::Options fakeDaemon(std::vector<std::string> arguments = {}) {
    return {.program = FAKE_DAEMON, .arguments = std::move(arguments)};
}

class DaemonProcessIn : public testing::TestWithParam<Files> {};

TEST_P(DaemonProcessIn, StartsListensAndStops) {
    DaemonProcess daemon({.program = FAKE_DAEMON, .files = GetParam()});
    daemon.start();
    EXPECT_NO_THROW(Connection::to(daemon.port()));
    EXPECT_EQ(FAKE_DAEMON, executable(daemon.pid()));
    EXPECT_EQ(1U, daemon.threadCount());
    EXPECT_GT(daemon.residentKilobytes(), 500U);
    EXPECT_CLEAN_STOP(daemon);
    EXPECT_EQ("ended by 15\n", daemon.standardOutput());
    EXPECT_FALSE(daemon.running());
}

TEST_P(DaemonProcessIn, HasItsOwnLogAndFilesAndNoPrivileges) {
    const TempDir outside;
    const std::string probe = outside / "probe";
    DaemonProcess daemon(
        {.program = FAKE_DAEMON, .arguments = {"probe", probe}, .files = GetParam()});
    daemon.start();
    const auto line = daemon.log().waitFor("CapBnd:\t0000000000000000");
    ASSERT_TRUE(line.has_value()) << daemon.log().dump();
    EXPECT_EQ(182, line->priority);
    EXPECT_EQ("fake", line->ident);
    EXPECT_TRUE(daemon.log().waitFor("CapEff:\t0000000000000000").has_value());
    EXPECT_TRUE(daemon.log().waitFor("written outside: 0").has_value()) << daemon.log().dump();
    EXPECT_FALSE(std::filesystem::exists(probe));
    EXPECT_EQ("by the daemon", readFile(daemon.root() / "tmp/written"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/written"));
}

INSTANTIATE_TEST_SUITE_P(EitherRoot, DaemonProcessIn,
                         testing::Values(Files::TeskdRoot, Files::PrivateRoot));

TEST(DaemonProcess, ADiskInTroubleIsTheDaemonsAlone) {
    DaemonProcess daemon({.program = FAKE_DAEMON,
                          .arguments = {"probe", "/nowhere"},
                          .disk = {.limited = {{"tmp", 4096}}, .before = "cat etc/x > config/x"}});
    writeFile(daemon.root() / "etc/x", "content");
    daemon.start();
    EXPECT_EQ(FAKE_DAEMON, executable(daemon.pid()));
    EXPECT_EQ("content", readFile(daemon.root() / "config/x"));
    ASSERT_TRUE(daemon.log().waitFor("written outside: 0").has_value()) << daemon.log().dump();
    EXPECT_EQ("by the daemon", readFile(daemon.rootInside() / "tmp/written"));
    EXPECT_FALSE(std::filesystem::exists(daemon.root() / "tmp/written"));
}

TEST(DaemonProcess, ADiskInTroubleNeedsARootBesideTheMachines) {
    DaemonProcess daemon(
        {.program = FAKE_DAEMON, .files = Files::PrivateRoot, .disk = {.readOnly = {"tmp"}}});
    EXPECT_THROW(daemon.start(), std::invalid_argument);
}

// Standard streams, the log and the listening socket: nothing of the sandbox is left open, nor
// what the test happens to have open.
TEST(DaemonProcess, GetsNoDescriptorsButItsOwn) {
    const UniqueFd inheritable(::fcntl(STDIN_FILENO, F_DUPFD, 50));
    ASSERT_TRUE(inheritable.valid());
    DaemonProcess daemon(fakeDaemon());
    daemon.start();
    EXPECT_EQ(5U, daemon.openDescriptors());
}

TEST(DaemonProcess, StartsAgainOnTheSamePort) {
    DaemonProcess daemon(fakeDaemon());
    daemon.start();
    const std::uint16_t port = daemon.port();
    EXPECT_CLEAN_STOP(daemon);
    daemon.start();
    EXPECT_EQ(port, daemon.port());
    EXPECT_TRUE(daemon.running());
}

TEST(DaemonProcess, ADaemonThatFailsIsReportedWithItsOutput) {
    DaemonProcess daemon(fakeDaemon({"fail"}));
    try {
        daemon.start();
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("cannot work")) << e.what();
    }
    EXPECT_EQ(3, daemon.waitForExit()->code);
}

TEST(DaemonProcess, OneThatIgnoresSigtermIsKilledInTheEnd) {
    pid_t pid = -1;
    {
        DaemonProcess daemon(fakeDaemon({"linger"}));
        daemon.start();
        pid = daemon.pid();
        EXPECT_THROW(daemon.stop(50ms), Timeout);
        EXPECT_TRUE(daemon.running());
    }
    EXPECT_EQ("", executable(pid));
}

TEST(DaemonProcess, ADeathBySignalIsToldFromAnExit) {
    DaemonProcess daemon(fakeDaemon());
    daemon.start();
    daemon.terminate(SIGABRT);
    const auto status = daemon.waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(SIGABRT, status->signal);
    EXPECT_FALSE(status->ok());
}

TEST(DaemonProcess, RunsScriptsThatDoNotListen) {
    const TempDir directory;
    writeScript(directory / "program", "echo \"$1 $TESKD_ROOT\"; echo oops >&2; exit 255\n");
    DaemonProcess daemon(
        {.program = directory / "program", .arguments = {"-d"}, .waitUntilListening = false});
    daemon.start();
    const auto status = daemon.waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(255, status->code);
    EXPECT_EQ("-d " + daemon.root().string() + "\n", daemon.standardOutput());
    EXPECT_EQ("oops\n", daemon.standardError());
}

TEST(DaemonProcess, TheStandInForNotrunningIsFoundInAPrivateRoot) {
    const TempDir directory;
    writeScript(directory / "program", "exec /usr/bin/notrunning now\n");
    writeScript(directory / "standIn", "echo \"not running $1\"\n");
    DaemonProcess::Options options{.program = directory / "program",
                                   .files = Files::PrivateRoot,
                                   .notRunning = directory / "standIn",
                                   .waitUntilListening = false};
    DaemonProcess daemon(options);
    daemon.start();
    ASSERT_TRUE(daemon.waitForExit().has_value());
    EXPECT_EQ("not running now\n", daemon.standardOutput());

    options.files = Files::TeskdRoot;
    DaemonProcess misplaced(options);
    EXPECT_THROW(misplaced.start(), std::invalid_argument);
}

TEST(DaemonProcess, SanitizerReportsAreFound) {
    EXPECT_EQ(std::string::npos, findSanitizerReport("a warning: nothing else"));
    EXPECT_EQ(4U, findSanitizerReport("x.c:WARNING: ThreadSanitizer: data race"));
    const TempDir directory;
    writeScript(directory / "program", "echo 'fine'; echo '1: runtime error: bad' >&2\n");
    DaemonProcess daemon({.program = directory / "program", .waitUntilListening = false});
    daemon.start();
    ASSERT_TRUE(daemon.waitForExit().has_value());
    EXPECT_EQ("runtime error: bad\n", daemon.sanitizerReport());
}

}  // namespace
}  // namespace teskd::test
