// What bash, zsh and fish offer behind the words of a command line that is not complete.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "dornctl/Dornctl.h"
#include "gateway/Gateway.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using testing::HasSubstr;

std::string outputOf(const std::vector<std::string>& command) {
    ChildProcess shell({.command = command});
    shell.waitForExit();
    return shell.standardOutput() + shell.standardError();
}

// Behind these words, of which the last one is not complete; "dornctl" is what a user types.
std::string inBash(const std::string& line) {
    return outputOf({"bash", "-c",
                     "source " DORNCTL_DIRECTORY "/dornctl.bash; COMP_LINE=$1; "
                     "COMP_POINT=${#COMP_LINE}; current=${COMP_LINE##*[ =:]}; "
                     "_dornctl " DORNCTL " \"$current\" ''; echo \"${COMPREPLY[*]}\"",
                     "bash", line});
}

std::string inFish(const std::string& line) {
    return outputOf({"fish", "--no-config", "-c",
                     "source " DORNCTL_DIRECTORY "/dornctl.fish; function dornctl; " DORNCTL
                     " $argv; end; complete -C $argv[1] | string replace -r '\\t.*' ''",
                     line});
}

// zsh's own part, which shows and filters, is left out.
std::string inZsh(const std::string& line) {
    return outputOf({"zsh", "-fc",
                     "words=(${(z)1}); [[ $1 == *' ' ]] && words+=(''); CURRENT=$#words; "
                     "words[1]=" DORNCTL "; _describe() { print -l -- \"${(@P)2}\"; }; "
                     "_files() { print files; }; compset() { :; }; "
                     "source " DORNCTL_DIRECTORY "/dornctl.zsh",
                     "zsh", line});
}

TEST(DornctlCompletion, OffersWhatMayFollowInBash) {
    EXPECT_EQ("meters\n", inBash("dornctl mete"));
    EXPECT_EQ("--parameters\n", inBash("dornctl --json listen --pa"));
    EXPECT_EQ("yes no\n", inBash("dornctl set-parameters --report "));
    EXPECT_EQ("yes\n", inBash("dornctl set-parameters --report=y"));
    EXPECT_EQ("yes no\n", inBash("dornctl set-parameters --report="));
    EXPECT_EQ("\n", inBash("dornctl --host 127"));
    EXPECT_EQ("\n", inBash("dornctl --host 127.0.0.1:"));
    EXPECT_EQ("meters\n", inBash("dornctl --host 127.0.0.1:5001 mete"));
    EXPECT_EQ("meters\n", inBash("dornctl --host=127.0.0.1:5001 mete"));
    EXPECT_EQ("now\n", inBash("dornctl set-clock "));
    EXPECT_EQ("\n", inBash("dornctl raw watch --int"));
    EXPECT_EQ("identification\n", inBash("dornctl help id"));
    EXPECT_EQ("/proc/cmdline\n", inBash("dornctl listen --keep /proc/cmdli"));
}

TEST(DornctlCompletion, OffersWhatMayFollowInFish) {
    EXPECT_EQ("meters\n", inFish("dornctl mete"));
    EXPECT_EQ("--parameters\n", inFish("dornctl --json listen --pa"));
    EXPECT_EQ("no\nyes\n", inFish("dornctl set-parameters --report "));
    EXPECT_EQ("--report=yes\n", inFish("dornctl set-parameters --report=y"));
    EXPECT_EQ("meters\n", inFish("dornctl --host 127.0.0.1:5001 mete"));
    EXPECT_THAT(inFish("dornctl listen --keep /proc/cmdli"), HasSubstr("/proc/cmdline\n"));
}

TEST(DornctlCompletion, OffersWhatMayFollowInZsh) {
    EXPECT_THAT(inZsh("dornctl me"), HasSubstr("meters:The meters of one machine or of all\n"));
    EXPECT_EQ("yes\nno\n", inZsh("dornctl set-parameters --report "));
    EXPECT_EQ("yes\nno\n", inZsh("dornctl set-parameters --report=y"));
    EXPECT_THAT(inZsh("dornctl watch --in"), HasSubstr("\n--interval:Milliseconds between"));
    EXPECT_EQ("files\n", inZsh("dornctl listen --keep /proc/cmdli"));
}

TEST(DornctlCompletion, OffersTheNamesOfTheGatewaysMachines) {
    Gateway gateway(2);
    gateway.startKnown();
    const std::string host = "dornctl --host 127.0.0.1:" + std::to_string(gateway.daemon().port());
    EXPECT_EQ("ZA000000001 ZA000000002\n", inBash(host + " meters "));
    EXPECT_EQ("ZA000000002\n", inBash(host + " list-by-numbers 1 2 ZA000000002"));
    EXPECT_EQ("ZA000000001\nZA000000002\n", inFish(host + " checks Z"));
    EXPECT_EQ("ZA000000001:serial port 1\nZA000000002:serial port 2\n", inZsh(host + " raw 113 "));
    EXPECT_CLEAN_STOP(gateway.daemon());
}

TEST(DornctlCompletion, OffersNothingWithoutAGateway) {
    const std::string host = "dornctl --host 127.0.0.1:" + std::to_string(freeTcpPort());
    EXPECT_EQ("\n", inBash(host + " meters "));
}

// The other tools' completions list their options by themselves.
TEST(ToolsCompletion, KnowsEveryOption) {
    for (const auto& [program, directory] :
         {std::pair<std::string, std::string>(TESKSIM, "tesksim/tesksim"),
          std::pair<std::string, std::string>(CHECKCONF, "checkconf/teskd-checkconf")}) {
        std::istringstream words(outputOf({program, "--help"}));
        std::size_t options = 0;
        for (std::string word; words >> word;) {
            const std::size_t name = word.find("--");
            if (name == std::string::npos || word.find("Excludes") != std::string::npos) continue;
            const std::string option = word.substr(name + 2, word.find_first_of(",.") - name - 2);
            ++options;
            for (const char* shell : {".bash", ".zsh", ".fish"}) {
                const std::string file = readFile(TOOLS_DIRECTORY "/" + directory + shell);
                EXPECT_THAT(file, testing::ContainsRegex("-(l )?" + option + "([^a-z-]|$)"))
                    << directory << shell;
            }
        }
        EXPECT_GE(options, 3U) << program;
        for (const char* shell : {"bash", "zsh"}) {
            EXPECT_EQ("", outputOf({shell, "-n", TOOLS_DIRECTORY "/" + directory + "." + shell}));
        }
        EXPECT_EQ("", outputOf({"fish", "-n", TOOLS_DIRECTORY "/" + directory + ".fish"}));
    }
}

}  // namespace
}  // namespace teskd::test
