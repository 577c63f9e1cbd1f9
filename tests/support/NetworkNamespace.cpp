#include "support/NetworkNamespace.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <stdexcept>
#include <unistd.h>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::test {

namespace {

constexpr char kOwnNetwork[] = "/proc/thread-self/ns/net";

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(
        what + ": " + std::strerror(errno) +
        "\nThis test needs a network namespace. Run it as root, or let users make namespaces "
        "(sysctl user.max_user_namespaces, kernel.unprivileged_userns_clone), and make the first "
        "one while the process has one thread.");
}

UniqueFd currentNetwork() {
    UniqueFd fd(::open(kOwnNetwork, O_RDONLY | O_CLOEXEC));
    if (!fd.valid()) fail(kOwnNetwork);
    return fd;
}

void enter(int network) {
    if (::setns(network, CLONE_NEWNET) != 0) fail("setns");
}

void runIp(std::vector<std::string> words) {
    words.insert(words.begin(), "ip");
    ChildProcess program({.command = words});
    const std::optional<ExitStatus> status = program.waitForExit();
    if (status && status->ok()) return;
    std::string text;
    for (const std::string& word : words) text += word + " ";
    throw std::runtime_error(text + "has failed: " + program.standardError());
}

// Makes the process root in a user namespace with this one user, for the rest of its life. Its
// first network namespace replaces that of the machine, which cannot be entered again.
UniqueFd becomePrivileged() {
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) fail("unshare of user and network");
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/uid_map", "0 " + user + " 1");
    writeFile("/proc/self/gid_map", "0 " + group + " 1");
    runIp({"link", "set", "lo", "up"});
    return currentNetwork();
}

}  // namespace

NetworkNamespace::NetworkNamespace() {
    UniqueFd outside = currentNetwork();
    const bool privileged = ::unshare(CLONE_NEWNET) == 0;
    if (!privileged) outside = becomePrivileged();
    if (!privileged && ::unshare(CLONE_NEWNET) != 0) fail("unshare of the network");
    fd_ = currentNetwork();
    enter(outside.get());
    bringUp("lo");
}

NetworkNamespace::Stay::Stay(const NetworkNamespace& where) : before_(currentNetwork()) {
    enter(where.fd_.get());
}

NetworkNamespace::Stay::~Stay() {
    enter(before_.get());
}

void NetworkNamespace::addLink(const std::string& link) const {
    ip({"link", "add", link, "up", "type", "veth", "peer", "name", "far-" + link});
    bringUp("far-" + link);
}

void NetworkNamespace::addCable(const std::string& link, const NetworkNamespace& other,
                                const std::string& otherLink) const {
    ip({"link", "add", link, "up", "type", "veth", "peer", "name", otherLink, "netns",
        other.file()});
    other.bringUp(otherLink);
}

void NetworkNamespace::addAddress(const std::string& link, const std::string& address) const {
    ip({"address", "add", address, "dev", link});
}

void NetworkNamespace::removeAddress(const std::string& link, const std::string& address) const {
    ip({"address", "del", address, "dev", link});
}

void NetworkNamespace::takeDown(const std::string& link) const {
    ip({"link", "set", link, "down"});
}

void NetworkNamespace::bringUp(const std::string& link) const {
    ip({"link", "set", link, "up"});
}

void NetworkNamespace::ip(std::vector<std::string> words) const {
    in([&words] { runIp(std::move(words)); });
}

// The namespace as a file, for child programs.
std::string NetworkNamespace::file() const {
    return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(fd_.get());
}

}  // namespace teskd::test
