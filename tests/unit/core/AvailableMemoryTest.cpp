// How much memory the machine has left for the daemon.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <unistd.h>

#include "core/AvailableMemory.h"
#include "support/TempDir.h"
#include "support_src/UnitEnvironment.h"

namespace teskd::test {
namespace {

class AvailableMemory : public testing::Test {
  protected:
    void tell(const std::string& text) {
        std::filesystem::create_directories(root_ / "proc");
        writeFile(root_ / "proc/meminfo", text);
    }
    static std::size_t halfOfTheMachine() {
        const auto bytes = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
                           static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) / 2;
        constexpr std::uint64_t kHighest = std::numeric_limits<std::size_t>::max();
        return static_cast<std::size_t>(std::min(bytes, kHighest));
    }
    // The machine is not asked twice in exactly the same way.
    static void expectHalfOfTheMachine(std::size_t bytes) {
        const auto half = static_cast<double>(halfOfTheMachine());
        EXPECT_NEAR(half, static_cast<double>(bytes), half / 100);
    }

    const PrivateRoot root_;
};

TEST_F(AvailableMemory, IsWhatTheSystemEstimates) {
    tell(
        "MemTotal:          27012 kB\nMemFree:           12000 kB\nMemAvailable:      19280 kB\n"
        "Buffers:             512 kB\n");
    EXPECT_EQ(19'742'720U, availableMemory());
}

TEST_F(AvailableMemory, OfMoreThanAProgramCanAddressIsAllThatItCan) {
    tell("MemAvailable: 18446744073709551615 kB\n");
    EXPECT_EQ(std::numeric_limits<std::size_t>::max(), availableMemory());
}

TEST_F(AvailableMemory, IsHalfOfTheMachinesWhereNothingIsEstimated) {
    expectHalfOfTheMachine(availableMemory());
    tell("MemTotal:          27012 kB\nMemFree:           12000 kB\n");
    expectHalfOfTheMachine(availableMemory());
    tell("MemAvailable: much\n");
    expectHalfOfTheMachine(availableMemory());
}

}  // namespace
}  // namespace teskd::test
