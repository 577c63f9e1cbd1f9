#include "endurance/Endurance.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string_view>

#include "support/TempDir.h"

namespace teskd::test {

bool isFull() {
    const char* const value = std::getenv("TESKD_FULL");
    return value != nullptr && std::string_view(value) == "1";
}

std::size_t scaled(std::size_t full, std::size_t part) {
    return isFull() ? full : std::max<std::size_t>(full / part, 1);
}

void report(const std::string& name, double value, const std::string& unit) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    std::printf("measured: %s = %s %s\n", name.c_str(), text, unit.c_str());
    std::fflush(stdout);
    testing::Test::RecordProperty(name, std::string(text) + " " + unit);
}

Limit::Limit(pid_t pid, __rlimit_resource which, rlim_t value) : pid_(pid), which_(which) {
    EXPECT_EQ(0, ::prlimit(pid_, which_, nullptr, &before_));
    const rlimit limit{value, before_.rlim_max};
    EXPECT_EQ(0, ::prlimit(pid_, which_, &limit, nullptr));
}

Limit::~Limit() {
    ::prlimit(pid_, which_, &before_, nullptr);
}

bool allowDescriptors(rlim_t count) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_max < count) return false;
    limit.rlim_cur = std::max(limit.rlim_cur, count);
    return ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

rlim_t lowestFreeDescriptor(pid_t pid) {
    const std::filesystem::path directory = "/proc/" + std::to_string(pid) + "/fd";
    rlim_t free = 0;
    while (std::filesystem::is_symlink(directory / std::to_string(free))) ++free;
    return free;
}

std::size_t virtualKilobytes(pid_t pid) {
    const std::string status = readFile("/proc/" + std::to_string(pid) + "/status");
    return std::stoul(status.substr(status.find("VmSize:") + 7));
}

void expectVersion(HostClient& host, Deadline deadline) {
    host.request(7, "", 0, 9);
    EXPECT_EQ(9U, host.readFrame(deadline).identifierB);
}

bool isServed(HostClient& host, Deadline deadline) {
    try {
        expectVersion(host, deadline);
        return true;
    } catch (const Timeout&) {
        throw;
    } catch (const std::runtime_error&) {
        return false;
    }
}

}  // namespace teskd::test
