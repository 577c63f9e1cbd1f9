#include "soak/ServerTrouble.h"

#include <cstdlib>
#include <system_error>

#include "gateway/AamsDialogue.h"
#include "soak/Request.h"
#include "soak/Violation.h"
#include "support/Hex.h"

namespace teskd::soak {

namespace {

using std::chrono::milliseconds;

constexpr std::uint64_t kStream = 4000;
constexpr milliseconds kRest{20};
constexpr milliseconds kBetweenPasses{400};
constexpr int kTime = 1;
constexpr int kParameters = 2;
constexpr const char* kManners[] = {
    "good",    "absent", "silent", "late",        "other identifiers",
    "garbage", "short",  "twice",  "wrong codes", "strays"};

// One that is given, and not chosen at the last moment, stays the peer's whatever it does.
test::UdpPeer peerOf(const Network& network) {
    const std::uint16_t port = network.peer().port();
    return network.peer(port);
}

std::string answerWith(const test::Frame& notification, int code, std::string_view body) {
    return test::answerTo(notification, test::aamsPayload(code, body));
}

}  // namespace

ServerTrouble::ServerTrouble(const Network& network, Stage& stage, Summary& summary,
                             std::uint64_t seed)
    : stage_(stage),
      summary_(summary),
      random_(seed, kStream),
      peer_(peerOf(network)),
      stranger_(network.peer()) {}

void ServerTrouble::run() {
    try {
        while (!stage_.isOver()) turn();
    } catch (const std::exception& e) {
        stage_.violation(std::string("notification server: ") + e.what());
    }
}

void ServerTrouble::turn() {
    if (!stage_.isTrouble()) {
        if (!isForCalm(manner_)) begin(random_.chance(50) ? Manner::Good : Manner::Strays);
    } else if (Clock::now() >= mannerEnds_) {
        begin(static_cast<Manner>(random_.weighted({50, 8, 8, 10, 6, 6, 6, 6, 6, 10})));
        mannerEnds_ =
            Clock::now() + random_.milliseconds(300, manner_ == Manner::Good ? 8000 : 3000);
    }
    serve();
}

bool ServerTrouble::isForCalm(Manner manner) {
    return manner == Manner::Good || manner == Manner::Strays;
}

void ServerTrouble::begin(Manner manner) {
    summary_.count("server manners", kManners[static_cast<std::size_t>(manner)]);
    if (manner == Manner::Absent || manner_ == Manner::Absent) {
        peer_.setRefusing(manner == Manner::Absent);
    }
    manner_ = manner;
    if (manner == Manner::Absent) due_.clear();
}

void ServerTrouble::serve() {
    if (manner_ == Manner::Absent) return stage_.stay(Stage::Act::Trouble, kRest);
    if (const auto datagram = peer_.receiveWithin(kRest)) take(*datagram);
    sendDue();
    const bool strays = manner_ == Manner::Strays || manner_ == Manner::Silent;
    if (strays && Clock::now() >= nextStray_) sendStray();
}

void ServerTrouble::take(const std::string& datagram) {
    const auto frame = test::parseFrame(datagram);
    if (!frame || !frame->checksumOk || frame->type != kAamsType || frame->kind != 0x81) {
        throw Violation("not a notification: " + test::hex(datagram));
    }
    const int code = codeOf(*frame);
    if (code < 1 || code > 5) throw Violation("a notification of no kind: " + test::hex(datagram));
    if (!seen_.insert({frame->identifierA, frame->identifierB}).second) {
        throw Violation("identifiers that were there before: " + test::hex(datagram));
    }
    summary_.count("notifications", "code " + std::to_string(code));
    ++received_;
    answer(*frame);
}

int ServerTrouble::codeOf(const test::Frame& notification) {
    if (notification.body.size() < 12) return -1;
    return std::atoi(notification.body.substr(4, 3).c_str());
}

void ServerTrouble::answer(const test::Frame& notification) {
    const std::string right = rightAnswer(notification);
    switch (manner_) {
        case Manner::Silent:
            return later(std::chrono::duration_cast<milliseconds>(mannerEnds_ - Clock::now()),
                         right);
        case Manner::Late:
            return later(random_.milliseconds(100, 3000), right);
        case Manner::OtherIdentifiers: {
            test::Frame other = notification;
            other.identifierB += 1000000;
            later(milliseconds(0), answerWith(other, kParameters, "-1!1!1!0"));
            return later(random_.milliseconds(0, 500), right);
        }
        case Manner::Garbage:
            later(milliseconds(0),
                  random_.bytes(static_cast<std::size_t>(random_.between(42, 500))));
            return later(random_.milliseconds(0, 500), right);
        case Manner::Short:
            later(milliseconds(0),
                  right.substr(0, static_cast<std::size_t>(random_.between(0, 60))));
            return later(random_.milliseconds(0, 500), right);
        case Manner::Twice:
            later(milliseconds(0), right);
            return later(random_.milliseconds(0, 100), right);
        case Manner::Wrong:
            return later(milliseconds(0), answerWith(notification, random_.between(6, 999), "-x"));
        default:
            return later(milliseconds(0), right);
    }
}

// The time is answered with no time at all: nobody's clock is set.
std::string ServerTrouble::rightAnswer(const test::Frame& notification) {
    const int code = codeOf(notification);
    const auto now = Clock::now();
    if (now - lastPass_ >= kBetweenPasses) {
        lastPass_ = now;
        return answerWith(notification, kParameters, "-1!1!1!0");
    }
    return answerWith(notification, code, code == kTime ? "-no time" : "-");
}

void ServerTrouble::later(milliseconds time, std::string datagram) {
    due_.push_back({Clock::now() + time, std::move(datagram)});
}

void ServerTrouble::sendDue() {
    const std::size_t waiting = due_.size();
    for (std::size_t i = 0; i < waiting; ++i) {
        Due due = std::move(due_.front());
        due_.pop_front();
        if (due.at > Clock::now()) {
            due_.push_back(std::move(due));
        } else {
            send(due.datagram);
        }
    }
}

// While there is no way to the daemon the system may refuse it.
void ServerTrouble::send(const std::string& datagram) {
    try {
        peer_.reply(datagram);
    } catch (const std::system_error&) {
        summary_.count("network", "an answer could not be sent");
    }
}

// In bursts, or alone: every few seconds one keeps a daemon busy that forgets the time meanwhile.
void ServerTrouble::sendStray() {
    nextStray_ = Clock::now() + random_.milliseconds(1, random_.chance(50) ? 50 : 4000);
    if (received_ == 0) return;
    test::Frame frame{
        .type = kAamsType,
        .identifierA = static_cast<std::uint32_t>(random_.between(0, 9)),
        .identifierB = static_cast<std::uint32_t>(random_.between(1, 2000000000)) + 1000000};
    std::string datagram = answerWith(frame, random_.between(1, 5), "-1!1!1!0");
    if (random_.chance(20))
        datagram = random_.bytes(static_cast<std::size_t>(random_.between(0, 1400)));
    summary_.count("stray datagrams", "sent");
    if (random_.chance(50)) return send(datagram);
    try {
        peer_.replyThrough(stranger_, datagram);
    } catch (const std::system_error&) {
        summary_.count("network", "an answer could not be sent");
    }
}

}  // namespace teskd::soak
