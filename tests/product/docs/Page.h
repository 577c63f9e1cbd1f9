// A page of the documentation: its text and the fenced blocks in it.
//
// Ownership: a plain value. Threads: no state. Errors: reading throws std::runtime_error, also for
// a block that does not end.

#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace teskd::test {

class Page {
  public:
    // What stands between "```language" and "```", its lines without their indent.
    struct Block {
        std::string language;
        std::vector<std::string> lines;
        std::size_t line = 0;  // of the fence that opens it, from 1
    };

    // A file by its name below the root of the sources.
    explicit Page(const std::filesystem::path& name);
    // CONTRIBUTING.md, README.md and every page in docs/.
    static std::vector<Page> all();

    const std::string& name() const { return name_; }
    const std::string& text() const { return text_; }
    const std::vector<Block>& blocks() const { return blocks_; }
    std::vector<Block> blocks(const std::string& language) const;
    // "docs/protocols.md:12", for messages.
    std::string place(const Block& block) const;

  private:
    std::string name_;
    std::string text_;
    std::vector<Block> blocks_;
};

// All lines, each with its end.
std::string joined(const std::vector<std::string>& lines);

// The root of the sources.
std::filesystem::path sourceRoot();

}  // namespace teskd::test
