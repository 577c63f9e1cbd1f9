// The machines of a soak.
//
// Ownership: the object owns them. Threads: every operation from any thread. Errors: start() throws
// std::system_error.

#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "soak/GivenAnswers.h"
#include "soak/SoakMachine.h"

namespace teskd::soak {

class Park {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kMachines = 4;

    explicit Park(std::uint64_t seed);

    void start();
    std::vector<std::uint16_t> ports() const;
    SoakMachine& machine(std::size_t index) { return *machines_.at(index); }
    GivenAnswers& given() { return given_; }
    const GivenAnswers& given() const { return given_; }

    // All CodeIds that machines of the park have; they change places alone.
    const std::vector<std::string>& codeIds() const { return codeIds_; }
    void swap(std::size_t one, std::size_t other);

    // From now on, until healed(), what comes from a machine may be nobody's answer.
    void damaged() { ++damaged_; }
    void healed();
    // Whether that was so at any moment since then.
    bool wasDamagedSince(Clock::time_point since) const;

  private:
    GivenAnswers given_;
    const std::vector<std::string> codeIds_;
    std::vector<std::unique_ptr<SoakMachine>> machines_;
    std::mutex swapping_;
    std::atomic<int> damaged_ = 0;
    std::atomic<Clock::time_point> lastHealed_{};
};

}  // namespace teskd::soak
