#include "soak/GivenAnswers.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace teskd::soak {

namespace {

// Longer than any request takes, and than the engine's readings are looked at.
constexpr std::chrono::minutes kKept{4};
// Until a machine has read the request that it may have crossed.
constexpr std::chrono::seconds kVerdict{2};

}  // namespace

std::string numberText(std::uint32_t number) {
    const std::string digits = std::to_string(number);
    return std::string(kNumberDigits - std::min(kNumberDigits, digits.size()), '0') + digits;
}

std::optional<std::uint32_t> numberIn(std::string_view text) {
    const std::string_view digits = text.substr(0, kNumberDigits);
    const auto isDigit = [](unsigned char c) { return std::isdigit(c) != 0; };
    if (digits.size() < kNumberDigits) return std::nullopt;
    if (!std::all_of(digits.begin(), digits.end(), isDigit)) return std::nullopt;
    return static_cast<std::uint32_t>(std::stoul(std::string(digits)));
}

std::uint32_t GivenAnswers::next() {
    const std::lock_guard lock(mutex_);
    return ++last_;
}

void GivenAnswers::add(GivenAnswer answer) {
    const std::lock_guard lock(mutex_);
    const std::uint32_t number = answer.number;
    entries_[number].given = std::move(answer);
    forgetOld();
}

std::optional<GivenAnswer> GivenAnswers::find(std::uint32_t number) const {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(number);
    if (found == entries_.end()) return std::nullopt;
    return found->second.given;
}

bool GivenAnswers::claim(std::uint32_t number, std::uint64_t request) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(number);
    if (found == entries_.end()) return false;
    if (found->second.request == 0) found->second.request = request;
    return found->second.request == request;
}

void GivenAnswers::repeated(std::uint32_t number) {
    setRepetition(number, Repetition::Unknown);
}

void GivenAnswers::settleRepetition(std::uint32_t number, bool crossed) {
    setRepetition(number, crossed ? Repetition::Crossed : Repetition::Clear);
    settled_.notify_all();
}

void GivenAnswers::setRepetition(std::uint32_t number, Repetition repetition) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(number);
    if (found != entries_.end()) found->second.repetition = repetition;
}

bool GivenAnswers::mayBeMistaken(std::uint32_t number) const {
    std::unique_lock lock(mutex_);
    const auto now = [&] {
        const auto found = entries_.find(number);
        return found == entries_.end() ? Repetition::None : found->second.repetition;
    };
    settled_.wait_for(lock, kVerdict, [&] { return now() != Repetition::Unknown; });
    return now() == Repetition::Crossed;
}

void GivenAnswers::forgetOld() {
    const auto limit = GivenAnswer::Clock::now() - kKept;
    while (!entries_.empty() && entries_.begin()->second.given.made < limit) {
        entries_.erase(entries_.begin());
    }
}

}  // namespace teskd::soak
