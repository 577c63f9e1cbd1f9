#include "faults/Sample.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <numeric>
#include <random>

namespace teskd::test {

namespace {

unsigned chooseSeed() {
    const char* const given = std::getenv("TESKD_SEED");
    if (given != nullptr) return static_cast<unsigned>(std::strtoul(given, nullptr, 10));
    return std::random_device()();
}

}  // namespace

Sample::Sample(std::uint64_t calls, std::size_t count) {
    if (isFull()) return;
    std::vector<std::uint64_t> all(calls);
    std::iota(all.begin(), all.end(), 1);
    const unsigned seed = chooseSeed();
    std::cout << "TESKD_SEED=" << seed << "\n";
    std::sample(all.begin(), all.end(), std::back_inserter(numbers_), count, std::mt19937(seed));
}

bool Sample::isFull() {
    return std::getenv("TESKD_FULL") != nullptr;
}

std::uint64_t Sample::next() {
    const std::uint64_t index = taken_++;
    if (isFull()) return index + 1;
    return index < numbers_.size() ? numbers_[index] : 0;
}

}  // namespace teskd::test
