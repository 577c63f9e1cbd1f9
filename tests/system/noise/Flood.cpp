#include "noise/Flood.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <string>

namespace teskd::test {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kLinesPerSecond = 8;
constexpr char kRelease[] = "packet is being freed";
constexpr char kLeftOut[] = "more lines were not logged";

bool isRelease(const LogLine& line) {
    return line.text.find(kRelease) != std::string::npos;
}

// The first lines, for the message of a failing test.
std::string excerpt(const std::vector<LogLine>& lines) {
    std::string text;
    for (std::size_t i = 0; i < std::min<std::size_t>(lines.size(), 40); ++i) {
        text += "<" + std::to_string(lines[i].priority) + "> " + lines[i].text + "\n";
    }
    return text;
}

}  // namespace

std::chrono::seconds floodTime() {
    const char* const value = std::getenv("TESKD_NOISE_SECONDS");
    return std::chrono::seconds(value == nullptr ? 1 : std::max(1, std::atoi(value)));
}

Flood::Flood(Gateway& gateway, const Portion& send, std::size_t atLeast) : gateway_(gateway) {
    gateway_.log().clear();
    start_ = Clock::now();
    const Clock::time_point end = start_ + floodTime();
    for (; Clock::now() < end || portions_ < atLeast; ++portions_) send();
}

std::size_t Flood::lines(bool withReleases) const {
    const std::vector<LogLine> all = gateway_.log().lines();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(),
        [withReleases](const LogLine& line) { return withReleases || !isRelease(line); }));
}

std::size_t Flood::seconds() const {
    const auto passed = std::chrono::ceil<std::chrono::seconds>(Clock::now() - start_).count();
    return static_cast<std::size_t>(passed) + 1;
}

std::size_t Flood::bound(std::size_t connections) const {
    return kLinesPerSecond * (connections + 1) * seconds();
}

void Flood::expectBounded(std::size_t connections, bool withReleases) const {
    EXPECT_TRUE(gateway_.log().waitFor(kLeftOut)) << excerpt(gateway_.log().lines());
    expectFew(connections, withReleases);
}

void Flood::expectFew(std::size_t connections, bool withReleases) const {
    const std::size_t logged = lines(withReleases);
    const std::size_t allowed = bound(connections);
    std::cout << portions_ << " portions, " << logged << " lines of at most " << allowed << "\n";
    EXPECT_LE(logged, allowed) << excerpt(gateway_.log().lines());
}

}  // namespace teskd::test
