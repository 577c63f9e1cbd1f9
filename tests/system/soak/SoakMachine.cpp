#include "soak/SoakMachine.h"

#include <utility>

#include "soak/Question.h"

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
// A request that is read so soon after an answer was repeated may have been under way before.
constexpr std::chrono::milliseconds kCrossing{10};
constexpr char kAcknowledgement[] = "150~";
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
                         Departures& departures, std::uint64_t seed)
    : index_(index),
      given_(given),
      departures_(departures),
      random_(seed, kStream + index),
      codeId_(std::move(codeId)),
      machine_(options()) {
    for (int id = kLowestId; id <= kHighestId; ++id) {
        machine_.answers().setCallback(
            id, [this](const tesksim::Message& request) { return answer(request); });
    }
}

tesksim::Machine::Options SoakMachine::options() {
    tesksim::Machine::Options result;
    result.observer = [this](tesksim::Machine::Event event, const std::string& bytes) {
        observe(event, bytes);
    };
    return result;
}

void SoakMachine::observe(tesksim::Machine::Event event, const std::string& bytes) {
    using Event = tesksim::Machine::Event;
    switch (event) {
        case Event::Asked:
            if (bytes.starts_with(kAcknowledgement)) return names_.acknowledged();
            return settleRepetition(ShownNames::Clock::now() - repeatedAt_ < kCrossing);
        case Event::Repeated:
            repeated_ = last_;
            repeatedAt_ = ShownNames::Clock::now();
            return given_.repeated(repeated_);
        case Event::Disconnected:
            names_.disconnected();
            return settleRepetition(true);
        default:
            return;
    }
}

// A request that was under way before the repetition was sent has been given it, and its own answer
// would be the next one's.
void SoakMachine::settleRepetition(bool crossed) {
    if (repeated_ == 0) return;
    given_.settleRepetition(std::exchange(repeated_, 0), crossed);
    if (crossed) machine_.disconnect(true);
}

std::string SoakMachine::codeId() const {
    const std::lock_guard lock(mutex_);
    return codeId_;
}

void SoakMachine::setCodeId(std::string codeId) {
    const std::lock_guard lock(mutex_);
    codeId_ = std::move(codeId);
}

void SoakMachine::borrowCodeId(std::string codeId) {
    const std::lock_guard lock(mutex_);
    borrowed_ = std::move(codeId);
}

std::string SoakMachine::codeIdToShow() {
    const std::lock_guard lock(mutex_);
    if (borrowed_.empty()) return codeId_;
    return std::exchange(borrowed_, {});
}

tesksim::Answer SoakMachine::answer(const tesksim::Message& request) {
    constexpr std::string_view kOutcomes[] = {"00", "1A", "1D", "1H", "FF", "ZZ"};
    departures_.asked(questionText(request.id, request.payload));
    GivenAnswer given;
    given.number = given_.next();
    given.machine = index_;
    given.asked = request.payload;
    given.answer.id = request.id;
    given.answer.date = numberText(given.number);
    given.answer.codeId = codeIdToShow();
    given.answer.outcome = random_.pick(kOutcomes);
    given.answer.body = body(request.id, request.payload, given.number);
    if (hasTrailer(given.answer.codeId))
        given.answer.trailer = random_.text(kTrailerSize, kLetters);
    given.made = GivenAnswer::Clock::now();
    given_.add(given);
    names_.shown(given.answer.codeId);
    last_ = given.number;
    return given.answer;
}

std::string SoakMachine::body(int id, const std::string& payload, std::uint32_t number) {
    switch (id) {
        case 113:
            if (!payload.empty()) break;  // a host's own text
            return reading(number);
        case 115:
        case 119:
            return list(number, questionText(id, payload), false);
        case 117:
            return list(number, questionText(id, payload), true);
        default:
            break;
    }
    if (payload.ends_with(kLongAnswerMark)) {
        return numberText(number) + payload + std::string(kLongAnswer, 'x');
    }
    return numberText(number) + payload +
           random_.text(static_cast<std::size_t>(random_.between(0, 40)), kLetters);
}

// Most readings pass every check of the engine.
std::string SoakMachine::reading(std::uint32_t number) {
    const bool passes = random_.chance(80);
    const std::string number4 = passes ? "0" : std::to_string(random_.between(1, 99));
    return numberText(number) + "~" + std::to_string(number) + "~1~" + number4 + "~" +
           std::to_string(random_.between(0, 40)) + "~" + std::to_string(random_.between(0, 9000));
}

// The number is the first entry's name, the question the second one's.
std::string SoakMachine::list(std::uint32_t number, const std::string& question, bool times) {
    const int entries = random_.chance(4) ? kSeveralPages : random_.between(2, kFewEntries);
    std::string result = numberText(number);
    for (int entry = 0; entry < entries; ++entry) {
        if (entry == 1) result += "~" + question;
        if (entry > 1) result += "~" + random_.text(kQuestionSize, kLetters);
        const int values = random_.between(1, 3);
        for (int i = 0; i < values; ++i) {
            result += i == 0 ? "~" : "!";
            result += times ? time(random_) : value(random_);
        }
    }
    return result;
}

}  // namespace teskd::soak
