// The scripts: their help, the groups of packages, and a build without the test frameworks.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

const std::string kScripts = TESKD_SOURCE "/script/";

struct Result {
    int code;
    std::string output;
    std::string error;
};

Result run(const std::vector<std::string>& command,
           const std::map<std::string, std::string>& environment = {}) {
    ChildProcess child({.command = command, .environment = environment});
    const auto status = child.waitForExit();
    return {status ? status->code : -1, child.standardOutput(), child.standardError()};
}

std::set<std::string> packagesOf(const std::string& group) {
    const Result setup = run({kScripts + "setup", "--list", group});
    EXPECT_EQ(0, setup.code) << setup.error;
    std::istringstream words(setup.output);
    return {std::istream_iterator<std::string>(words), {}};
}

// Only these programs can be found, so that a script that does more than print fails.
void linkPrinters(const fs::path& directory) {
    for (const char* name : {"basename", "bash", "dirname", "python3", "sed"}) {
        fs::create_symlink(std::string("/usr/bin/") + name, directory / name);
    }
}

TEST(ScriptHelp, IsPrintedByEveryScriptAndNothingElseIsDone) {
    const TempDir programs;
    linkPrinters(programs.path());
    for (const fs::directory_entry& script : fs::directory_iterator(kScripts)) {
        for (const char* option : {"-h", "--help"}) {
            const Result help = run({script.path(), option}, {{"PATH", programs.path()}});
            EXPECT_EQ(0, help.code) << script;
            EXPECT_LT(80U, help.output.size()) << script;
            EXPECT_EQ("", help.error) << script;
        }
    }
}

TEST(ScriptSetup, NeedsFewPackagesToBuildAndMoreToTest) {
    const std::set<std::string> build = packagesOf("build");
    const std::set<std::string> test = packagesOf("test");
    const std::set<std::string> all = packagesOf("all");
    EXPECT_THAT(build, IsSupersetOf({"g++", "cmake", "ninja-build", "bubblewrap"}));
    EXPECT_GE(10U, build.size());
    EXPECT_THAT(test, IsSupersetOf(build));
    EXPECT_THAT(test, Contains("libgtest-dev"));
    EXPECT_THAT(test, Not(Contains("clang")));
    EXPECT_THAT(all, IsSupersetOf(test));
    EXPECT_THAT(packagesOf("controller"), IsSupersetOf(all));
}

TEST(ScriptSetup, RefusesAnUnknownGroup) {
    const Result setup = run({kScripts + "setup", "tests"});
    EXPECT_EQ(2, setup.code);
    EXPECT_THAT(setup.error, HasSubstr("'tests' is no group"));
}

TEST(ScriptSetupBuild, IsEnoughForProgramsPackagesAndDemonstration) {
    const TempDir build;
    const Result configured =
        run({"cmake", "-S", TESKD_SOURCE, "-B", build.path(), "-G", "Ninja",
             "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON",
             "-DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON"});
    ASSERT_EQ(0, configured.code) << configured.error;
    EXPECT_THAT(configured.output, HasSubstr("No tests: GoogleTest is not installed"));
    const Result targets = run({"ninja", "-C", build.path(), "-n", "teskd", "tesksim", "dornctl",
                                "teskd-checkconf", "teskd_demo", "packages"});
    EXPECT_EQ(0, targets.code) << targets.output;
}

}  // namespace
}  // namespace teskd::test
