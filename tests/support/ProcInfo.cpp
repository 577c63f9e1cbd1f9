#include "support/ProcInfo.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

namespace teskd::test {

namespace fs = std::filesystem;

namespace {

constexpr char kListening[] = "0A";

fs::path directoryOf(pid_t pid) {
    return fs::path("/proc") / std::to_string(pid);
}

std::vector<fs::path> entries(const fs::path& directory) {
    std::vector<fs::path> result;
    std::error_code error;
    for (fs::directory_iterator it(directory, error), end; !error && it != end;
         it.increment(error)) {
        result.push_back(it->path());
    }
    return result;
}

// The number behind "Name:" in the status file.
std::size_t statusNumber(pid_t pid, const std::string& name) {
    std::ifstream status(directoryOf(pid) / "status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(name + ":", 0) == 0) return std::stoul(line.substr(name.size() + 1));
    }
    return 0;
}

struct ListeningSocket {
    std::uint16_t port = 0;
    std::string inode;
};

std::vector<ListeningSocket> listeningSockets(const fs::path& table) {
    std::vector<ListeningSocket> result;
    std::ifstream file(table);
    std::string line;
    std::getline(file, line);  // column headings
    while (std::getline(file, line)) {
        std::istringstream columns(line);
        const std::vector<std::string> words{std::istream_iterator<std::string>(columns), {}};
        if (words.size() < 10 || words[3] != kListening) continue;
        const std::string port = words[1].substr(words[1].find(':') + 1);
        result.push_back({static_cast<std::uint16_t>(std::stoul(port, nullptr, 16)), words[9]});
    }
    return result;
}

std::set<std::string> openFiles(pid_t pid) {
    std::set<std::string> result;
    for (const fs::path& entry : entries(directoryOf(pid) / "fd")) {
        std::error_code error;
        result.insert(fs::read_symlink(entry, error).string());
    }
    return result;
}

}  // namespace

std::size_t residentKilobytes(pid_t pid) {
    return statusNumber(pid, "VmRSS");
}

std::size_t openDescriptors(pid_t pid) {
    return entries(directoryOf(pid) / "fd").size();
}

std::size_t threadCount(pid_t pid) {
    return statusNumber(pid, "Threads");
}

std::vector<std::string> threadNames(pid_t pid) {
    std::vector<std::string> result;
    for (const fs::path& task : entries(directoryOf(pid) / "task")) {
        std::ifstream file(task / "comm");
        std::string name;
        if (std::getline(file, name)) result.push_back(name);
    }
    return result;
}

std::vector<std::uint64_t> workersBlockedSignals(pid_t pid) {
    constexpr char kLabel[] = "SigBlk:";
    const std::string mainThread = std::to_string(pid);
    std::vector<std::uint64_t> result;
    for (const fs::path& task : entries(directoryOf(pid) / "task")) {
        if (task.filename() == mainThread) continue;
        std::ifstream status(task / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind(kLabel, 0) != 0) continue;
            result.push_back(std::stoull(line.substr(sizeof kLabel - 1), nullptr, 16));
        }
    }
    return result;
}

std::string executable(pid_t pid) {
    std::error_code error;
    return fs::read_symlink(directoryOf(pid) / "exe", error).string();
}

std::vector<std::uint16_t> listeningPorts(pid_t pid) {
    const std::set<std::string> files = openFiles(pid);
    std::vector<std::uint16_t> result;
    for (const ListeningSocket& socket : listeningSockets(directoryOf(pid) / "net/tcp")) {
        if (files.count("socket:[" + socket.inode + "]") != 0) result.push_back(socket.port);
    }
    return result;
}

bool somebodyListens(std::uint16_t port) {
    const auto sockets = listeningSockets("/proc/self/net/tcp");
    return std::any_of(sockets.begin(), sockets.end(),
                       [=](const ListeningSocket& socket) { return socket.port == port; });
}

}  // namespace teskd::test
