#include "docs/Page.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "support/TempDir.h"

namespace teskd::test {

namespace {

constexpr char kFence[] = "```";

bool isFence(const std::string& text) {
    return text.compare(0, sizeof kFence - 1, kFence) == 0;
}

// Blocks in lists are indented.
std::string withoutIndent(const std::string& line) {
    return line.substr(std::min(line.find_first_not_of(' '), line.size()));
}

}  // namespace

Page::Page(const std::filesystem::path& name) : name_(name), text_(readFile(sourceRoot() / name)) {
    std::istringstream in(text_);
    bool open = false;
    std::size_t number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        const std::string text = withoutIndent(line);
        if (isFence(text)) {
            if (!open) blocks_.push_back({text.substr(sizeof kFence - 1), {}, number});
            open = !open;
        } else if (open) {
            blocks_.back().lines.push_back(text);
        }
    }
    if (open) throw std::runtime_error(place(blocks_.back()) + ": this block does not end");
}

std::vector<Page> Page::all() {
    std::vector<std::filesystem::path> names = {"CONTRIBUTING.md", "README.md"};
    for (const auto& entry : std::filesystem::directory_iterator(sourceRoot() / "docs")) {
        if (entry.path().extension() == ".md") names.push_back("docs" / entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return {names.begin(), names.end()};
}

std::vector<Page::Block> Page::blocks(const std::string& language) const {
    std::vector<Block> result;
    for (const Block& block : blocks_) {
        if (block.language == language) result.push_back(block);
    }
    return result;
}

std::string Page::place(const Block& block) const {
    return name_ + ":" + std::to_string(block.line);
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

std::filesystem::path sourceRoot() {
    return TESKD_SOURCE;
}

}  // namespace teskd::test
