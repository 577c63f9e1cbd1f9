#include "bench/SystemCalls.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "support/Deadline.h"

namespace teskd::bench {

namespace {

namespace fs = std::filesystem;

bool isFollowed(const fs::path& task) {
    std::ifstream file(task / "status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("TracerPid:")) return line != "TracerPid:\t0";
    }
    return true;  // it has ended
}

bool areAllFollowed(pid_t pid) {
    const fs::directory_iterator tasks(fs::path("/proc") / std::to_string(pid) / "task");
    return std::all_of(begin(tasks), end(tasks),
                       [](const auto& task) { return isFollowed(task.path()); });
}

// "% time  seconds  usecs/call  calls  [errors]  syscall", and lines of dashes.
SystemCalls::Counts parse(std::istream& summary) {
    constexpr std::size_t CALLS = 3;
    SystemCalls::Counts counts;
    for (std::string line; std::getline(summary, line);) {
        std::istringstream stream(line);
        std::vector<std::string> words;
        for (std::string word; stream >> word;) words.push_back(word);
        const bool isRow = words.size() > CALLS + 1 && words.back() != "total" &&
                           words[CALLS].find_first_not_of("0123456789") == std::string::npos;
        if (isRow) counts[words.back()] = std::stoull(words[CALLS]);
    }
    return counts;
}

}  // namespace

bool SystemCalls::available() {
    return fs::exists("/usr/bin/strace");
}

SystemCalls::SystemCalls(pid_t pid) {
    test::ChildProcess::Options options;
    options.command = {"strace",           "-c", "-f", "-o", directory_ / "summary", "-p",
                       std::to_string(pid)};
    strace_ = std::make_unique<test::ChildProcess>(options);
    const auto settled = [&] { return areAllFollowed(pid) || !strace_->running(); };
    if (!test::eventually(settled) || !strace_->running()) {
        throw std::runtime_error("strace does not follow the daemon: " + strace_->standardError());
    }
}

SystemCalls::Counts SystemCalls::finish() {
    strace_->signal(SIGINT);
    if (!strace_->waitForExit()) throw std::runtime_error("strace does not end");
    std::ifstream summary(directory_ / "summary");
    return parse(summary);
}

}  // namespace teskd::bench
