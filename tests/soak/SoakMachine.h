// A slot machine of a soak: no two of its answers are alike, and all are written down.
//
// Ownership: the object owns the simulated machine; it refers to the answers written down.
// Threads: every operation from any thread; the answers are made on the machine's own thread.
// Errors: start() throws std::system_error.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

#include "soak/GivenAnswers.h"
#include "soak/Random.h"
#include "tesksim/Machine.h"

namespace teskd::soak {

// A request whose payload ends with this gets a very long answer.
inline constexpr char kLongAnswerMark = 'L';

class SoakMachine {
  public:
    SoakMachine(std::size_t index, std::string codeId, GivenAnswers& given, std::uint64_t seed);

    void start() { machine_.start(); }
    std::uint16_t port() const { return machine_.port(); }
    // The simulated machine, for its faults.
    tesksim::Machine& line() { return machine_; }

    std::string codeId() const;
    void setCodeId(std::string codeId);

  private:
    tesksim::Answer answer(const tesksim::Message& request);
    // A body for a request with this ID; it starts with the number.
    std::string body(int id, const std::string& payload, std::uint32_t number);
    std::string reading(std::uint32_t number);
    std::string list(std::uint32_t number, bool times);

    const std::size_t index_;
    GivenAnswers& given_;
    Random random_;  // the machine's thread alone
    mutable std::mutex mutex_;
    std::string codeId_;  // guarded by mutex_
    tesksim::Machine machine_;
};

}  // namespace teskd::soak
