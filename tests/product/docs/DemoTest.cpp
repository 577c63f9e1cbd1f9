// The first page shows what the demonstration prints.

#include <algorithm>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>

#include "docs/Page.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

// A line without what differs from run to run: ports, the process, the directory, today's date,
// which machine answers first, and how wide columns are because of that.
std::string lasting(std::string line) {
    static const std::pair<std::regex, const char*> kChanges[] = {
        {std::regex("process [0-9]+"), "process N"},
        {std::regex("/tmp/[A-Za-z0-9/-]+"), "DIRECTORY"},
        {std::regex("127\\.0\\.0\\.1:[0-9]+"), "ENDPOINT"},
        {std::regex("[0-9]{2}\\.[0-9]{2}\\.[0-9]{2}"), "DATE"},
        {std::regex("[0-9] of 4"), "N of 4"},
        {std::regex("-+"), "-"},
        {std::regex(" +"), " "},
    };
    for (const auto& [what, by] : kChanges) line = std::regex_replace(line, what, by);
    return line;
}

std::set<std::string> linesOf(const std::string& text) {
    std::istringstream in(text);
    std::set<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.insert(lasting(line));
    return lines;
}

TEST(DemoOnTheFirstPage, IsWhatItPrints) {
    TempDir temp;
    ChildProcess::Options options;
    options.command = {TESKD_BUILD "/teskd_demo"};
    options.environment = {{"TMPDIR", temp.path()}};
    ChildProcess demo(options);
    // What follows takes a while, and is not shown.
    const auto ready = [&] {
        return demo.standardOutput().find("\n3. ") != std::string::npos || !demo.running();
    };
    ASSERT_TRUE(eventually(ready));
    const std::set<std::string> printed = linesOf(demo.standardOutput());
    const std::vector<Page::Block> shown = Page("README.md").blocks("demo");
    ASSERT_EQ(1U, shown.size());
    EXPECT_LT(24U, shown.front().lines.size());
    for (const std::string& line : shown.front().lines) {
        EXPECT_LE(1U, printed.count(lasting(" " + line)) + printed.count(lasting(line))) << line;
    }
    demo.signal(SIGTERM);
    EXPECT_TRUE(demo.waitForExit());
}

}  // namespace
}  // namespace teskd::test
