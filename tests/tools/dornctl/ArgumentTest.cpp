// Bad arguments: a message that says what was expected, exit status 2, nothing sent.

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "dornctl/Dornctl.h"
#include "support/Listener.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;

struct Bad {
    std::vector<std::string> arguments;
    std::string expected;
};

TEST(DornctlArguments, BadOnesAreToldAndNothingIsSent) {
    Listener listener;
    const std::vector<Bad> all = {
        {{}, "A subcommand is required"},
        {{"metres"},
         "no subcommand is called \"metres\"; did you mean \"meters\"? \"dornctl help\" lists "
         "them"},
        {{"help", "chekcs"}, "no subcommand is called \"chekcs\"; did you mean \"checks\"?"},
        {{"bogus"}, "no subcommand is called \"bogus\"; \"dornctl help\" lists them"},
        {{"meters", "TWELVELETTER"}, "a machine's name of 1 to 11 characters is expected"},
        {{"meters", "A", "B"}, "B"},
        {{"value"}, "CODE is required"},
        {{"value", "256"}, "CODE: a whole number from 1 to 255 is expected, not \"256\""},
        {{"value", "x"}, "a whole number from 1 to 255 is expected, not \"x\""},
        {{"value", "0x10"}, "a whole number from 1 to 255 is expected, not \"0x10\""},
        {{"value", "99999999999999999999"}, "a whole number from 1 to 255 is expected"},
        {{"list-by-fields", "A", "B"}, "MACHINE is required"},
        {{"list-by-fields", "123456789", "B", "M"}, "a text of 1 to 8 characters is expected"},
        {{"list-by-numbers", "1", "65536", "M"}, "Y: a whole number from 0 to 65535 is expected"},
        {{"raw", "", "M"}, "a message of 1 to 65535 bytes, such as 113~0008, is expected"},
        {{"raw", "11", "M"}, "an ID has three digits, such as 113; no machine would answer"},
        {{"raw", "1130~0009", "M"}, "an ID has three digits, such as 113"},
        {{"raw", "X13~0008", "M"}, "an ID has three digits, such as 113"},
        {{"raw", "150", "M"}, "150 is the gateway's acknowledgement, which is not answered"},
        {{"raw", "113~0009", "M"}, "its length is 0008, not 0009"},
        {{"raw", "115~000c~A~B", "M"}, "the length as four hexadecimal digits"},
        {{"raw", "115~000BA~B", "M"}, "the length as four hexadecimal digits"},
        {{"raw", "115~~A\n", "M"}, "a byte 0A, 0D or FF does not reach the machine as it stands"},
        {{"value", "99"}, "an ID has three digits, such as 113; no machine would answer"},
        {{"value", "150", "M"}, "150 is the gateway's acknowledgement, which is not answered"},
        {{"history"}, "MACHINE is required"},
        {{"set-parameters", "--every", "1"}, "is required"},
        {{"set-parameters", "--every", "1", "--report", "1", "--report-unanswered", "no", "--first",
          "1"},
         "\"yes\" or \"no\" is expected, not \"1\""},
        {{"set-clock", "260230000000"}, "a time as YYMMDDhhmmss, from 2000 to 2068, or \"now\" is"},
        {{"set-clock", "991231235959"}, "a time as YYMMDDhhmmss, from 2000 to 2068, or \"now\" is"},
        {{"--host", "127.0.0.1:0", "version"}, "a port other than 0 is expected"},
        {{"listen", "--bind", "localhost:5001"}, "an IPv4 address as a number is expected"},
        {{"listen", "--parameters", "1!2!3!4"}, "parameters such as 5!1!0!2 are expected"},
        {{"watch", "--interval", "99"}, "a whole number from 100 to 86400000 is expected"},
        {{"watch", "--count", "-1"}, "a whole number from 0 to 1000000000 is expected, not \"-1\""},
        {{"--timeout", "0", "version"}, "a whole number from 1 to 86400000 is expected, not \"0\""},
    };
    for (const Bad& bad : all) {
        const Printed printed = dornctl(listener.port(), bad.arguments);
        EXPECT_EQ(2, printed.status) << bad.expected;
        EXPECT_EQ("", printed.output) << bad.expected;
        EXPECT_THAT(printed.error, HasSubstr(bad.expected));
        EXPECT_THAT(printed.error, testing::StartsWith("dornctl: "));
        EXPECT_EQ(1, std::count(printed.error.begin(), printed.error.end(), '\n')) << printed.error;
    }
    EXPECT_FALSE(listener.pendingWithin(std::chrono::milliseconds(0)));
}

TEST(DornctlArguments, AreRefusedInJsonWhereJsonIsAskedFor) {
    EXPECT_EQ(R"({"error":{"time":"TIME","gateway":"127.0.0.1:5001","machine":null,)"
              R"("status":{"code":2,"text":"bad-arguments"},"message":)"
              R"("no subcommand is called \"bogus\"; \"dornctl help\" lists them"}})"
              "\n",
              dornctl({"bogus", "--json"}).error);
}

constexpr char kExpectedHost[] =
    "an address, or ADDRESS:PORT, is expected, such as 192.168.0.1:5001 or [::1]:5001, not \"";

TEST(DornctlArguments, AHostThatIsNoneIsToldWhatWasExpected) {
    for (const char* host :
         {"", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:1x", ":5001", "::1:5001"}) {
        const Printed printed = dornctl({"--host", host, "version"});
        EXPECT_EQ(2, printed.status) << host;
        EXPECT_THAT(printed.error, HasSubstr(kExpectedHost + std::string(host) + '"'));
    }
}

Printed withEnvironment(const std::string& variable, const std::vector<std::string>& arguments) {
    ChildProcess::Options options;
    options.command = {"env", variable, DORNCTL};
    options.command.insert(options.command.end(), arguments.begin(), arguments.end());
    ChildProcess child(options);
    const int status = child.waitForExit().value_or(ExitStatus{}).code;
    return {status, child.standardOutput(), child.standardError()};
}

// 192.0.2.0/24 is nobody's.
TEST(DornctlArguments, AHostNeedsNoPortAndMayStandInTheEnvironment) {
    const std::vector<std::string> shortly = {"--timeout", "1", "version"};
    EXPECT_THAT(withEnvironment("TESKD_HOST=192.0.2.1", shortly).error,
                HasSubstr("no connection: 192.0.2.1:5001: "));
    EXPECT_THAT(withEnvironment("TESKD_HOST=[::1]:1", shortly).error,
                HasSubstr("no connection: [::1]:1: "));
    EXPECT_THAT(
        withEnvironment("TESKD_HOST=x:", {"--host", "192.0.2.1", "--timeout", "1", "version"})
            .error,
        HasSubstr("no connection: 192.0.2.1:5001: "));
    const Printed bad = withEnvironment("TESKD_HOST=x:", shortly);
    EXPECT_EQ(2, bad.status);
    EXPECT_THAT(bad.error, testing::StartsWith("dornctl: TESKD_HOST: "));
    EXPECT_THAT(bad.error, HasSubstr(kExpectedHost + std::string("x:\"")));
}

TEST(DornctlArguments, HelpHasExamples) {
    const Printed printed = dornctl({"meters", "--help"});
    EXPECT_EQ(0, printed.status);
    EXPECT_THAT(printed.output, HasSubstr("dornctl --json meters ZA000000001"));
    EXPECT_EQ(printed.output, dornctl({"help", "meters"}).output);
    EXPECT_EQ(dornctl({"--help"}).output, dornctl({"help"}).output);
}

TEST(DornctlArguments, HelpAndManualTellWhichParameterDependsOnAnother) {
    EXPECT_THAT(dornctl({"set-parameters", "--help"}).output,
                testing::ContainsRegex("only effective with --report +yes"));
    EXPECT_THAT(readFile(DORNCTL_DIRECTORY "/dornctl.1"),
                HasSubstr("has an effect only if\n.Fl -report\nis\n.Cm yes"));
}

TEST(DornctlArguments, ManualKnowsEverySubcommand) {
    const std::string help = dornctl({"--help"}).output;
    std::istringstream lines(help.substr(help.find("Subcommands:")));
    std::string line;
    std::size_t count = 0;
    for (std::getline(lines, line); std::getline(lines, line) && line.starts_with("  ");) {
        const std::string name = line.substr(2, line.find(' ', 2) - 2);
        if (name.empty()) continue;
        ++count;
        EXPECT_THAT(readFile(DORNCTL_DIRECTORY "/dornctl.1"),
                    testing::ContainsRegex("Cm " + name + "( |\n)"));
    }
    EXPECT_EQ(19U, count) << help;
}

}  // namespace
}  // namespace teskd::test
