// The sandbox of a daemon under test: its own system log and configuration directories, no
// privileges.
//
// Ownership: plain values. Threads: no state. Errors: std::invalid_argument for options that would
// affect something outside the sandbox.

#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace teskd::test {

// Where the daemon finds /etc, /config and /tmp.
enum class Files {
    TeskdRoot,    // below TESKD_ROOT, in the file system of the machine (read-only)
    PrivateRoot,  // at exactly these paths, in a private root
    EmptyRoot,    // only /etc, in a root with the program, /dev/null and /dev/log
};

// Faults of the disk with the daemon's directories; for Files::TeskdRoot only. Names are relative
// to Sandbox::root, for example "config".
struct Disk {
    std::vector<std::string> readOnly{};
    // Files that are mount points.
    std::vector<std::string> mounted{};
    // Directories on an empty file system of this size in bytes, which ends with the daemon.
    std::map<std::string, std::size_t> limited{};
    // Shell commands that run in Sandbox::root, inside the sandbox, before the daemon starts.
    std::string before{};
    bool isSound() const {
        return readOnly.empty() && mounted.empty() && limited.empty() && before.empty();
    }
};

struct Sandbox {
    Files files = Files::TeskdRoot;
    std::filesystem::path root;        // contains etc, config and tmp; writable for the daemon
    std::filesystem::path logSocket;   // becomes /dev/log; empty for none
    std::filesystem::path notRunning;  // becomes /usr/bin/notrunning; PrivateRoot only
    // Runs a program built for another processor: an absolute path and its arguments.
    std::vector<std::string> emulator{};
    Disk disk{};
};

// The command that runs `program` in the sandbox. It reports the program's process id, as JSON,
// on descriptor 3. Directories listed (with ":") in TESKD_TEST_WRITABLE stay writable.
std::vector<std::string> sandboxCommand(const Sandbox& sandbox,
                                        const std::filesystem::path& program,
                                        const std::vector<std::string>& arguments);

}  // namespace teskd::test
