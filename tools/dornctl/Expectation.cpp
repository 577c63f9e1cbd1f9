#include "dornctl/Expectation.h"

#include "host/ByteReader.h"
#include "host/LinkError.h"
#include "host/Request.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr std::size_t kDateSize = 8;
constexpr std::size_t kNumbers = 256;  // distinguished by a field of 8 bits
constexpr std::size_t kFullPage = 255;

// Answers that may consist of several frames have the number of frames after the date, followed by
// the number of this one.
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

// The smallest number that is at least `least` and has these low 8 bits.
std::size_t widened(std::size_t bits, std::size_t least) {
    return least + (bits - least) % kNumbers;
}

}  // namespace

void Expectation::take(const Frame& frame) {
    if (frame.kind != Kind::Regular) {
        met_ = true;
        return;
    }
    ++regular_;
    if (scope_ == Scope::Pages) return takePage(frame);
    met_ = true;
}

void Expectation::takePage(const Frame& frame) {
    const Place place = Place::of(frame);
    if (place.number != regular_ % kNumbers) {
        throw LinkError("answer " + std::to_string(widened(place.number, 1)) +
                        " came where answer " + std::to_string(regular_) + " was expected");
    }
    total_ = widened(place.total, regular_);
    met_ = place.entries != kFullPage;
    if (met_ && total_ != regular_) {
        throw LinkError("the answers do not come in the number that they tell");
    }
}

}  // namespace dornctl
