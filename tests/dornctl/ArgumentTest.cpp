// Bad arguments: a message that says what was expected, exit status 2, nothing sent.

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
        {{"metres"}, "no subcommand is called \"metres\""},
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
    }
    EXPECT_FALSE(listener.pendingWithin(std::chrono::milliseconds(0)));
}

TEST(DornctlArguments, AHostThatIsNoneIsToldWhatWasExpected) {
    for (const char* host : {"", "x", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:1x",
                             ":5001", "::1:5001"}) {
        const Printed printed = dornctl({"--host", host, "version"});
        EXPECT_EQ(2, printed.status) << host;
        EXPECT_THAT(printed.error,
                    HasSubstr("ADDRESS:PORT is expected, such as 192.168.0.1:5001, not \"" +
                              std::string(host) + '"'));
    }
}

TEST(DornctlArguments, HelpHasExamples) {
    const Printed printed = dornctl({"meters", "--help"});
    EXPECT_EQ(0, printed.status);
    EXPECT_THAT(printed.output, HasSubstr("dornctl --json meters ZA000000001"));
}

TEST(DornctlArguments, HelpAndManualTellWhichParameterDependsOnAnother) {
    EXPECT_THAT(dornctl({"set-parameters", "--help"}).output,
                testing::ContainsRegex("without effect +unless --report is yes"));
    EXPECT_THAT(readFile(DORNCTL_DIRECTORY "/dornctl.1"),
                HasSubstr("has no effect\nunless\n.Fl -report\nis\n.Cm yes"));
}

TEST(DornctlArguments, ManualAndCompletionKnowEverySubcommand) {
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
        EXPECT_THAT(readFile(DORNCTL_DIRECTORY "/dornctl.bash"),
                    testing::ContainsRegex("[ \"]" + name + "[ \"\n]"));
    }
    EXPECT_EQ(17U, count) << help;
}

// What bash offers behind these words, of which the last one is not complete.
std::string completionOf(const std::string& words) {
    ChildProcess::Options options;
    options.command = {"bash", "-c",
                       "source " DORNCTL_DIRECTORY "/dornctl.bash; COMP_WORDS=(" + words +
                           "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
                           "_dornctl dornctl \"${COMP_WORDS[-1]}\" \"${COMP_WORDS[-2]}\"; "
                           "echo \"${COMPREPLY[*]}\""};
    ChildProcess bash(options);
    bash.waitForExit();
    return bash.standardOutput() + bash.standardError();
}

TEST(DornctlArguments, CompletionOffersWhatMayFollow) {
    EXPECT_EQ("meters\n", completionOf("dornctl me"));
    EXPECT_EQ("--parameters\n", completionOf("dornctl --json listen --pa"));
    EXPECT_EQ("yes no\n", completionOf("dornctl set-parameters --report ''"));
    EXPECT_EQ("\n", completionOf("dornctl --host 127"));
    // Words as bash splits them.
    EXPECT_EQ("\n", completionOf("dornctl --host 127.0.0.1 : ''"));
    EXPECT_EQ("\n", completionOf("dornctl --host 127.0.0.1 :"));
    EXPECT_EQ("meters\n", completionOf("dornctl --host 127.0.0.1 : 5001 me"));
    EXPECT_EQ("meters\n", completionOf("dornctl --host = 127.0.0.1 : 5001 me"));
    EXPECT_EQ("yes\n", completionOf("dornctl set-parameters --report = y"));
    EXPECT_EQ("yes no\n", completionOf("dornctl set-parameters --report ="));
    EXPECT_EQ("\n", completionOf("dornctl raw watch --int"));
}

}  // namespace
}  // namespace teskd::test
