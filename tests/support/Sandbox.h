// The surroundings in which a daemon under test runs: its own system log, its own configuration
// directories, no privileges.
//
// Ownership: plain values. Threads: no state. Errors: std::invalid_argument for options that
// would reach outside the sandbox.

#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace teskd::test {

// Where the daemon finds /etc, /config and /tmp.
enum class Files {
    TeskdRoot,    // below the directory named by TESKD_ROOT, on the machine's (read-only) tree
    PrivateRoot,  // at those very paths, in a root of the daemon's own
    EmptyRoot,    // /etc alone, in a root that holds the program, /dev/null and /dev/log besides
};

// What is wrong with the disk that the daemon's directories are on. Names are relative to
// Sandbox::root, "config" for example; Files::TeskdRoot only.
struct Disk {
    std::vector<std::string> readOnly{};
    // Files that are mount points, and nothing else is wrong with them.
    std::vector<std::string> mounted{};
    // These are on an empty file system of their own, of so many bytes, which ends with the daemon.
    std::map<std::string, std::size_t> limited{};
    // Shell commands that run in Sandbox::root, inside the sandbox, before the daemon starts.
    std::string before{};
    bool isSound() const {
        return readOnly.empty() && mounted.empty() && limited.empty() && before.empty();
    }
};

struct Sandbox {
    Files files = Files::TeskdRoot;
    std::filesystem::path root;        // holds etc, config and tmp; writable for the daemon
    std::filesystem::path logSocket;   // becomes /dev/log; empty for none
    std::filesystem::path notRunning;  // becomes /usr/bin/notrunning; PrivateRoot only
    // What runs a program built for another processor: an absolute path and its arguments.
    std::vector<std::string> emulator{};
    Disk disk{};
};

// The command that runs `program` in the sandbox. It reports the program's process id, as JSON,
// on descriptor 3. Directories listed (with ":") in TESKD_TEST_WRITABLE stay writable.
std::vector<std::string> sandboxCommand(const Sandbox& sandbox,
                                        const std::filesystem::path& program,
                                        const std::vector<std::string>& arguments);

}  // namespace teskd::test
