#include "soak/SoakMachine.h"

#include <utility>

namespace teskd::soak {

namespace {

constexpr int kLowestId = 100;
constexpr int kHighestId = 999;
constexpr std::size_t kTrailerSize = 268;
constexpr std::size_t kLongAnswer = 30000;
constexpr std::uint64_t kStream = 1000;
// More entries than fit in one page of a host's answer.
constexpr int kSeveralPages = 700;
constexpr int kFewEntries = 12;
constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";

std::string twoDigits(int value) {
    return {static_cast<char>('0' + value / 10), static_cast<char>('0' + value % 10)};
}

std::string value(Random& random) {
    return twoDigits(random.between(0, 99)) + "=" + std::to_string(random.between(0, 2000000));
}

std::string time(Random& random) {
    return twoDigits(random.between(0, 23)) + ":" + twoDigits(random.between(0, 59)) + ":" +
           std::to_string(random.between(0, 9));
}

bool hasTrailer(const std::string& codeId) {
    return codeId[1] == 'N' || codeId[1] == 'P';
}

}  // namespace

SoakMachine::SoakMachine(std::size_t index, std::string codeId, GivenAnswers& given,
                         std::uint64_t seed)
    : index_(index), given_(given), random_(seed, kStream + index), codeId_(std::move(codeId)) {
    for (int id = kLowestId; id <= kHighestId; ++id) {
        machine_.answers().setCallback(
            id, [this](const tesksim::Message& request) { return answer(request); });
    }
}

std::string SoakMachine::codeId() const {
    const std::lock_guard lock(mutex_);
    return codeId_;
}

void SoakMachine::setCodeId(std::string codeId) {
    const std::lock_guard lock(mutex_);
    codeId_ = std::move(codeId);
}

tesksim::Answer SoakMachine::answer(const tesksim::Message& request) {
    constexpr std::string_view kOutcomes[] = {"00", "1A", "1D", "1H", "FF", "ZZ"};
    GivenAnswer given;
    given.number = given_.next();
    given.machine = index_;
    given.asked = request.payload;
    given.answer.id = request.id;
    given.answer.date = numberText(given.number);
    given.answer.codeId = codeId();
    given.answer.outcome = random_.pick(kOutcomes);
    given.answer.body = body(request.id, request.payload, given.number);
    if (hasTrailer(given.answer.codeId))
        given.answer.trailer = random_.text(kTrailerSize, kLetters);
    given.made = GivenAnswer::Clock::now();
    given_.add(given);
    return given.answer;
}

std::string SoakMachine::body(int id, const std::string& payload, std::uint32_t number) {
    switch (id) {
        case 113:
            return reading(number);
        case 115:
        case 119:
            return list(number, false);
        case 117:
            return list(number, true);
        default:
            break;
    }
    if (payload.ends_with(kLongAnswerMark)) {
        return numberText(number) + std::string(kLongAnswer, 'x');
    }
    return numberText(number) +
           random_.text(static_cast<std::size_t>(random_.between(0, 40)), kLetters);
}

// Most readings pass every check of the engine.
std::string SoakMachine::reading(std::uint32_t number) {
    const bool passes = random_.chance(80);
    const std::string number4 = passes ? "0" : std::to_string(random_.between(1, 99));
    return numberText(number) + "~" + std::to_string(number) + "~1~" + number4 + "~" +
           std::to_string(random_.between(0, 40)) + "~" + std::to_string(random_.between(0, 9000));
}

std::string SoakMachine::list(std::uint32_t number, bool times) {
    const int entries = random_.chance(4) ? kSeveralPages : random_.between(1, kFewEntries);
    std::string result = numberText(number);
    for (int entry = 0; entry < entries; ++entry) {
        if (entry > 0) result += "~" + random_.text(8, kLetters);
        const int values = random_.between(1, 3);
        for (int i = 0; i < values; ++i) {
            result += i == 0 ? "~" : "!";
            result += times ? time(random_) : value(random_);
        }
    }
    return result;
}

}  // namespace teskd::soak
