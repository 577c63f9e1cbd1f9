// The shell commands of the documentation, and who runs each.
//
// Ownership: plain values. Threads: no state. Errors: std::runtime_error for a page that cannot be
// read.

#pragma once

#include <string>
#include <vector>

#include "docs/Page.h"

namespace teskd::test {

struct Command {
    std::string text{};  // in one line, without the "&" of what runs in the background
    std::string place{};

    // Those in the blocks "sh" of a page, in their order.
    static std::vector<Command> of(const Page& page);
    static std::vector<Command> ofAllPages();

    // The words between blanks.
    std::vector<std::string> words() const;
};

// Who runs a command.
struct Runner {
    enum class Kind {
        Nobody,
        HereWithDaemon,  // with a daemon around, as it stands but for addresses and paths
        HereAlone,       // in a sandbox without a network
        Elsewhere,       // it takes minutes or needs a machine of its own
    };
    const char* start;  // of the command, up to the end of a word
    Kind kind;
    const char* why;  // it is not run here, and what runs it instead
};

const std::vector<Runner>& runners();
// The one with the longest start.
Runner runnerOf(const Command& command);

}  // namespace teskd::test
