// Suggestions for the last word of an incomplete command line; the shells' completions call
//
//     dornctl complete -- WORD ...
//
// where the last word is the one that is being typed, or empty. The output has one line for each
// suggestion: the word, a tab, its description. "<file>" alone means any file.
//
// Ownership: refers to a parser of the caller's, which must outlive it. Threads: one user at a
// time. Errors: nothing throws; without an answer of the gateway there are no machine names.

#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "dornctl/Settings.h"

namespace dornctl {

class Completion {
  public:
    Completion(const CLI::App& app, const Settings& settings) : app_(app), settings_(settings) {}

    std::vector<std::string> of(const std::vector<std::string>& words);

  private:
    void pass(const std::string& word);
    const CLI::Option* optionOf(const std::string& word) const;
    void takeHost(const CLI::Option& option, const std::string& value);

    std::vector<std::string> values(const CLI::Option& option) const;
    std::vector<std::string> positionals() const;
    std::vector<std::string> options() const;
    std::vector<std::string> subcommands() const;
    std::vector<std::string> machines() const;

    const CLI::App& app_;
    Settings settings_;
    const CLI::App* subcommand_ = nullptr;
    const CLI::Option* open_ = nullptr;  // whose value is the next word
    std::size_t passed_ = 0;             // positional arguments before the last word
};

}  // namespace dornctl
