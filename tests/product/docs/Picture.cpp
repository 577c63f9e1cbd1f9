#include "docs/Picture.h"

#include <gtest/gtest.h>
#include <regex>

#include "support/ChildProcess.h"

namespace teskd::test {

std::vector<std::string> wordsOf(const std::string& svg) {
    static const std::regex kElement("<(title|text)[^>]*>([^<]*)</(?:title|text)>");
    std::vector<std::string> words;
    for (std::sregex_iterator it(svg.begin(), svg.end(), kElement), end; it != end; ++it) {
        words.push_back((*it)[2]);
    }
    return words;
}

std::string render(const std::filesystem::path& dot) {
    ChildProcess child({.command = {"dot", "-Tsvg", dot}});
    const auto status = child.waitForExit();
    EXPECT_TRUE(status && status->ok()) << child.standardError();
    return child.standardOutput();
}

}  // namespace teskd::test
