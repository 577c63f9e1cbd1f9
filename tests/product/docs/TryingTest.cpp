// What the first page has a newcomer type works as it stands: the whole block, in a network of its
// own and with a directory of its own in place of build/try.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

#include "docs/Confinement.h"
#include "docs/Page.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

std::string blockWith(const std::string& part) {
    for (const Page::Block& block : Page("README.md").blocks("sh")) {
        const std::string text = joined(block.lines);
        if (text.find(part) != std::string::npos) return text;
    }
    throw std::runtime_error("no block with " + part);
}

// A person waits for some seconds; here it is for what they are about.
constexpr char kUntilMachinesListen[] =
    "for port in 2100 2200 2300; do\n"
    "    until (: < /dev/tcp/127.0.0.1/$$port) 2> /dev/null; do sleep 0.05; done\n"
    "done";
constexpr char kUntilMachinesAreKnown[] =
    "until build/release/dornctl machines 2> /dev/null | grep -c '[0-9]  known' | grep -q 3; do\n"
    "    sleep 0.05\n"
    "done";

std::string withWaits(const std::string& script) {
    const std::string result = std::regex_replace(script, std::regex("sleep 1\n"),
                                                  std::string(kUntilMachinesListen) + "\n");
    return std::regex_replace(result, std::regex("sleep 2\n"),
                              std::string(kUntilMachinesAreKnown) + "\n");
}

TEST(TryingAsTheFirstPageSays, ShowsTheMachinesAndTheirMeters) {
    TempDir temp;
    std::string script = withWaits(blockWith("TESKD_ROOT="));
    script = std::regex_replace(script, std::regex("\\$PWD/build/try"), (temp / "try").string());
    script = std::regex_replace(script, std::regex("build/try"), (temp / "try").string());
    script = std::regex_replace(script, std::regex("build/release"), TESKD_BUILD);
    writeFile(temp / "script", "set -e\ncd '" TESKD_SOURCE "'\n" + script);
    ChildProcess::Options options;
    options.command = confined({"bash", "-m", temp / "script"}, temp.path());
    ChildProcess shell(options);
    const auto status = shell.waitForExit();
    ASSERT_TRUE(status.has_value()) << shell.standardOutput() << shell.standardError();
    const std::string output = shell.standardOutput();
    EXPECT_TRUE(status->ok()) << output << shell.standardError();
    for (const char* name : {"ZA000000001", "ZB000000002", "ZN000000003"}) {
        EXPECT_THAT(output, ContainsRegex(std::string(name) + " +[1-3]  known"));
        EXPECT_THAT(output, ContainsRegex(std::string(name) + "  0 \\(00\\) +[0-9]+ +[0-9]+"));
    }
    EXPECT_THAT(output, HasSubstr("CNTTOTIN"));
}

}  // namespace
}  // namespace teskd::test
