#include "packaging/UnitFilter.h"

#include <cerrno>
#include <fstream>
#include <map>
#include <memory>
#include <seccomp.h>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include "packaging/InstalledRoot.h"

namespace teskd::test {

namespace {

using Names = std::set<std::string>;
using Filter = std::unique_ptr<void, decltype(&seccomp_release)>;

using Sets = std::map<std::string, Names>;

// All sets of calls that the service manager knows, "@network-io" for example. Sets have sets in
// them.
Sets knownSets() {
    Sets sets;
    std::istringstream list(outputOf({"systemd-analyze", "--no-pager", "syscall-filter"}));
    Names* current = nullptr;
    for (std::string line; std::getline(list, line);) {
        const Words words = splitWords(line);
        if (words.empty() || words.front() == "#") continue;
        if (line.starts_with('@')) {
            current = &sets[words.front()];
        } else if (current != nullptr) {
            current->insert(words.front());
        }
    }
    return sets;
}

// The calls of a set, or the call itself.
Names callsOf(const Sets& sets, const std::string& name) {
    if (!name.starts_with('@')) return {name};
    Names calls;
    for (const std::string& member : sets.at(name)) calls.merge(callsOf(sets, member));
    return calls;
}

// The values of a setting, in the order in which they stand.
Words valuesOf(const std::filesystem::path& unit, const std::string& setting) {
    Words values;
    std::ifstream file(unit);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(setting + "=")) values.push_back(line.substr(setting.size() + 1));
    }
    return values;
}

// Each line adds calls or, with "~" in front, takes them away.
Names allowedCalls(const std::filesystem::path& unit) {
    const Sets sets = knownSets();
    Names allowed = callsOf(sets, "@default");
    for (const std::string& value : valuesOf(unit, "SystemCallFilter")) {
        const bool takes = value.starts_with('~');
        for (const std::string& name : splitWords(value.substr(takes ? 1 : 0))) {
            const Names calls = callsOf(sets, name);
            if (!takes) allowed.insert(calls.begin(), calls.end());
            if (takes)
                std::erase_if(allowed, [&](const auto& call) { return calls.contains(call); });
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

// The third argument of the calls is what the memory may be used for.
void allowMemory(const Filter& filter, const std::filesystem::path& unit) {
    if (valuesOf(unit, "MemoryDenyWriteExecute") != Words{"yes"}) {
        throw std::runtime_error("the unit does not keep memory either writable or executable");
    }
    allow(filter, "mmap", {2, SCMP_CMP_MASKED_EQ, PROT_WRITE, 0});
    allow(filter, "mmap", {2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0});
    allow(filter, "mprotect", {2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0});
}

void allowSockets(const Filter& filter, const std::filesystem::path& unit) {
    const std::map<std::string, scmp_datum_t> families = {
        {"AF_INET", AF_INET}, {"AF_INET6", AF_INET6}, {"AF_UNIX", AF_UNIX}};
    for (const std::string& value : valuesOf(unit, "RestrictAddressFamilies")) {
        for (const std::string& family : splitWords(value)) {
            allow(filter, "socket", {0, SCMP_CMP_EQ, families.at(family), 0});
        }
    }
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
    allowMemory(filter, unit);
    allowSockets(filter, unit);
    check(seccomp_export_bpf(filter.get(), file_.get()));
    ::lseek(file_.get(), 0, SEEK_SET);
}

}  // namespace teskd::test
