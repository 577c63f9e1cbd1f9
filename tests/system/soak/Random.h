// Chance that can be repeated: everything one part of a soak draws comes from its seed.
//
// Ownership: a plain value. Threads: one user at a time. Errors: none.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace teskd::soak {

class Random {
  public:
    // `stream` tells the parts of one soak apart.
    Random(std::uint64_t seed, std::uint64_t stream);

    int between(int lowest, int highest);
    bool chance(int percent) { return between(1, 100) <= percent; }
    std::chrono::milliseconds milliseconds(int shortest, int longest);
    // An index, as often as the weights say.
    std::size_t weighted(const std::vector<int>& weights);
    std::string bytes(std::size_t count);
    // Bytes drawn from those given.
    std::string text(std::size_t count, std::string_view from);
    template <typename Container>
    const auto& pick(const Container& container) {
        return container[static_cast<std::size_t>(
            between(0, static_cast<int>(std::size(container)) - 1))];
    }

  private:
    std::mt19937_64 engine_;
};

}  // namespace teskd::soak
