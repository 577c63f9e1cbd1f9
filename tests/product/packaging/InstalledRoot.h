// A root of its own with a package system in it, in which the packages of this build are installed
// as on a machine: /etc, /var, /run, /config, /tmp and what the packages bring along are its own,
// all programs and libraries else are links to this machine's, which is mounted read-only at /host.
//
// Ownership: the object owns the root. Threads: one user at a time.
// Errors: std::runtime_error, with what the command said, for a command that fails.

#pragma once

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::test {

using Words = std::vector<std::string>;

class InstalledRoot {
  public:
    // Whether the root has what enables services: update-rc.d, invoke-rc.d, deb-systemd-helper.
    enum class Services { Managed, Unmanaged };

    explicit InstalledRoot(Services services = Services::Managed);

    const std::filesystem::path& path() const { return root_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return root_ / name;
    }

    // Installs the packages, "teskd" and "teskd-tools" for example, with what they depend on.
    void install(const Words& packages);
    // Only lays down a package's files.
    void unpack(const std::string& package);
    // From now on the init script's programs are BusyBox's, and what BusyBox lacks is not there.
    void useBusyBox();
    // dpkg with these arguments; what it printed.
    std::string dpkg(const Words& arguments);
    // A command in the root, run to its end; what it printed on standard output.
    std::string run(const Words& command);
    struct Confinement {
        int filter = -1;     // a file with the filter of system calls; -1 for none
        bool alone = false;  // sees no other process, and nothing it started outlives it
        Words writable{};    // the only paths that are not read-only, when there are any
    };
    // The same, started, without any privilege.
    std::unique_ptr<ChildProcess> start(const Words& command, Confinement confinement);
    std::unique_ptr<ChildProcess> start(const Words& command) { return start(command, {}); }

    // Everything in the root but what belongs to the package system, to other programs and to the
    // machine, as paths from the root. Directories end in "/".
    std::set<std::string> content() const;
    // The unit of the service, as installed.
    std::filesystem::path unit() const { return root_ / "lib/systemd/system/teskd.service"; }
    // The value of a setting in it; the last one when there are several.
    std::string unitSetting(const std::string& name) const;
    // What the unit starts, by the name that it gives the process.
    Words unitCommand() const;

  private:
    Words sandbox(const Words& writable) const;
    void makeTree(Services services);
    void makeAccounts();
    void declareInstalled(const std::string& package);

    TempDir temp_;
    std::filesystem::path root_;
    std::set<std::string> declared_;  // packages of this machine that the root has as well
};

// The file of a package: of this build, or in the directory that TESKD_PACKAGES names.
std::filesystem::path packageFile(const std::string& package);
// A field of its description, "Depends" for example.
std::string packageField(const std::string& package, const std::string& field);
// What a command of this machine printed on standard output; std::runtime_error when it fails.
std::string outputOf(const Words& command);
// Words that are separated by blanks.
Words splitWords(const std::string& text);

}  // namespace teskd::test
