#include "bench/Gateway.h"

#include <poll.h>
#include <stdexcept>
#include <unistd.h>
#include <utility>

#include "host/Frame.h"
#include "host/Request.h"
#include "support/Deadline.h"

namespace teskd::bench {

namespace {

using teskhost::Request;

constexpr int QUIET = 200;  // milliseconds without a byte behind a whole answer

test::DaemonProcess::Options optionsOf(const Setup& setup) {
    test::DaemonProcess::Options options;
    options.program = setup.daemon;
    return options;
}

// One poll at the start, and none while anything is measured.
test::Config configOf(const Lines& lines, std::uint16_t notificationPort) {
    constexpr int NEVER = 1000;  // minutes
    test::Config config;
    config.serialPorts(lines.ports()).server(notificationPort).polling(0, NEVER);
    for (std::size_t n = 1; n <= lines.count(); ++n) {
        const std::string section = "PORT_ASYNC" + std::to_string(n);  // few have defaults
        config.set(section, "IP_ADDRESS", "127.0.0.1").set(section, "BAUDRATE", "115200");
        config.set(section, "DATASIZE", "8").set(section, "PARITY", "NONE");
        config.set(section, "STOPSIZE", "1").set(section, "FLOWCONTROL", "No Flow");
    }
    return config;
}

Request requestTo(int type, const std::string& machine) {
    switch (type) {
        case Request::kCounters:
            return Request::counters(machine);
        case Request::kListByFields:
            return Request::list("CNT00001", "CNT99999", machine);
        case Request::kListByNumbers:
            return Request::list(1, 9999, machine);
        case Request::kTimes:
            return Request::times("00:00:00", "23:59:59", machine);
        case Request::kValue:
            return Request::value(118, machine);
        case Request::kMessage:
            return Request::message("120~0008", machine);
        case Request::kVersion:
            return Request::version();
        case Request::kMachines:
            return Request::machines();
        default:
            throw std::invalid_argument("there is no such type of request");
    }
}

std::string frameOf(const Request& request) {
    teskhost::Frame frame;
    frame.type = request.type;
    frame.body = request.body;
    return frame.encode();
}

std::string readAnswer(int fd) {
    std::string answer;
    char buffer[65536];
    pollfd entry{fd, POLLIN, 0};
    int patience = static_cast<int>(test::kPatience.count());
    while (::poll(&entry, 1, patience) > 0) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0) break;
        answer.append(buffer, static_cast<std::size_t>(n));
        patience = QUIET;
    }
    return answer;
}

// The answer comes whole and at once.
bool isAnswered(int fd) {
    char answer[4096];
    pollfd entry{fd, POLLIN, 0};
    const int patience = static_cast<int>(test::kPatience.count());
    return ::poll(&entry, 1, patience) > 0 && ::read(fd, answer, sizeof answer) > 0;
}

}  // namespace

Gateway::Gateway(const Setup& setup, std::size_t idleHosts)
    : setup_(setup),
      lines_(setup),
      daemon_(optionsOf(setup), configOf(lines_, notifications_.port())) {
    daemon_.start();
    lines_.awaitKnown();
    if (!setup.readsLog) daemon_.log().discard();
    connectIdle(idleHosts);
}

// The daemon has a short queue for those who connect, and the system lets who does not fit wait for
// a second: each is answered once before the next one comes.
void Gateway::connectIdle(std::size_t count) {
    const std::string version = frameOf(Request::version());
    while (idle_.size() < count) {
        idle_.push_back(connectTo(daemon_.port()));
        const int host = idle_.back().get();
        if (!writeAll(host, version) || !isAnswered(host)) {
            throw test::Timeout("the daemon does not serve its hosts");
        }
    }
}

std::string Gateway::requestOf(std::size_t host) const {
    return frameOf(requestTo(setup_.type, Lines::codeIdOf(host % setup_.machines)));
}

Conversation Gateway::capture() {
    Conversation talk;
    const UniqueFd host = connectTo(daemon_.port());
    talk.hostRequest = requestOf(0);
    writeAll(host.get(), talk.hostRequest);
    talk.hostAnswer = readAnswer(host.get());
    const auto kind = talk.hostAnswer.size() < 2 ? '\0' : talk.hostAnswer[1];
    if (static_cast<unsigned char>(kind) != static_cast<unsigned>(teskhost::Kind::Regular)) {
        throw std::runtime_error("the daemon does not answer as it should");
    }
    if (setup_.isImmediate()) return talk;
    talk.machineRequest = lines_.machine(0).lastRequest();
    talk.machineAnswer = lines_.machine(0).lastAnswer();
    talk.acknowledgement = lines_.machine(0).lastAcknowledgement();
    return talk;
}

Road::Description Gateway::road(std::string name, const std::string& answer) const {
    Road::Description road{std::move(name), daemon_.port(), daemon_.pid(), {}, answer};
    for (std::size_t i = 0; i < setup_.hosts; ++i) road.requests.push_back(requestOf(i));
    return road;
}

}  // namespace teskd::bench
