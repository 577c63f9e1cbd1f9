#include "soak/Oracle.h"

#include <utility>

#include "soak/AnswerBody.h"
#include "soak/Violation.h"
#include "support/Deadline.h"
#include "support/Hex.h"

namespace teskd::soak {

namespace {

using Target = Request::Target;
using std::chrono::milliseconds;

constexpr std::uint8_t kRegular = 0x81;
constexpr std::uint8_t kTimedOut = 0xFE;
constexpr std::uint8_t kFailed = 0xAB;
constexpr std::uint8_t kUnknown = 0xFD;

// A line answers nothing for 13 s at most. Then all that waits is failed, or what is queued is
// answered; two such troubles may follow each other.
constexpr std::chrono::seconds kLongestWait{50};
constexpr milliseconds kShortTimeout{10000};
constexpr milliseconds kTolerance{100};  // between the daemon's clock and this one
constexpr std::size_t kVersionSize = 30;
constexpr std::size_t kRecordSize = 14;
constexpr std::size_t kNameSize = 11;

bool isPaged(std::uint8_t type) {
    return type == 2 || type == 3;
}

// Types whose machines have ten seconds for their answer; the others have minutes.
bool hasShortTimeout(std::uint8_t type) {
    return type == 1 || type == 5 || type == 6;
}

bool isFromMachines(Target target) {
    return target == Target::OneMachine || target == Target::EveryMachine;
}

std::string wire(const test::Frame& frame) {
    return test::hex(frame.header + frame.body + static_cast<char>(frame.checksum));
}

std::uint32_t byteAt(const test::Frame& frame, std::size_t offset) {
    return static_cast<unsigned char>(frame.body.at(offset));
}

std::string kindName(const test::Frame& frame) {
    switch (frame.kind) {
        case kRegular:
            return "0x81 regular";
        case kTimedOut:
            return "0xFE timed out";
        case kFailed:
            return "0xAB failed";
        case kUnknown:
            return "0xFD nobody known";
        default:
            return "another kind";
    }
}

}  // namespace

void Oracle::asked(Request request) {
    request.sent = Request::Clock::now();
    summary_.count("requests", request.kind());
    const std::uint64_t key = request.key();
    dialogues_[key].request = std::move(request);
}

void Oracle::received(const test::Frame& frame) {
    summary_.count("answer frames", kindName(frame));
    const auto found =
        dialogues_.find((std::uint64_t{frame.identifierA} << 32) | frame.identifierB);
    if (found == dialogues_.end()) {
        throw Violation("a frame that nobody on this connection asked for: " + wire(frame));
    }
    Dialogue& dialogue = found->second;
    dialogue.frames += "\n    " + wire(frame);
    try {
        take(dialogue, frame);
    } catch (const std::exception& e) {
        throw Violation(std::string(e.what()) + "\n  request: " + dialogue.request.describe() +
                        "\n  frames:" + dialogue.frames);
    }
    if (dialogue.complete) dialogue.frames.clear();
}

void Oracle::take(Dialogue& dialogue, const test::Frame& frame) {
    if (dialogue.complete) throw Violation("a frame after the last one");
    checkHeader(dialogue, frame);
    if (frame.kind == kRegular) {
        takeRegular(dialogue, frame);
    } else {
        takeFailure(dialogue, frame);
    }
}

void Oracle::checkHeader(const Dialogue& dialogue, const test::Frame& frame) const {
    const test::Frame& request = dialogue.request.frame;
    if (frame.start != 0xFF || frame.constant != 0x02) throw Violation("a wrong start");
    if (!frame.checksumOk) throw Violation("a wrong checksum");
    if (frame.type != request.type) throw Violation("another type");
    if (frame.station != request.station || frame.reserved != request.reserved) {
        throw Violation("other header bytes than the request's");
    }
}

void Oracle::takeRegular(Dialogue& dialogue, const test::Frame& frame) {
    ++dialogue.regular;
    switch (dialogue.request.target) {
        case Target::Daemon:
            return takeLocal(dialogue, frame);
        case Target::OneMachine:
        case Target::EveryMachine:
            return takeFromMachine(dialogue, frame);
        default:
            throw Violation("an answer to what nobody can answer");
    }
}

void Oracle::takeLocal(Dialogue& dialogue, const test::Frame& frame) {
    dialogue.complete = true;
    if (mayHaveFailed(dialogue.request)) return;
    if (frame.type == kAamsType) aams_.check(dialogue.request, frame);
    if (frame.type == 8) checkMachineList(frame);
    if (frame.type == 7) {
        std::string version = "soak version";
        version.resize(kVersionSize, '\0');
        if (frame.body != version) throw Violation("another version");
    }
}

// Calls of the system failed meanwhile, so the daemon may have failed the request, too.
bool Oracle::mayHaveFailed(const Request& request) const {
    return park_.excuses().failures.wasSince(request.sent);
}

void Oracle::checkMachineList(const test::Frame& frame) const {
    if (frame.body.size() != 1 + Park::kMachines * kRecordSize) throw Violation("a wrong size");
    if (byteAt(frame, 0) != Park::kMachines) throw Violation("a wrong count");
    std::set<std::string> names;
    for (std::size_t i = 0; i < Park::kMachines; ++i) {
        const std::size_t at = 1 + i * kRecordSize;
        names.insert(frame.body.substr(at, kNameSize));
        const std::uint32_t port = byteAt(frame, at + kNameSize);
        // A machine that gets another name in this moment has no number.
        if (port != i + 1 && port != 0) throw Violation("a wrong port");
        if (byteAt(frame, at + 12) != 0 || byteAt(frame, at + 13) > 1) {
            throw Violation("wrong flags");
        }
    }
    if (names.empty()) throw Violation("no names");
}

void Oracle::takeFromMachine(Dialogue& dialogue, const test::Frame& frame) {
    takeNumbers(dialogue, frame);
    checkContent(dialogue, frame);
}

// Counts and page numbers: of all machines' frames together, or of one machine's pages.
void Oracle::takeNumbers(Dialogue& dialogue, const test::Frame& frame) {
    const Request& request = dialogue.request;
    if (frame.type == 6) {
        dialogue.complete = true;
        return;
    }
    const std::uint32_t total = byteAt(frame, 8);
    if (byteAt(frame, 9) != dialogue.regular) throw Violation("a wrong number");
    const bool maySwell =
        frame.type == 4;  // each machine's further pages are added when it answers
    if (total < dialogue.announced) throw Violation("the total became smaller");
    if (total > dialogue.announced && dialogue.announced != 0 && !maySwell) {
        throw Violation("the total became greater");
    }
    dialogue.announced = total;
    const bool one = request.target == Target::OneMachine;
    if (one && dialogue.failures > 0) throw Violation("an answer after a failure");
    if (!isPaged(frame.type) && !maySwell && total > (one ? 1U : Park::kMachines)) {
        throw Violation("a wrong total");
    }
    if (dialogue.count() > total) throw Violation("more frames than announced");
    dialogue.complete = dialogue.count() == total;
}

void Oracle::checkLocalFailure(const Request& request, const test::Frame& frame) const {
    if (frame.kind == kFailed && mayHaveFailed(request)) return;
    switch (request.target) {
        case Target::Nobody:
            if (frame.kind != kUnknown) throw Violation("not 0xFD for an unknown machine");
            return;
        case Target::Short:
            if (frame.kind != kFailed) throw Violation("not 0xAB for a short body");
            return;
        case Target::Refused:
            if (frame.kind == kFailed || frame.kind == kUnknown) return;
            throw Violation("not 0xAB for commands to the serial-port server");
        default:
            throw Violation("a failure of what the daemon answers itself");
    }
}

void Oracle::takeFailure(Dialogue& dialogue, const test::Frame& frame) {
    const Request& request = dialogue.request;
    const auto age = Request::Clock::now() - request.sent;
    ++dialogue.failures;
    if (!frame.body.empty()) throw Violation("a failure with a body");
    if (!isFromMachines(request.target)) {
        dialogue.complete = true;
        return checkLocalFailure(request, frame);
    }
    if (frame.kind == kUnknown) {
        if (dialogue.count() != 1) throw Violation("0xFD after other frames");
        dialogue.complete = true;
        return;
    }
    if (frame.kind != kTimedOut && frame.kind != kFailed) throw Violation("an unknown kind");
    const bool inTime = hasShortTimeout(request.frame.type) && age >= kShortTimeout - kTolerance;
    if (frame.kind == kTimedOut && !inTime) throw Violation("timed out too early");
    if (request.target == Target::OneMachine) {
        if (dialogue.regular > 0) throw Violation("a failure after an answer");
        dialogue.complete = true;
        return;
    }
    if (dialogue.announced == 0 && dialogue.count() > Park::kMachines) {
        throw Violation("more failures than machines");
    }
    if (dialogue.announced != 0) {
        if (dialogue.count() > dialogue.announced) throw Violation("more frames than announced");
        dialogue.complete = dialogue.count() == dialogue.announced;
    }
    if (dialogue.announced == 0) dialogue.complete = dialogue.count() == Park::kMachines;
}

// While a line is damaged the daemon may take its bytes for anything.
void Oracle::checkContent(Dialogue& dialogue, const test::Frame& frame) {
    const std::string problem = problemOf(dialogue, frame);
    if (problem.empty()) {
        summary_.count("machine answers", "traced to the machine and request");
    } else if (mayBeDamaged(dialogue)) {
        summary_.count("machine answers", "of damaged messages");
    } else if (park_.given().mayBeMistaken(dialogue.answer)) {
        summary_.count("machine answers", "crossed by a second one");
    } else {
        throw Violation(problem);
    }
}

// Of the machine that the answer comes from, or of any when that is unknown.
bool Oracle::mayBeDamaged(const Dialogue& dialogue) const {
    const auto given = park_.given().find(dialogue.answer);
    for (std::size_t index = 0; index < Park::kMachines; ++index) {
        if (given && given->machine != index) continue;
        if (park_.machine(index).damage().wasSince(dialogue.request.sent)) return true;
    }
    return false;
}

std::string Oracle::problemOf(Dialogue& dialogue, const test::Frame& frame) const {
    const Request& request = dialogue.request;
    const auto number = answerNumber(frame.type, frame.body);
    const std::uint32_t before = std::exchange(dialogue.answer, number.value_or(0));
    if (!number) return "the answer shows no number of a machine's answer";
    const auto given = park_.given().find(*number);
    if (!given) return "no machine gave the answer " + std::to_string(*number);
    dialogue.page = *number == before ? dialogue.page + 1 : 0;
    std::string problem = problemOf(request, *given);
    if (problem.empty() && !request.question().empty() &&
        !showsQuestion(frame.type, frame.body, request.question(), dialogue.page)) {
        problem = "it does not show the text of its request, " + request.question();
    }
    if (problem.empty()) problem = difference(frame.type, frame.body, *given, dialogue.page);
    if (problem.empty()) return "";
    return "answer " + std::to_string(*number) + " of machine " + std::to_string(given->machine) +
           " (" + given->answer.codeId + "): " + problem;
}

// An answer that comes after its request timed out may be given to the next one that asks the same.
std::string Oracle::problemOf(const Request& request, const GivenAnswer& given) const {
    if (given.answer.id != request.askedId) return "an answer to another message";
    if (given.asked != request.payload) return "an answer to " + given.asked;
    const bool late = Request::Clock::now() - given.made >= kShortTimeout - kTolerance;
    if (given.made < request.sent && !late) return "older than the request";
    if (!park_.given().claim(given.number, request.key())) return "given to two requests";
    const bool named = request.target == Target::OneMachine;
    const SoakMachine& machine = park_.machine(given.machine);
    if (named && !machine.mayBeKnownAs(request.codeId, request.sent)) {
        return "of a machine that is not " + request.codeId;
    }
    return "";
}

void Oracle::checkTime() const {
    const auto limit = kLongestWait * test::timeScale();
    const auto now = Request::Clock::now();
    for (const auto& [key, dialogue] : dialogues_) {
        if (dialogue.complete || dialogue.isOpen() || now - dialogue.request.sent <= limit)
            continue;
        throw Violation("no complete answer in time\n  request: " + dialogue.request.describe() +
                        "\n  frames:" + dialogue.frames);
    }
}

std::size_t Oracle::owed() const {
    std::size_t result = 0;
    for (const auto& [key, dialogue] : dialogues_) {
        if (!dialogue.complete && !dialogue.isOpen()) ++result;
    }
    return result;
}

void Oracle::ended() const {
    for (const auto& [key, dialogue] : dialogues_) {
        if (dialogue.complete || dialogue.isOpen()) continue;
        throw Violation("the connection ended and an answer is owed\n  request: " +
                        dialogue.request.describe() + "\n  frames:" + dialogue.frames);
    }
}

}  // namespace teskd::soak
