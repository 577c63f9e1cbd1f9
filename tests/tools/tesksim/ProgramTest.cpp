// The simulator as a program: endpoints, live view, end.

#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <unistd.h>

#include "support/ChildProcess.h"
#include "support/Connection.h"
#include "support/Listener.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;

constexpr char kAnswer[] = "113~0034~01.02.26~ZA000000001~00~100~200~1~100~200~0";

ChildProcess::Options tesksim(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TESKSIM);
    ChildProcess::Options options;
    options.command = std::move(arguments);
    return options;
}

bool prints(const ChildProcess& program, const std::string& text) {
    return eventually([&] { return program.standardOutput().find(text) != std::string::npos; });
}

void expectCleanEnd(ChildProcess& program, int signal) {
    program.signal(signal);
    const auto status = program.waitForExit();
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(status->ok()) << status->describe() << program.standardError();
    EXPECT_EQ("", program.standardError());
}

std::string withoutTimes(const std::string& text) {
    return std::regex_replace(text, std::regex("[0-9]{2}:[0-9]{2}:[0-9]{2} "), "<time> ");
}

TEST(TesksimProgram, ShowsWhatIsAskedAndAnsweredInPlainLines) {
    const TempDir directory;
    const std::string file = directory / "scenario.json";
    writeFile(file, R"({"machines": [{"code_id": "ZA000000001", "date": "01.02.26"}]})");
    ChildProcess program(tesksim({"--live", "--scenario", file}));
    ASSERT_TRUE(prints(program, "\n"));
    const std::string port = program.standardOutput().substr(sizeof "machine 1 port " - 1);
    {
        Connection connection = Connection::to(static_cast<std::uint16_t>(std::stoi(port)));
        connection.sendAll("113~0008150~000C~113");
        EXPECT_EQ(kAnswer, connection.readExactly(sizeof kAnswer - 1));
    }
    EXPECT_TRUE(prints(program, "disconnected\n"));
    expectCleanEnd(program, SIGINT);
    const std::string lines = withoutTimes(program.standardOutput());
    EXPECT_EQ(
        "<time> 1 ZA000000001 connected\n"
        "<time> 1 ZA000000001 <- 113~0008\n"
        "<time> 1 ZA000000001 -> " +
            std::string(kAnswer) +
            "\n"
            "<time> 1 ZA000000001 <- 150~000C~113\n"
            "<time> 1 ZA000000001 disconnected\n",
        lines.substr(lines.find('\n') + 1));
}

// The faults that the command line, the scenario and the number of answers switch on and off.
TEST(TesksimProgram, ShowsTheFaultsOfEachMachineAndTheirEnd) {
    const TempDir directory;
    const std::string file = directory / "scenario.json";
    writeFile(file, R"({"machines": [{}, {"faults": [{"at_ms": 1, "delay_ms": 100}]}]})");
    ChildProcess program(
        tesksim({"--live", "--scenario", file, "--command", "cut 1 5", "--command", "ok 1"}));
    EXPECT_TRUE(prints(program, "fault: slow 100\n"));
    expectCleanEnd(program, SIGTERM);
    const std::string lines = withoutTimes(program.standardOutput());
    EXPECT_THAT(lines, HasSubstr("<time> 1 ZA000000001 fault: cut 5\nok\n"
                                 "<time> 1 ZA000000001 fault: none\nok\n"));
    EXPECT_THAT(lines, HasSubstr("<time> 2 ZA000000001 fault: slow 100\n"));
}

TEST(TesksimProgram, SpeaksOnAPseudoTerminalUnderANameOfOurChoice) {
    const TempDir directory;
    const std::string link = directory / "ttyMachine";
    ChildProcess program(tesksim({"--machines", "1", "--tty", "pty:" + link}));
    ASSERT_TRUE(prints(program, "machine 1 tty " + link + "\n"));
    {
        Connection tty(UniqueFd(::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)));
        ASSERT_EQ(8, ::write(tty.fd(), "113~0008", 8));
        std::string answer(52, '\0');
        for (std::size_t filled = 0; filled < answer.size();) {
            const ssize_t count = ::read(tty.fd(), &answer[filled], answer.size() - filled);
            ASSERT_GT(count, 0);
            filled += static_cast<std::size_t>(count);
        }
        EXPECT_EQ("113~0034~15.03.21~ZA000000001~00~100~200~1~100~200~0", answer);
    }
    expectCleanEnd(program, SIGTERM);
    EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST(TesksimProgram, BadArgumentsAndScenariosAreStatus2) {
    const TempDir directory;
    const std::string file = directory / "scenario.json";
    writeFile(file, R"({"machines": [{"port": "x"}]})");
    const std::vector<std::vector<std::string>> all = {
        {"--scenario", file},
        {"--machines", "0"},
        {"--line", "fast"},
        {"--other"},
        {"--machines", "1", "--silent", "2"},
        {"--machines", "1", "--port", "0", "--port", "0"},
        {"--code-id", "TOOLONGPREFIX"},
        {"--command", "silent 1 now", "--command", "nothing 1"},
        {"--command", "slow 1 -5"},
        {"--command", "cut 1 -1"},
        {"--command", "code-id 1"},
        {"--command", "code-id 1 TWELVELETTER"},
        {"--machines", "2", "--tty", "pty:" + file + ".tty", "--tty", "pty:" + file + ".tty"}};
    for (const auto& arguments : all) {
        ChildProcess program(tesksim(arguments));
        EXPECT_EQ(2, program.waitForExit().value_or(ExitStatus{}).code) << arguments.front();
        EXPECT_NE("", program.standardError());
    }
    EXPECT_FALSE(std::filesystem::is_symlink(file + ".tty"));
    ChildProcess program(tesksim({"--scenario", file}));
    ASSERT_TRUE(program.waitForExit().has_value());
    EXPECT_EQ("tesksim: " + file +
                  ": line 1: machines[0].port: a whole number from 0 to 65535 is expected\n",
              program.standardError());
}

TEST(TesksimProgram, TellsWhatWasExpectedOfAnArgument) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> all = {
        {{"--port", "x"}, "--port: Value x not in range 0 to 65535"},
        {{"--silent", "x"}, "--silent: Value x not in range 1 to 99"},
        {{"--seed", "x"}, "--seed: Value x not in range 0 to 4294967295"},
        {{"--machines", "2", "--port", "2100", "--port", "2100"}, "two machines are on port 2100"},
        {{"--command", "bogus"}, "error: bogus: no such command"},
        {{"--command", "show"},
         "error: show: the number of a machine is missing; machines are 1 to "},
        {{"--command", "silent x"}, "error: silent x: 'x' is no machine; machines are 1 to "},
        {{"--command", "silent 1x"}, "error: silent 1x: '1x' is no machine; machines are 1 to "},
        {{"--command", "length 1 abc"}, "error: length 1 abc: a whole number is expected"},
        {{"--command", "length 1 99999999999"}, "a whole number is expected"},
        {{"--command", "code-id 1"}, "1 to 11 characters are expected"}};
    for (const auto& [arguments, expected] : all) {
        ChildProcess program(tesksim(arguments));
        EXPECT_EQ(2, program.waitForExit().value_or(ExitStatus{}).code);
        EXPECT_NE(std::string::npos, program.standardError().find(expected))
            << program.standardError();
    }
}

TEST(TesksimProgram, EndpointsThatAreNotToBeHadAreNamed) {
    const TempDir directory;
    const std::string none = directory / "ttyNone";
    const std::string file = directory / "file";
    writeFile(file, "");
    const Listener taken;
    const std::string port = std::to_string(taken.port());
    const std::vector<std::pair<std::vector<std::string>, std::string>> all = {
        {{"--machines", "1", "--tty", none}, none + ": No such file or directory"},
        {{"--machines", "1", "--tty", file}, file + ": Inappropriate ioctl for device"},
        {{"--machines", "1", "--port", port}, "port " + port + ": Address already in use"}};
    for (const auto& [arguments, expected] : all) {
        ChildProcess program(tesksim(arguments));
        EXPECT_EQ(1, program.waitForExit().value_or(ExitStatus{}).code) << expected;
        EXPECT_EQ("tesksim: " + expected + "\n", program.standardError());
        EXPECT_EQ("", program.standardOutput());
    }
}

}  // namespace
}  // namespace teskd::test
