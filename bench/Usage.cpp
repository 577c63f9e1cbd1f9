#include "bench/Usage.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace teskd::bench {

namespace {

namespace fs = std::filesystem;

// Both kinds of switches have a line of their own, "voluntary_ctxt_switches:" and "nonvoluntary_".
std::uint64_t switchesOf(const fs::path& task) {
    std::ifstream file(task / "status");
    std::uint64_t sum = 0;
    for (std::string line; std::getline(file, line);) {
        const std::size_t found = line.find("voluntary_ctxt_switches:");
        if (found != std::string::npos) sum += std::stoull(line.substr(line.find(':') + 1));
    }
    return sum;
}

std::uint64_t nanosecondsOf(const fs::path& task) {
    std::ifstream file(task / "schedstat");
    std::uint64_t time = 0;
    file >> time;
    return time;
}

}  // namespace

Usage Usage::of(pid_t pid) {
    Usage usage;
    std::error_code gone;
    const fs::path tasks = fs::path("/proc") / std::to_string(pid) / "task";
    for (const auto& task : fs::directory_iterator(tasks, gone)) {
        usage += {nanosecondsOf(task.path()), switchesOf(task.path())};
    }
    return usage;
}

Usage& Usage::operator+=(const Usage& other) {
    nanoseconds += other.nanoseconds;
    switches += other.switches;
    return *this;
}

Usage operator-(const Usage& after, const Usage& before) {
    return {after.nanoseconds - before.nanoseconds, after.switches - before.switches};
}

}  // namespace teskd::bench
