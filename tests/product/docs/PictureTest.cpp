// The pictures of the documentation are those of their texts, and name what the sources have.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

#include "docs/Page.h"
#include "docs/Picture.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

std::vector<fs::path> pictures() {
    std::vector<fs::path> result;
    for (const auto& entry : fs::directory_iterator(sourceRoot() / "docs")) {
        if (entry.path().extension() == ".dot") result.push_back(entry.path());
    }
    return result;
}

fs::path svgOf(fs::path dot) {
    return dot.replace_extension(".svg");
}

std::string sources() {
    std::string text;
    for (const auto& entry : fs::recursive_directory_iterator(sourceRoot() / "src")) {
        if (entry.path().extension() == ".h") text += readFile(entry.path());
    }
    return text;
}

TEST(Pictures, AreThoseOfTheirTexts) {
    ASSERT_LE(3U, pictures().size());
    for (const fs::path& dot : pictures()) {
        const std::vector<std::string> words = wordsOf(readFile(svgOf(dot)));
        EXPECT_LT(20U, words.size()) << dot;
        EXPECT_EQ(wordsOf(render(dot)), words) << dot << ": run script/diagrams";
    }
}

TEST(Pictures, AreOnThePageAboutTheArchitecture) {
    const std::string page = Page("docs/architecture.md").text();
    for (const fs::path& dot : pictures()) {
        EXPECT_THAT(page, HasSubstr("](" + svgOf(dot).filename().string() + ")"));
    }
}

TEST(Pictures, NameFunctionsThatTheSourcesHave) {
    static const std::regex kFunction("::([a-z][A-Za-z_]*)");
    const std::string declared = sources();
    for (const fs::path& dot : pictures()) {
        const std::string text = readFile(dot);
        for (std::sregex_iterator it(text.begin(), text.end(), kFunction), end; it != end; ++it) {
            EXPECT_TRUE(std::regex_search(declared, std::regex("\\b" + (*it)[1].str() + "\\(")))
                << dot << ": " << (*it)[1];
        }
    }
}

}  // namespace
}  // namespace teskd::test
