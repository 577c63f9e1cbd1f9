#include "footprint/ProcessCosts.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace teskd::test {

namespace fs = std::filesystem;

namespace {

// The number behind "name:" in a file of such lines.
std::uint64_t field(const fs::path& file, const std::string& name) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + ":")) return std::stoull(line.substr(name.size() + 1));
    }
    throw std::runtime_error("no " + name + " in " + file.string());
}

}  // namespace

ProcessCosts costsOf(pid_t pid) {
    const fs::path process = fs::path("/proc") / std::to_string(pid);
    ProcessCosts costs;
    costs.residentKilobytes = field(process / "smaps_rollup", "Rss");
    costs.proportionalKilobytes = field(process / "smaps_rollup", "Pss");
    for (const fs::directory_entry& thread : fs::directory_iterator(process / "task")) {
        const pid_t number = std::stoi(thread.path().filename());
        costs.waits[number] = field(thread.path() / "status", "voluntary_ctxt_switches");
    }
    return costs;
}

std::uint64_t wakeUpsBetween(const ProcessCosts& before, const ProcessCosts& after) {
    std::uint64_t count = 0;
    for (const auto& [thread, waits] : after.waits) {
        const auto earlier = before.waits.find(thread);
        count += waits - (earlier == before.waits.end() ? 0 : earlier->second);
    }
    return count;
}

}  // namespace teskd::test
