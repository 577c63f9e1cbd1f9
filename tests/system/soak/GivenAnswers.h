// Every answer that a machine of a soak has made, under the number that stands in it, so that what
// a host gets can be traced to the machine, the request and the moment that gave it.
//
// Ownership: the soak's; machines add, hosts look up.
// Threads: every operation from any thread; one lock. Errors: none.

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tesksim/Message.h"

namespace teskd::soak {

// The number of an answer as it stands in the answer: eight decimal digits.
inline constexpr std::size_t kNumberDigits = 8;
std::string numberText(std::uint32_t number);
// The number at the start of a text; nothing when there is none.
std::optional<std::uint32_t> numberIn(std::string_view text);

struct GivenAnswer {
    using Clock = std::chrono::steady_clock;

    std::uint32_t number = 0;
    std::size_t machine = 0;
    std::string asked;  // payload of the request
    tesksim::Answer answer;
    Clock::time_point made;
};

class GivenAnswers {
  public:
    // Takes the next number, which is never 0.
    std::uint32_t next();
    void add(GivenAnswer answer);
    std::optional<GivenAnswer> find(std::uint32_t number) const;
    // The answer was sent once more, unasked.
    void repeated(std::uint32_t number);
    // Whether a request was on its way to the machine at that time, which nobody can tell apart.
    void settleRepetition(std::uint32_t number, bool crossed);
    // Whether a request that was on its way when the answer was sent once more may have been given
    // it. Waits for a moment until the machine knows.
    bool mayBeMistaken(std::uint32_t number) const;
    // Notes that the request with this key was answered with it. False when another one was before.
    bool claim(std::uint32_t number, std::uint64_t request);

  private:
    enum class Repetition { None, Unknown, Crossed, Clear };
    struct Entry {
        GivenAnswer given;
        std::uint64_t request = 0;
        Repetition repetition = Repetition::None;
    };

    void forgetOld();
    void setRepetition(std::uint32_t number, Repetition repetition);

    mutable std::mutex mutex_;
    mutable std::condition_variable settled_;
    std::uint32_t last_ = 0;                  // guarded by mutex_
    std::map<std::uint32_t, Entry> entries_;  // guarded by mutex_
};

}  // namespace teskd::soak
