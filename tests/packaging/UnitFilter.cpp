#include "packaging/UnitFilter.h"

#include <cerrno>
#include <fstream>
#include <memory>
#include <seccomp.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include "packaging/InstalledRoot.h"

namespace teskd::test {

namespace {

using Names = std::set<std::string>;
using Filter = std::unique_ptr<void, decltype(&seccomp_release)>;

// The calls of a set, "@network-io" for example, or the call itself.
Names callsOf(const std::string& name) {
    if (!name.starts_with('@')) return {name};
    Names calls;
    std::istringstream list(outputOf({"systemd-analyze", "--no-pager", "syscall-filter", name}));
    std::string line;
    std::getline(list, line);  // the set itself
    while (std::getline(list, line)) {
        const Words words = splitWords(line);
        if (words.empty() || words.front() == "#") continue;
        calls.merge(callsOf(words.front()));
    }
    return calls;
}

// Lines add calls or, with "~" in front, take them away, in the order in which they stand.
Names allowedCalls(const std::filesystem::path& unit) {
    const std::string key = "SystemCallFilter=";
    Names allowed = callsOf("@default");
    std::ifstream file(unit);
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with(key)) continue;
        const bool takes = line.substr(key.size(), 1) == "~";
        for (const std::string& name : splitWords(line.substr(key.size() + (takes ? 1 : 0)))) {
            for (const std::string& call : callsOf(name)) {
                if (takes) {
                    allowed.erase(call);
                } else {
                    allowed.insert(call);
                }
            }
        }
    }
    return allowed;
}

void check(int result) {
    if (result != 0) throw std::runtime_error("the filter of system calls cannot be made");
}

void allow(const Filter& filter, const char* call, const scmp_arg_cmp& condition) {
    const int number = seccomp_syscall_resolve_name(call);
    check(seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, number, 1, &condition));
}

// Memory is never both writable and executable, and sockets are of two kinds.
void allowWithConditions(const Filter& filter) {
    allow(filter, "mmap", SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_WRITE, 0));
    allow(filter, "mmap", SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
    allow(filter, "mprotect", SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
    allow(filter, "socket", SCMP_A0(SCMP_CMP_EQ, AF_INET));
    allow(filter, "socket", SCMP_A0(SCMP_CMP_EQ, AF_UNIX));
}

}  // namespace

UnitFilter::UnitFilter(const std::filesystem::path& unit)
    : file_(::memfd_create("filter", MFD_CLOEXEC)) {
    const Filter filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)), seccomp_release);
    const Names conditional = {"mmap", "mprotect", "socket"};
    for (const std::string& name : allowedCalls(unit)) {
        const int number = seccomp_syscall_resolve_name(name.c_str());
        if (number == __NR_SCMP_ERROR || conditional.contains(name)) continue;
        check(seccomp_rule_add(filter.get(), SCMP_ACT_ALLOW, number, 0));
    }
    allowWithConditions(filter);
    check(seccomp_export_bpf(filter.get(), file_.get()));
    ::lseek(file_.get(), 0, SEEK_SET);
}

}  // namespace teskd::test
