// The machines of a soak, and what all of it must know of them.
//
// Ownership: the object owns them. Threads: every operation from any thread. Errors: start() throws
// std::system_error.

#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "soak/Departures.h"
#include "soak/Episode.h"
#include "soak/GivenAnswers.h"
#include "soak/SoakMachine.h"

namespace teskd::soak {

class Park {
  public:
    static constexpr std::size_t kMachines = 4;

    Park(std::uint64_t seed, Stage& stage);

    void start();
    std::vector<std::uint16_t> ports() const;
    SoakMachine& machine(std::size_t index) { return *machines_.at(index); }
    const SoakMachine& machine(std::size_t index) const { return *machines_.at(index); }
    GivenAnswers& given() { return given_; }
    const GivenAnswers& given() const { return given_; }

    // All CodeIds that machines of the park have; they change places alone.
    const std::vector<std::string>& codeIds() const { return codeIds_; }
    void swap(std::size_t one, std::size_t other);

    // Hosts that have gone, of whose requests the machines shall hear no more.
    Departures& departures() { return departures_; }
    Excuses& excuses() { return excuses_; }
    const Excuses& excuses() const { return excuses_; }

  private:
    GivenAnswers given_;
    Departures departures_;
    Excuses excuses_;
    const std::vector<std::string> codeIds_;
    std::vector<std::unique_ptr<SoakMachine>> machines_;
    std::mutex swapping_;
};

}  // namespace teskd::soak
