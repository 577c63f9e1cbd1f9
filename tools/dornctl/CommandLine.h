// The command line: options, subcommands and their help.
//
// Ownership: the object owns the parser and the parsed values. Threads: one user at a time.
// Errors: nothing throws but std::bad_alloc; run() prints what went wrong.

#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "dornctl/Settings.h"

namespace dornctl {

class CommandLine {
  public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    // Parses the arguments and runs the subcommand. Bad arguments are reported before anything is
    // sent.
    ExitStatus run(int argc, char** argv);

  private:
    void declareOptions();
    void declareHelp();
    // @throws CLI::ParseError for a variable that is not understood
    void takeEnvironment();
    std::vector<std::string> subcommands() const;
    ExitStatus help(const std::string& about);
    ExitStatus complete(const std::vector<std::string>& words);
    ExitStatus refuse(const CLI::ParseError& error);
    ExitStatus obey();
    ExitStatus fail(ExitStatus status, const std::string& what) const;
    ExitStatus failUnknown(const std::string& word) const;

    CLI::App app_;
    Settings settings_;
    Action chosen_;
};

}  // namespace dornctl
