// Every answer that a machine of a soak has made, under the number that stands in it, so that what
// a host gets can be traced to the machine, the request and the moment that gave it.
//
// Ownership: the soak's; machines add, hosts look up.
// Threads: every operation from any thread; one lock. Errors: none.

#pragma once

#include <chrono>
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
    // Notes that the request with this key was answered with it. False when another one was before.
    bool claim(std::uint32_t number, std::uint64_t request);

  private:
    struct Entry {
        GivenAnswer given;
        std::uint64_t request = 0;
    };

    void forgetOld();

    mutable std::mutex mutex_;
    std::uint32_t last_ = 0;                  // guarded by mutex_
    std::map<std::uint32_t, Entry> entries_;  // guarded by mutex_
};

}  // namespace teskd::soak
