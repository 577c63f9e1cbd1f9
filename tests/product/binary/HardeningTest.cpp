// What the linker has written into the daemon's file, for this processor or for another.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <string>

#include "gateway/Gateway.h"
#include "support/ChildProcess.h"

namespace teskd::test {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

// What readelf tells about the daemon.
std::string elf(const std::string& question) {
    ChildProcess readelf({.command = {"readelf", "--wide", question, daemonProgram()}});
    const auto status = readelf.waitForExit();
    EXPECT_TRUE(status && status->ok()) << readelf.standardError();
    return readelf.standardOutput();
}

TEST(Hardening, NeedsNoLibraryButThoseOfCAndCpp) {
    static const std::regex library(R"(\(NEEDED\)\s+Shared library: \[([^\]]+)\])");
    const std::string dynamic = elf("--dynamic");
    std::set<std::string> needed;
    for (std::sregex_iterator it(dynamic.begin(), dynamic.end(), library), end; it != end; ++it) {
        needed.insert((*it)[1]);
    }
    EXPECT_THAT(needed, testing::Contains("libc.so.6"));
    for (const char* own : {"libc.so.6", "libm.so.6", "libstdc++.so.6", "libgcc_s.so.1"}) {
        needed.erase(own);
    }
    EXPECT_THAT(needed, testing::Each(testing::MatchesRegex("ld[0-9a-z-]*\\.so\\..*")));
}

TEST(Hardening, MayBeLoadedAnywhere) {
    EXPECT_THAT(elf("--file-header"), ContainsRegex("Type: +DYN"));
    EXPECT_THAT(elf("--dynamic"), ContainsRegex("FLAGS_1.*PIE"));
}

TEST(Hardening, HasATableOfCallsThatIsReadOnlyOnceItRuns) {
    EXPECT_THAT(elf("--program-headers"), HasSubstr("GNU_RELRO"));
    EXPECT_THAT(elf("--dynamic"), HasSubstr("BIND_NOW"));
}

TEST(Hardening, HasNoExecutableStackAndNothingThatIsWritableAndExecutable) {
    const std::string headers = elf("--program-headers");
    EXPECT_THAT(headers, ContainsRegex("GNU_STACK .* RW  "));
    EXPECT_THAT(headers, Not(ContainsRegex(" RWE ")));
}

TEST(Hardening, GuardsItsStackAndChecksItsBuffers) {
    const std::string symbols = elf("--dyn-syms");
    EXPECT_THAT(symbols, HasSubstr("__stack_chk_fail"));
    EXPECT_THAT(symbols, ContainsRegex("__[a-z]+_chk@"));
}

}  // namespace
}  // namespace teskd::test
