#include "soak/SoakHost.h"

#include <algorithm>
#include <memory>
#include <system_error>

#include "soak/Violation.h"
#include "support/Deadline.h"

namespace teskd::soak {

namespace {

using std::chrono::milliseconds;

constexpr std::uint64_t kStream = 3000;
constexpr std::size_t kMostOwed = 10;
constexpr milliseconds kRest{50};
// Longer than the daemon waits for a host that takes nothing.
constexpr std::chrono::seconds kEndPatience{10};

// The daemon gave this host up, as it may.
class GivenUp {};

}  // namespace

SoakHost::SoakHost(std::uint32_t number, const Surroundings& surroundings)
    : number_(number),
      around_(surroundings),
      random_(surroundings.seed, kStream + number),
      maker_(number, surroundings.park.codeIds(), random_) {}

void SoakHost::run() {
    shift_.work(around_.stage, [this] {
        try {
            visit();
        } catch (const GivenUp&) {
            around_.summary.count("connections ended", "given up by the daemon");
        } catch (const std::exception& e) {
            around_.stage.violation("host " + std::to_string(number_) + ": " + e.what());
        }
        around_.stage.stay(Stage::Act::Trouble, random_.milliseconds(0, 300));
    });
}

void SoakHost::visit() {
    Visit visit = enter();
    try {
        const int acts = random_.between(0, 25);
        for (int i = 0; i < acts && around_.stage.isTrouble(); ++i) {
            act(visit);
            readUntil(visit, kMostOwed);
        }
        leave(visit);
    } catch (const std::exception& e) {
        throw Violation(e.what() + ("\n  what the host did: " + visit.story));
    }
}

// Few hosts at a time, until the daemon has answered: it lets five wait to be accepted, and the
// system resets some of those who come when there are more.
SoakHost::Visit SoakHost::enter() {
    maker_.nextConnection();
    around_.door.acquire();
    const std::unique_ptr<Door, void (*)(Door*)> held(&around_.door,
                                                      [](Door* door) { door->release(); });
    Visit visit{connect(), Oracle(around_.park, around_.summary)};
    around_.summary.count("connections", "opened in trouble");
    const Request request = maker_.version();
    visit.oracle.asked(request);
    send(visit, request.frame.encode());
    readUntil(visit, 0);
    visit.isIn = true;
    return visit;
}

// In a crowd the system may turn a host away before the daemon knows of it.
HostLine SoakHost::connect() {
    const auto begun = Request::Clock::now();
    try {
        return HostLine(around_.port);
    } catch (const std::exception&) {
        if (around_.park.excuses().crowd.wasSince(begun)) throw GivenUp();
        throw;
    }
}

bool SoakHost::mayBeGivenUp(const Visit& visit) const {
    const Excuses& excuses = around_.park.excuses();
    return visit.heldUp || excuses.failures.wasSince(visit.begun) ||
           (!visit.isIn && excuses.crowd.wasSince(visit.begun));
}

void SoakHost::act(Visit& visit) {
    const int draw = random_.between(1, 100);
    if (draw <= 55) {
        ask(visit, 1);
    } else if (draw <= 75) {
        ask(visit, random_.between(2, 8));
    } else if (draw <= 85) {
        readUntil(visit, 0);
    } else if (draw <= 93) {
        read(visit, random_.milliseconds(1, 200));
    } else if (draw <= 97) {
        sendBadChecksum(visit);
    } else {
        stopReading(visit);
    }
}

void SoakHost::ask(Visit& visit, int requests) {
    std::string bytes;
    for (int i = 0; i < requests; ++i) {
        const Request request = maker_.any();
        visit.story += request.kind() + ", ";
        bytes += request.frame.encode();
        visit.oracle.asked(request);
    }
    const int manner = random_.between(1, 100);
    if (manner <= 80) {
        send(visit, bytes);
    } else {
        sendInPieces(visit, bytes);
    }
}

void SoakHost::send(Visit& visit, std::string_view bytes) {
    if (visit.line.send(bytes)) return;
    if (mayBeGivenUp(visit)) throw GivenUp();
    throw Violation("the daemon has ended the connection: a request cannot be sent");
}

// Byte by byte, or in a few pieces with pauses.
void SoakHost::sendInPieces(Visit& visit, std::string_view bytes) {
    const bool single = random_.chance(40);
    visit.story += "in pieces, ";
    around_.summary.count("host faults", single ? "byte by byte" : "in pieces");
    while (!bytes.empty()) {
        const auto size = static_cast<std::size_t>(single ? 1 : random_.between(1, 80));
        send(visit, bytes.substr(0, size));
        bytes.remove_prefix(std::min(size, bytes.size()));
        if (!single) read(visit, random_.milliseconds(0, 20));
    }
}

void SoakHost::stopReading(Visit& visit) {
    around_.summary.count("host faults", "stopped reading");
    visit.heldUp = true;
    visit.story += "stopped reading, ";
    ask(visit, random_.between(1, 100));
    around_.stage.stay(Stage::Act::Trouble, random_.milliseconds(200, 3500));
}

// The daemon drops such a frame and goes on behind it.
void SoakHost::sendBadChecksum(Visit& visit) {
    around_.summary.count("host faults", "bad checksum");
    visit.story += "bad checksum, ";
    std::string bytes = maker_.any().frame.encode();
    bytes.back() = static_cast<char>(bytes.back() + random_.between(1, 255));
    send(visit, bytes);
}

void SoakHost::readUntil(Visit& visit, std::size_t owed) {
    do {
        read(visit, visit.oracle.owed() > owed ? kRest : milliseconds(0));
        visit.oracle.checkTime();
    } while (visit.oracle.owed() > owed && !around_.stage.isOver());
}

void SoakHost::read(Visit& visit, milliseconds time) {
    for (const test::Frame& frame : visit.line.read(time)) visit.oracle.received(frame);
    if (!visit.line.isEnded()) return;
    if (mayBeGivenUp(visit)) throw GivenUp();
    throw Violation(visit.line.isReset() ? "the daemon has reset the connection"
                                         : "the daemon has ended the connection");
}

void SoakHost::leave(Visit& visit) {
    static const char* const kManners[] = {"in order",
                                           "half-closed",
                                           "inside a frame",
                                           "after junk",
                                           "closed with answers owed",
                                           "reset with answers owed"};
    const std::size_t manner = random_.weighted({30, 20, 12, 14, 12, 12});
    visit.story += std::string("leaves ") + kManners[manner];
    switch (manner) {
        case 0:
            leaveInOrder(visit);
            break;
        case 1:
            leaveHalfClosed(visit);
            break;
        case 2:
            leaveInsideFrame(visit);
            break;
        case 3:
            leaveAfterJunk(visit);
            break;
        case 4:
            visit.line.connection().close();
            break;
        default:
            visit.line.connection().reset();
            break;
    }
    around_.summary.count("connections ended", kManners[manner]);
}

void SoakHost::leaveInOrder(Visit& visit) {
    readUntil(visit, 0);
    read(visit, random_.milliseconds(0, 30));
    visit.line.connection().close();
}

void SoakHost::leaveHalfClosed(Visit& visit) {
    visit.line.connection().shutdownWrite();
    expectEnd(visit);
}

void SoakHost::leaveInsideFrame(Visit& visit) {
    const std::string bytes = maker_.any().frame.encode();
    const int size = random_.between(1, static_cast<int>(bytes.size()) - 1);
    send(visit, std::string_view(bytes).substr(0, static_cast<std::size_t>(size)));
    switch (random_.between(1, 3)) {
        case 1:
            return visit.line.connection().close();
        case 2:
            return visit.line.connection().reset();
        default:
            return leaveHalfClosed(visit);
    }
}

void SoakHost::leaveAfterJunk(Visit& visit) {
    send(visit, junk());
    readUntil(visit, 0);
    read(visit, random_.milliseconds(0, 1500));
    if (random_.chance(50)) send(visit, junk());
    if (random_.chance(50)) leaveHalfClosed(visit);
}

// All that is owed, and then the end.
void SoakHost::expectEnd(Visit& visit) {
    const auto takeAll = [&] {
        for (const test::Frame& frame : visit.line.read(kRest)) visit.oracle.received(frame);
        visit.oracle.checkTime();
    };
    while (visit.oracle.owed() > 0 && !visit.line.isEnded() && !around_.stage.isOver()) takeAll();
    // Machines that have all failed so far leave open how many were asked; then it takes longer.
    const test::Deadline deadline(kEndPatience * 4);
    while (!visit.line.isEnded() && !deadline.passed() && !around_.stage.isOver()) takeAll();
    if (around_.stage.isOver()) return;
    takeAll();
    if (!visit.line.isEnded()) throw Violation("the daemon does not end a half-closed connection");
    if (mayBeGivenUp(visit) && (visit.oracle.owed() > 0 || visit.line.isReset())) throw GivenUp();
    visit.oracle.ended();
    if (visit.line.isInsideFrame()) throw Violation("the connection ended inside a frame");
}

// Bytes after which nothing is owed to anybody.
std::string SoakHost::junk() {
    around_.summary.count("host faults", "junk");
    const std::string good = maker_.any().frame.encode();
    switch (random_.between(1, 4)) {
        case 1: {  // no type of this kind
            std::string bytes = good;
            constexpr std::string_view kTypes("\x00\x09\x7F\xFD\xFF", 5);
            bytes[3] = random_.pick(kTypes);
            return bytes;
        }
        case 2: {  // no start
            std::string bytes = good;
            bytes[static_cast<std::size_t>(random_.between(0, 1))] = '\x42';
            return bytes;
        }
        case 3: {  // an absurd length
            std::string bytes = good.substr(0, test::Frame::kHeaderSize);
            bytes.replace(4, 4, random_.chance(50) ? test::big32(0) : test::big32(0xFFFFFFF0U));
            return bytes;
        }
        default:  // anything, but no request by chance
            return "\x01" + random_.bytes(static_cast<std::size_t>(random_.between(1, 300)));
    }
}

}  // namespace teskd::soak
