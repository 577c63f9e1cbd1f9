// Everything that is installed shows the version that the top-level CMakeLists.txt states.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>

#include "packaging/InstalledRoot.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

using testing::Each;
using testing::SizeIs;

constexpr char kTools[] = "teskd-tools";

// The only place where the number is written.
std::string statedVersion() {
    const std::string lists = readFile(TESKD_SOURCE "/CMakeLists.txt");
    std::smatch match;
    std::regex_search(lists, match, std::regex("\nproject\\(teskd VERSION ([0-9.]+) "));
    return match[1];
}

// The paths in a package that begin so.
Words packaged(const std::string& package, const std::string& start) {
    std::istringstream list(outputOf({"dpkg-deb", "--contents", packageFile(package)}));
    Words paths;
    for (std::string line; std::getline(list, line);) {
        const std::string path = splitWords(line).back().substr(1);
        if (path.starts_with(start) && !path.ends_with('/')) paths.push_back(path);
    }
    return paths;
}

std::string contentOf(const std::string& package, const std::string& path) {
    return outputOf({"/bin/sh", "-c", "dpkg-deb --fsys-tarfile \"$0\" | tar -xO \".$1\"",
                     packageFile(package), path});
}

// The manual pages of a package: what stands at the foot of each.
Words feet(const std::string& package) {
    Words result;
    for (const std::string& page : packaged(package, "/usr/share/man/")) {
        const std::string text = contentOf(package, page);
        std::smatch match;
        std::regex_search(text, match, std::regex("\n\\.Os (.*)\n"));
        result.push_back(match[1]);
    }
    return result;
}

TEST(Version, OfThePackagesIsTheStatedOne) {
    EXPECT_THAT(statedVersion(), testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
    for (const char* package : {"teskd", kTools}) {
        EXPECT_EQ(statedVersion(), packageField(package, "Version")) << package;
    }
}

TEST(Version, StandsAtTheFootOfEveryManualPage) {
    const auto isStated = Each(testing::Eq("teskd " + statedVersion()));
    EXPECT_THAT(feet("teskd"), testing::AllOf(SizeIs(2), isStated));
    EXPECT_THAT(feet(kTools), testing::AllOf(SizeIs(3), isStated));
}

TEST(Version, IsTheNewestOfTheChangeLog) {
    const std::string log = contentOf("teskd", "/usr/share/doc/teskd/CHANGELOG.md");
    std::smatch match;
    std::regex_search(log, match, std::regex("\n## ([0-9.]+)"));
    EXPECT_EQ(statedVersion(), match[1]);
}

TEST(Version, IsPrintedByEveryInstalledTool) {
    InstalledRoot root;
    root.unpack(kTools);
    const Words tools = packaged(kTools, "/usr/bin/");
    EXPECT_THAT(tools, SizeIs(3));
    for (const std::string& tool : tools) {
        const std::string name = tool.substr(tool.rfind('/') + 1);
        EXPECT_EQ(name + " " + statedVersion() + "\n", root.run({tool, "--version"}));
    }
}

}  // namespace
}  // namespace teskd::test
