#include "soak/Departures.h"

#include <algorithm>

#include "soak/Question.h"
#include "support/Deadline.h"

namespace teskd::soak {

namespace {

// For the daemon to hear of the reset and to take the requests out of its queues.
constexpr std::chrono::milliseconds kGrace{2000};
constexpr std::size_t kKept = 100;
constexpr std::size_t kHostDigits = 2;

bool isToken(const std::string& question) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    return question.size() == kQuestionSize &&
           question.find_first_not_of(kDigits) == std::string::npos;
}

std::uint32_t numberOf(const std::string& digits) {
    return static_cast<std::uint32_t>(std::stoul(digits, nullptr, 16));
}

}  // namespace

void Departures::left(std::uint32_t host, std::uint32_t firstRequest, std::uint32_t lastRequest) {
    const std::lock_guard lock(mutex_);
    std::deque<Departure>& all = departures_[host];
    all.push_back({firstRequest, lastRequest, Clock::now()});
    if (all.size() > kKept) all.pop_front();
}

void Departures::asked(const std::string& question) {
    if (!isToken(question)) return;
    const std::uint32_t host = numberOf(question.substr(0, kHostDigits));
    const std::uint32_t request = numberOf(question.substr(kHostDigits));
    const std::lock_guard lock(mutex_);
    const std::deque<Departure>& all = departures_[host];
    const auto found = std::find_if(all.begin(), all.end(), [request](const Departure& departure) {
        return departure.firstRequest <= request && request <= departure.lastRequest;
    });
    if (found == all.end()) return;
    const auto gone = Clock::now() - found->at;
    if (gone <= kGrace * test::timeScale()) return;
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(gone).count();
    stage_.violation("a machine is asked " + question + " for host " + std::to_string(host) +
                     ", which reset its connection " + std::to_string(ms) + " ms ago");
}

}  // namespace teskd::soak
