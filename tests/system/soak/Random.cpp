#include "soak/Random.h"

namespace teskd::soak {

namespace {

constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15U;

}  // namespace

Random::Random(std::uint64_t seed, std::uint64_t stream) : engine_(seed ^ (stream * kSpread)) {}

int Random::between(int lowest, int highest) {
    return std::uniform_int_distribution<int>(lowest, highest)(engine_);
}

std::chrono::milliseconds Random::milliseconds(int shortest, int longest) {
    return std::chrono::milliseconds(between(shortest, longest));
}

std::size_t Random::weighted(const std::vector<int>& weights) {
    return std::discrete_distribution<std::size_t>(weights.begin(), weights.end())(engine_);
}

std::string Random::bytes(std::size_t count) {
    std::string result;
    while (result.size() < count) result += static_cast<char>(between(0, 255));
    return result;
}

std::string Random::text(std::size_t count, std::string_view from) {
    std::string result;
    while (result.size() < count) result += pick(from);
    return result;
}

}  // namespace teskd::soak
