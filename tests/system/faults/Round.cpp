#include "faults/Round.h"

#include <algorithm>
#include <sstream>

#include "gateway/AamsDialogue.h"
#include "gateway/Gateway.h"

namespace teskd::test {

namespace {

constexpr std::uint32_t kMeters = 1;
constexpr std::uint32_t kEntries = 2;
constexpr std::uint32_t kVersion = 3;
constexpr std::uint32_t kEngine = 4;
constexpr std::uint32_t kLast = kEngine;

constexpr std::uint8_t kRegular = 0x81;
constexpr std::size_t kTotal = 8;  // offset of the count of machines or pages, behind the date
constexpr std::size_t kSequence = 9;

// How many frames an answer consists of that begins with this one.
std::size_t framesOf(const Frame& first) {
    const bool counted = first.identifierB == kMeters || first.identifierB == kEntries;
    if (!counted || first.kind != kRegular || first.body.size() <= kSequence) return 1;
    return static_cast<unsigned char>(first.body[kTotal]);
}

}  // namespace

std::string Round::threePages() {
    std::string payload = "METER001~01=7";
    for (int i = 1; i < 600; ++i) payload += "~METER001~01=7";
    return payload;
}

void Round::run(HostClient& host, Deadline deadline) {
    try {
        ask(host);
        while (!areAllAnswered()) readOne(host, deadline);
    } catch (const Timeout& e) {
        problem_ = e.what();
    } catch (const std::exception& e) {
        end_ = e.what();
    }
}

void Round::ask(HostClient& host) {
    host.request(1, std::string(1, '\0'), 0, kMeters);
    host.request(2, named("CNT00001CNT99999", codeIdOf(1)), 0, kEntries);
    host.request(7, "", 0, kVersion);
    host.request(kAamsType, aamsPayload(501, ""), 0, kEngine);
}

void Round::readOne(HostClient& host, Deadline deadline) {
    const Frame frame = host.readFrame(deadline);
    answers_[frame.identifierB].push_back(frame);
}

bool Round::isAnswered(std::uint32_t request) const {
    const auto found = answers_.find(request);
    if (found == answers_.end()) return false;
    return found->second.size() >= framesOf(found->second.front());
}

bool Round::areAllAnswered() const {
    for (std::uint32_t request = 1; request <= kLast; ++request) {
        if (!isAnswered(request)) return false;
    }
    return true;
}

bool Round::isSettled() const {
    return !end_.empty() || areAllAnswered();
}

bool Round::isFull(std::size_t machines) const {
    if (!end_.empty() || !areAllAnswered()) return false;
    for (const auto& [request, frames] : answers_) {
        const auto regular = [](const Frame& frame) {
            return frame.kind == kRegular && frame.checksumOk && !frame.body.empty();
        };
        if (!std::all_of(frames.begin(), frames.end(), regular)) return false;
        if (frames.size() != framesOf(frames.front())) return false;
        if (request == kMeters && frames.size() != machines) return false;
    }
    return true;
}

std::string Round::describe() const {
    std::ostringstream text;
    for (const auto& [request, frames] : answers_) {
        text << "request " << request << ":" << std::hex;
        for (const Frame& frame : frames) text << " " << unsigned{frame.kind};
        text << std::dec << "; ";
    }
    text << end_ << problem_;
    return text.str();
}

}  // namespace teskd::test
