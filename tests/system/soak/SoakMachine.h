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

#include "soak/Departures.h"
#include "soak/Episode.h"
#include "soak/GivenAnswers.h"
#include "soak/Random.h"
#include "soak/ShownNames.h"
#include "tesksim/Machine.h"

namespace teskd::soak {

// A request whose payload ends with this gets a very long answer.
inline constexpr char kLongAnswerMark = 'L';

class SoakMachine {
  public:
    SoakMachine(std::size_t index, std::string codeId, GivenAnswers& given, Departures& departures,
                std::uint64_t seed);

    void start() { machine_.start(); }
    std::uint16_t port() const { return machine_.port(); }
    // The simulated machine, for its faults.
    tesksim::Machine& line() { return machine_; }

    // While it lasts, what comes from the machine may be nobody's answer.
    Episode& damage() { return damage_; }
    const Episode& damage() const { return damage_; }

    std::string codeId() const;
    void setCodeId(std::string codeId);
    // The next answer shows this name, and no further one.
    void borrowCodeId(std::string codeId);
    // Whether a request sent at that time may have found the machine under this name.
    bool mayBeKnownAs(const std::string& codeId, ShownNames::Clock::time_point sent) const {
        return names_.mayBe(codeId, sent);
    }

  private:
    tesksim::Machine::Options options();
    void observe(tesksim::Machine::Event event, const std::string& bytes);
    void settleRepetition(bool crossed);
    tesksim::Answer answer(const tesksim::Message& request);
    std::string codeIdToShow();
    // A body for a request with this ID; it starts with the number.
    std::string body(int id, const std::string& payload, std::uint32_t number);
    std::string reading(std::uint32_t number);
    std::string list(std::uint32_t number, const std::string& question, bool times);

    const std::size_t index_;
    GivenAnswers& given_;
    Departures& departures_;
    ShownNames names_;
    Episode damage_;
    // The machine's thread alone.
    Random random_;
    std::uint32_t last_ = 0;      // number of the last answer
    std::uint32_t repeated_ = 0;  // the one that was sent twice and may be mistaken; 0: none
    ShownNames::Clock::time_point repeatedAt_{};

    mutable std::mutex mutex_;
    std::string codeId_;    // guarded by mutex_
    std::string borrowed_;  // guarded by mutex_; empty: none
    tesksim::Machine machine_;
};

}  // namespace teskd::soak
