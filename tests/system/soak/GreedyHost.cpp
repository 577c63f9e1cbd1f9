#include "soak/GreedyHost.h"

#include <algorithm>
#include <poll.h>
#include <sys/socket.h>
#include <vector>

#include "soak/Violation.h"
#include "support/Deadline.h"
#include "support/Frame.h"

namespace teskd::soak {

namespace {

using std::chrono::milliseconds;

constexpr std::uint64_t kStream = 6000;
constexpr int kMegabyte = 1024 * 1024;
constexpr int kLargestBody = 15 * kMegabyte;
constexpr milliseconds kSlice{100};
constexpr milliseconds kRest{50};
// So many requests one connection may have open, and more.
constexpr int kMostInShort = 600;
constexpr milliseconds kPatience{8000};

// The daemon has ended the connection.
class Ended : public std::exception {};

}  // namespace

GreedyHost::GreedyHost(std::uint32_t number, const SoakHost::Surroundings& surroundings,
                       Crowd& crowd)
    : number_(number),
      around_(surroundings),
      crowd_(crowd),
      random_(surroundings.seed, kStream + number),
      maker_(number, surroundings.park.codeIds(), random_) {}

void GreedyHost::run() {
    shift_.work(around_.stage, [this] {
        around_.stage.stay(Stage::Act::Trouble, random_.milliseconds(300, 3000));
        try {
            if (around_.stage.isTrouble()) once();
        } catch (const Violation& e) {
            around_.stage.violation("greedy host " + std::to_string(number_) + ": " + e.what());
        } catch (const std::exception&) {
            around_.summary.count("connections ended", "a greedy host's, by the daemon");
        }
    });
}

void GreedyHost::once() {
    switch (random_.weighted({30, 20, 40, 10})) {
        case 0:
            return beginBodies();
        case 1:
            return sendLargeRequest();
        case 2:
            return askVeryMuch();
        default:
            return crowd();
    }
}

HostLine GreedyHost::connect() {
    maker_.nextConnection();
    around_.summary.count("connections", "of greedy hosts");
    around_.door.acquire();
    try {
        HostLine line(around_.port);
        around_.door.release();
        return line;
    } catch (...) {
        around_.door.release();
        throw;
    }
}

// The beginning of a request with a body of megabytes.
std::string GreedyHost::unfinished() {
    test::Frame frame = maker_.version().frame;
    frame.body.clear();
    const int size = random_.between(kMegabyte, kLargestBody);
    std::string bytes = frame.encode().substr(0, test::Frame::kHeaderSize);
    bytes.replace(4, 4, test::big32(static_cast<std::uint32_t>(size)));
    bytes.append(static_cast<std::size_t>(size - random_.between(1, kMegabyte / 2)), 'B');
    return bytes;
}

void GreedyHost::beginBodies() {
    around_.summary.count("greed", "unfinished bodies");
    const Episode::Guard full(around_.park.excuses().bodies);
    const int count = random_.between(1, 4);
    std::vector<HostLine> lines;
    std::vector<std::string> bodies;
    for (int i = 0; i < count; ++i) {
        lines.push_back(connect());
        bodies.push_back(unfinished());
    }
    std::vector<std::string_view> left(bodies.begin(), bodies.end());
    const auto end = Clock::now() + random_.milliseconds(1000, 8000);
    while (Clock::now() < end && around_.stage.isTrouble()) {
        for (std::size_t i = 0; i < lines.size(); ++i) push(lines[i], left[i], kSlice);
        around_.stage.stay(Stage::Act::Trouble, kRest);
    }
    if (random_.chance(50)) lines.front().connection().reset();
}

// Once the daemon has taken it, the answer is due.
void GreedyHost::sendLargeRequest() {
    around_.summary.count("greed", "large requests");
    const Episode::Guard full(around_.park.excuses().bodies);
    const auto begun = Clock::now();
    Request request = maker_.version();
    request.frame.body.assign(static_cast<std::size_t>(random_.between(kMegabyte, 4 * kMegabyte)),
                              'b');
    try {
        HostLine line = connect();
        askLargeRequest(line, request);
    } catch (const Ended&) {
        const Excuses& excuses = around_.park.excuses();
        if (excuses.crowd.wasSince(begun) || excuses.failures.wasSince(begun)) throw;
        throw Violation("the daemon has ended a connection with a large request");
    }
}

void GreedyHost::askLargeRequest(HostLine& line, const Request& request) {
    const std::string bytes = request.frame.encode();
    std::string_view left = bytes;
    while (!left.empty() && !around_.stage.isOver()) push(line, left, kSlice);
    Oracle oracle(around_.park, around_.summary);
    oracle.asked(request);
    while (oracle.owed() > 0 && !around_.stage.isOver()) {
        for (const test::Frame& frame : line.read(kRest)) oracle.received(frame);
        oracle.checkTime();
        if (line.isEnded() && oracle.owed() > 0) throw Ended();
    }
}

// One machine, or all, are asked far more than they answer in that time, and then the host goes.
void GreedyHost::askVeryMuch() {
    constexpr std::uint8_t kTypes[] = {2, 3, 4, 6};
    const bool one = random_.chance(50);
    const std::string only = random_.pick(around_.park.codeIds());
    std::string bytes;
    const std::uint32_t first = maker_.lastRequest() + 1;
    const int count = random_.between(100, 900);
    for (int i = 0; i < count; ++i) {
        const std::string& codeId = one ? only : random_.pick(around_.park.codeIds());
        bytes += maker_.toMachine(random_.pick(kTypes), codeId).frame.encode();
    }
    HostLine line = connect();
    std::string_view left = bytes;
    push(line, left, random_.milliseconds(200, 1500));
    if (left.empty() && count <= kMostInShort) checkThatOthersGoOn(line);
    around_.stage.stay(Stage::Act::Trouble, random_.milliseconds(0, 1000));
    if (random_.chance(70)) {
        around_.summary.count("greed", "very many requests, then a reset");
        line.connection().reset();
        around_.park.departures().left(number_, first, maker_.lastRequest());
    } else {
        around_.summary.count("greed", "very many requests, then closed");
    }
}

void GreedyHost::checkThatOthersGoOn(HostLine& line) {
    const auto begun = Clock::now();
    const test::Frame asked = maker_.version().frame;
    const std::string bytes = asked.encode();
    std::string_view left = bytes;
    push(line, left, kPatience);
    const test::Deadline deadline(kPatience);
    while (!deadline.passed() && around_.stage.isTrouble()) {
        for (const test::Frame& frame : line.read(kRest)) {
            if (frame.identifierB == asked.identifierB) return;
        }
        if (line.isEnded()) throw Ended();
    }
    const Excuses& excuses = around_.park.excuses();
    const bool excused = excuses.failures.wasSince(begun) || excuses.bodies.wasSince(begun);
    if (!around_.stage.isTrouble() || excused) return;
    throw Violation("requests to a machine that does not answer hold up the next one");
}

void GreedyHost::crowd() {
    if (!crowd_.tryHold()) return;
    crowd_.gather();
    around_.stage.stay(Stage::Act::Trouble, random_.milliseconds(500, 5000));
    crowd_.leave();
    crowd_.release();
}

void GreedyHost::push(HostLine& line, std::string_view& bytes, milliseconds time) {
    const auto end = Clock::now() + time;
    while (!bytes.empty() && Clock::now() < end) {
        pollfd writable{line.connection().fd(), POLLOUT, 0};
        if (::poll(&writable, 1, static_cast<int>(kSlice.count())) <= 0) continue;
        const ssize_t count =
            ::send(line.connection().fd(), bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) throw Ended();
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

}  // namespace teskd::soak
