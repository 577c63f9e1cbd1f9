#include "core/AvailableMemory.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string_view>
#include <sys/sysinfo.h>

#include "core/SystemPath.h"

namespace teskd {

namespace {

constexpr std::size_t HIGHEST = std::numeric_limits<std::size_t>::max();

std::size_t bytesOf(std::uint64_t count, std::uint64_t unit) {
    if (count > HIGHEST / unit) return HIGHEST;
    return static_cast<std::size_t>(count * unit);
}

std::size_t halfOfTheMachine() {
    struct sysinfo machine {};
    if (::sysinfo(&machine) != 0) return HIGHEST;
    return bytesOf(machine.totalram / 2, machine.mem_unit);
}

}  // namespace

std::size_t availableMemory() {
    constexpr std::string_view KEY = "MemAvailable:";
    constexpr std::uint64_t KILOBYTE = 1024;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(systemPath("/proc/meminfo").c_str(), "re"), &std::fclose);
    char line[128];  // longer than any of the file's
    while (file && std::fgets(line, sizeof line, file.get()) != nullptr) {
        if (!std::string_view(line).starts_with(KEY)) continue;
        char* end = nullptr;
        const std::uint64_t kilobytes = std::strtoull(line + KEY.size(), &end, 10);
        if (end != line + KEY.size()) return bytesOf(kilobytes, KILOBYTE);
    }
    return halfOfTheMachine();
}

}  // namespace teskd
