#include "dornctl/Expectation.h"

#include <algorithm>

#include "host/ByteReader.h"
#include "host/LinkError.h"
#include "host/Request.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr std::size_t kDateSize = 8;
constexpr std::size_t kNumbers = 256;  // that a field of 8 bits tells apart
constexpr std::size_t kFullPage = 255;

// Answers that may come in several frames say behind the date how many there are, and which one
// this is.
struct Place {
    std::size_t total = 0;
    std::size_t number = 0;
    std::size_t entries = 0;  // 0 in an answer without pages

    static Place of(const Frame& frame) {
        ByteReader in(frame.body);
        in.bytes(kDateSize);
        Place place;
        place.total = in.byte();
        place.number = in.byte();
        constexpr std::size_t kHeadOfLists = 12;
        constexpr std::size_t kHeadOfTimes = 13;
        if (frame.type == Request::kTimes) {
            in.bytes(kHeadOfTimes);
        } else if (frame.type == Request::kListByFields || frame.type == Request::kListByNumbers) {
            in.bytes(kHeadOfLists);
        } else {
            return place;
        }
        place.entries = in.byte();
        return place;
    }
};

// The smallest number from `least` on that has these low 8 bits.
std::size_t widened(std::size_t bits, std::size_t least) {
    return least + (bits - least) % kNumbers;
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace

void Expectation::take(const Frame& frame) {
    if (frame.kind == Kind::Regular) {
        takeRegular(frame);
    } else if (frame.kind == Kind::UnknownMachine) {
        unknown_ = true;
    } else {
        ++failed_;
    }
}

void Expectation::takeRegular(const Frame& frame) {
    ++regular_;
    if (scope_ == Scope::OneFrame) return;
    const Place place = Place::of(frame);
    if (place.number != regular_ % kNumbers) {
        throw LinkError("answer " + std::to_string(widened(place.number, 1)) +
                        " came where answer " + std::to_string(regular_) + " was expected");
    }
    total_ = widened(place.total, regular_);
    betweenPages_ = place.entries == kFullPage;
    if (betweenPages_) return;
    ++answered_;
    // Every page but a machine's first makes the total larger.
    told_ = widened(place.total - (regular_ - answered_), 1);
    if (answered_ + failed_ > *told_ || (scope_ == Scope::OneMachine && *told_ != 1)) {
        throw LinkError("the answers do not come in the number that they tell");
    }
}

void Expectation::takeMachines(const std::vector<std::string>& names) {
    known_ = names;
}

std::optional<std::size_t> Expectation::machinesToAnswer() const {
    if (scope_ == Scope::OneMachine) return 1;
    if (told_) return told_;
    if (known_) return known_->size();
    return {};
}

bool Expectation::met() const {
    if (unknown_) return true;
    if (scope_ == Scope::OneFrame) return regular_ + failed_ > 0;
    if (betweenPages_) return false;
    const auto machines = machinesToAnswer();
    // Whatever became of the machines meanwhile, one frame comes at least.
    return machines && answered_ + failed_ >= std::max<std::size_t>(*machines, 1);
}

std::string Expectation::missing() const {
    if (scope_ == Scope::EveryMachine) return missingMachines();
    if (regular_ == 0) return "";
    return "what follows page " + std::to_string(regular_) + " is missing";
}

std::string Expectation::missingMachines() const {
    const auto machines = machinesToAnswer();
    std::string text =
        std::to_string(answered_) + " machines answered and " + std::to_string(failed_) + " failed";
    if (machines) text += " of " + std::to_string(*machines);
    if (known_) text += " that were asked (" + joined(*known_) + ")";
    if (betweenPages_) text += ", and the pages of one broke off";
    return text;
}

}  // namespace dornctl
