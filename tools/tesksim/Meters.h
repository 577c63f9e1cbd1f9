// The meters of a machine in use: they increase randomly with time, and stay consistent with each
// other as in a working machine. The same seed gives the same meters.
//
// Ownership: a plain value. Threads: one user at a time. Errors: nothing throws.

#pragma once

#include <chrono>
#include <cstdint>
#include <random>
#include <string>

namespace tesksim {

class Meters {
  public:
    struct Options {
        std::uint32_t totalIn = 0;
        std::uint32_t totalOut = 0;
        std::uint32_t cleared = 0;
        std::uint32_t item5 = 0;
        std::chrono::milliseconds every{1000};  // between two changes
        std::uint32_t mostIn = 0;               // per change; a random multiple of 50
        std::uint32_t mostOut = 0;
    };

    Meters(const Options& options, std::uint32_t seed) : options_(options), random_(seed) {}

    // The six items at this time after the start; times must not decrease. The same seed and the
    // same number of changes give the same meters.
    std::string bodyAt(std::chrono::milliseconds elapsed);

  private:
    std::uint32_t draw(std::uint32_t most);

    Options options_;
    std::mt19937 random_;
    std::int64_t movements_ = 0;
};

}  // namespace tesksim
