// What the pages point to is there.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

#include "docs/Page.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

std::vector<std::string> found(const std::string& text, const std::string& pattern) {
    const std::regex regex(pattern);
    std::vector<std::string> result;
    for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
        result.push_back((*it)[1]);
    }
    return result;
}

TEST(Pages, LinkToFilesThatThereAre) {
    for (const Page& page : Page::all()) {
        const fs::path folder = (sourceRoot() / page.name()).parent_path();
        for (const std::string& link : found(page.text(), "\\]\\(([^)#:]+)\\)")) {
            EXPECT_TRUE(fs::exists(folder / link)) << page.name() << ": " << link;
        }
    }
}

TEST(Pages, NameFilesThatThereAre) {
    static const std::regex kExample("Type9|PacketU6|[Ss]omething");
    const std::string path = "`((?:src|tests|tools|docs|script|fuzz|packaging|bench)/[\\w./-]+)";
    for (const Page& page : Page::all()) {
        for (const std::string& name : found(page.text(), path)) {
            if (std::regex_search(name, kExample)) continue;
            EXPECT_TRUE(fs::exists(sourceRoot() / name)) << page.name() << ": " << name;
        }
    }
}

TEST(Pages, AreAllLinkedFromTheFirst) {
    const std::string readme = Page("README.md").text();
    for (const Page& page : Page::all()) {
        if (page.name() == "README.md") continue;
        EXPECT_THAT(readme, HasSubstr("](" + page.name() + ")"));
    }
}

}  // namespace
}  // namespace teskd::test
