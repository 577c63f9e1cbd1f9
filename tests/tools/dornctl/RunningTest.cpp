// The subcommands that run until they are ended, and what a terminal shows.

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "dornctl/Dornctl.h"
#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"
#include "support/Listener.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char kListening[] = "dornctl: listening on 127.0.0.1:";

// The port that the tool says it listens on.
std::uint16_t portOf(const ChildProcess& tool) {
    EXPECT_TRUE(eventually([&] { return tool.standardError().ends_with('\n'); }));
    const std::string text = tool.standardError();
    EXPECT_THAT(text, HasSubstr(kListening));
    return static_cast<std::uint16_t>(std::stoi(text.substr(sizeof kListening - 1)));
}

void expectCleanEnd(ChildProcess& tool, int signal) {
    tool.signal(signal);
    const auto status = tool.waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(status->ok()) << status->describe() << tool.standardError();
}

// How the tool ends that is sent a notification.
int statusAfterANotification(ChildProcess& tool) {
    Frame notification{.type = kAamsType, .body = aamsPayload(1, "-0011")};
    UdpPeer daemon;
    daemon.sendTo(portOf(tool), notification.encode());
    return tool.waitForExit().value_or(ExitStatus{}).code;
}

TEST(RunningListen, PrintsAnswersAndKeepsWhatTheGatewaySends) {
    const TempDir directory;
    const std::string file = directory / "kept.jsonl";
    ChildProcess tool({.command = {DORNCTL, "listen", "--bind", "127.0.0.1:0", "--keep", file,
                                   "--parameters", "7!1!0!9"}});
    Gateway gateway(1, Config().server(portOf(tool)));
    gateway.start();

    EXPECT_TRUE(gateway.log().waitFor(
        "AAMS External parameters changed: tmp_app_collegati = 7, invio_app_collegati = 1, "
        "invio_no_app_collegati = 0, tmp_app_accensione = 9"));
    EXPECT_TRUE(eventually(
        [&] { return tool.standardOutput().find("answered: 7!1!0!9\n") != std::string::npos; }));
    expectCleanEnd(tool, SIGTERM);
    EXPECT_THAT(timeless(tool.standardOutput()),
                testing::ContainsRegex(
                    "YYYY-MM-DD hh:mm:ss  127\\.0\\.0\\.1:[0-9]+  notification 2: what are the "
                    "external parameters\\?\n"
                    "  field        value\n"
                    "  -----------  ------------\n"
                    "  MAC address  ffffffffff00\n"
                    "  answered: 7!1!0!9\n"));
    EXPECT_THAT(
        timeless(readFile(file)),
        testing::ContainsRegex("\\{\"time\":\"TIME\",\"from\":\"127.0.0.1:[0-9]+\","
                               "\"identifiers\":\\[0,[12]\\],\"repeated\":false,\"code\":2,"
                               "\"meaning\":\"what are the external "
                               "parameters\\?\",\"mac\":\"ffffffffff00\",\"readings\":\\[\\],"
                               "\"answer\":\"7!1!0!9\"\\}\n"));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// The notification of code 1 that asks for the time, and what is answered.
std::string answerToTheTimeQuestion(const std::vector<std::string>& more) {
    ChildProcess::Options options;
    options.command = {DORNCTL, "--json", "listen", "--bind", "127.0.0.1:0"};
    options.command.insert(options.command.end(), more.begin(), more.end());
    ChildProcess tool(options);
    EXPECT_TRUE(eventually([&] { return tool.standardError().ends_with('\n'); }));
    const auto said = nlohmann::json::parse(tool.standardError(), nullptr, false);
    const std::string address = said.value("listening", "127.0.0.1:1");
    Frame notification{.type = kAamsType, .body = aamsPayload(1, "-MAC")};
    UdpPeer gateway;
    gateway.sendTo(static_cast<std::uint16_t>(std::stoi(address.substr(address.find(':') + 1))),
                   notification.encode());
    EXPECT_TRUE(eventually([&] { return tool.standardOutput().ends_with('\n'); }));
    expectCleanEnd(tool, SIGTERM);
    return nlohmann::json::parse(tool.standardOutput(), nullptr, false).value("answer", "none");
}

TEST(RunningListen, SetsNoClockUnlessItIsAskedTo) {
    EXPECT_EQ("", answerToTheTimeQuestion({}));
    EXPECT_THAT(answerToTheTimeQuestion({"--set-clock"}), testing::MatchesRegex("[0-9]{12}"));
}

TEST(RunningListen, MarksWhatTheGatewaySendsAgain) {
    ChildProcess tool({.command = {DORNCTL, "listen", "--bind", "127.0.0.1:0"}});
    const std::uint16_t port = portOf(tool);
    Frame notification{.type = kAamsType, .identifierB = 7, .body = aamsPayload(1, "-MAC")};
    Frame next = notification;
    next.identifierB = 8;
    UdpPeer gateway;
    for (const Frame& frame : {notification, notification, next}) {
        gateway.sendTo(port, frame.encode());
    }
    UdpPeer stranger;
    stranger.sendTo(port, notification.encode());
    const auto count = [&](const std::string& text) {
        const std::string output = tool.standardOutput();
        std::size_t found = 0;
        for (std::size_t at = 0; (at = output.find(text, at)) != std::string::npos; ++at) ++found;
        return found;
    };
    EXPECT_TRUE(eventually([&] { return count("answered: received\n") == 4; }));
    EXPECT_EQ(1U, count("notification 1: what are date and time? (repeated)\n"));
    expectCleanEnd(tool, SIGTERM);
}

TEST(RunningListen, TellsWhatIsNoNotificationAndGoesOn) {
    ChildProcess tool({.command = {DORNCTL, "listen", "--bind", "127.0.0.1:0"}});
    UdpPeer stranger;
    stranger.sendTo(portOf(tool), "junk");
    EXPECT_TRUE(eventually([&] {
        return tool.standardError().find(" is left unanswered: this is no frame") !=
               std::string::npos;
    }));
    expectCleanEnd(tool, SIGINT);
    EXPECT_EQ("", tool.standardOutput());
}

TEST(RunningListen, TellsWhoSentWhatIsNoNotificationInFewHarmlessCharacters) {
    ChildProcess tool({.command = {DORNCTL, "listen", "--bind", "127.0.0.1:0"}});
    const std::uint16_t port = portOf(tool);
    Frame notification{.type = kAamsType,
                       .body = std::string(4, '\0') + "001-\x1B[2J" + std::string(2000, '9')};
    UdpPeer stranger;
    stranger.sendTo(port, notification.encode());
    EXPECT_TRUE(eventually([&] {
        return tool.standardError().find(
                   "a datagram from 127.0.0.1:" + std::to_string(stranger.port()) +
                   " is left unanswered: not a number in an AAMS message: "
                   "\"\\x1B[2J9") != std::string::npos;
    }));
    expectCleanEnd(tool, SIGINT);
    EXPECT_THAT(tool.standardError(), Not(HasSubstr("\x1B")));
    EXPECT_LT(tool.standardError().size(), 400U);
}

TEST(RunningListen, EndsWhenItsOutputTakesNoMore) {
    ChildProcess tool({.command = {"sh", "-c", DORNCTL " listen --bind 127.0.0.1:0 > /dev/full"}});
    EXPECT_EQ(1, statusAfterANotification(tool));
}

TEST(RunningListen, EndsWhenItsFileTakesNoMore) {
    EXPECT_EQ(1, dornctl({"listen", "--bind", "127.0.0.1:0", "--keep", "/none/file"}).status);

    ChildProcess tool(
        {.command = {DORNCTL, "listen", "--bind", "127.0.0.1:0", "--keep", "/dev/full"}});
    EXPECT_EQ(1, statusAfterANotification(tool));
    EXPECT_THAT(tool.standardError(),
                testing::EndsWith("dornctl: the output or the file cannot be written\n"));
}

TEST(RunningWatch, ShowsTheTableAgainUntilItIsEnded) {
    Gateway gateway(1);
    gateway.startKnown();
    const std::uint16_t port = gateway.daemon().port();
    EXPECT_EQ(R"({"time":"TIME","gateway":"GATEWAY","machines":[{"machine":"ZA000000001","port":1,)"
              R"("known":true,"state":"known"}]})"
              "\n"
              R"({"time":"TIME","gateway":"GATEWAY","machines":[{"machine":"ZA000000001","port":1,)"
              R"("known":true,"state":"known"}]})"
              "\n",
              dornctl(port, {"watch", "--json", "--interval", "100", "--count", "2"}).output);

    ChildProcess tool(dornctlCommand(port, {"watch", "--interval", "86400000"}));
    EXPECT_TRUE(eventually([&] { return tool.standardOutput().ends_with("\n\n"); }));
    EXPECT_EQ("127.0.0.1:" + std::to_string(port) +
                  "  YYYY-MM-DD hh:mm:ss\n"
                  "\n"
                  "machine      serial port  state\n"
                  "-----------  -----------  -----\n"
                  "ZA000000001            1  known\n"
                  "\n",
              timeless(tool.standardOutput()));
    expectCleanEnd(tool, SIGINT);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(RunningWatch, EndsWhileTheGatewayOwesItAnAnswer) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Listener silent;
        ChildProcess tool(dornctlCommand(silent.port(), {"watch", "--timeout", "86400000"}));
        const Connection connection = silent.accept();
        expectCleanEnd(tool, signal);
        EXPECT_EQ("", tool.standardError());
    }
}

// What a terminal gets to see; "script" is one.
std::string onTerminal(const std::string& environment, const std::string& arguments) {
    ChildProcess terminal(
        {.command = {"script", "-qec", "env " + environment + " " DORNCTL " " + arguments,
                     "/dev/null"}});
    EXPECT_TRUE(terminal.waitForExit().has_value());
    return terminal.standardOutput();
}

TEST(RunningColours, AreForTerminalsThatWantThem) {
    Gateway gateway(1);
    gateway.machine(1).setFaults({.silent = true});
    gateway.start();
    const std::string machines =
        "--host 127.0.0.1:" + std::to_string(gateway.daemon().port()) + " machines";
    const std::string colours = onTerminal("-u NO_COLOR TERM=xterm", machines);
    EXPECT_THAT(colours, testing::StartsWith("\x1B[1mmachine        serial port  state\x1B[0m"));
    EXPECT_THAT(colours, HasSubstr("\x1B[31mSlotMachine_1"));
    EXPECT_THAT(onTerminal("-u NO_COLOR TERM=xterm", "bogus"),
                testing::StartsWith("\x1B[1;31mdornctl:\x1B[0m no subcommand"));
    for (const char* const environment : {"NO_COLOR=1 TERM=xterm", "-u NO_COLOR TERM=dumb"}) {
        EXPECT_THAT(onTerminal(environment, machines), Not(HasSubstr("\x1B")));
        EXPECT_THAT(onTerminal(environment, "bogus"), Not(HasSubstr("\x1B")));
    }
    EXPECT_CLEAN_STOP(gateway.daemon());
}

// "script" gives the tool a terminal.
TEST(RunningProgress, IsShownOnATerminalOrWhenItIsAskedFor) {
    Gateway gateway(2);
    gateway.startKnown();
    const std::string command = std::string(DORNCTL) +
                                " --host 127.0.0.1:" + std::to_string(gateway.daemon().port()) +
                                " meters";
    ChildProcess terminal({.command = {"script", "-qec", command, "/dev/null"}});
    ASSERT_TRUE(terminal.waitForExit().has_value());
    EXPECT_THAT(terminal.standardOutput(), HasSubstr("\r\x1B[K2 of 2 machines\r\x1B[K"));
    const Printed plain = dornctl(gateway.daemon().port(), {"meters"});
    EXPECT_EQ("", plain.error);
    EXPECT_THAT(plain.output, Not(HasSubstr(" of ")));
    EXPECT_EQ(R"({"progress":{"time":"TIME","answered":1,"machines":2}})"
              "\n"
              R"({"progress":{"time":"TIME","answered":2,"machines":2}})"
              "\n",
              dornctl(gateway.daemon().port(), {"--json", "--progress", "meters"}).error);
    EXPECT_CLEAN_STOP(gateway.daemon());
}

}  // namespace
}  // namespace teskd::test
