#include "faults/PollingServer.h"

#include <chrono>

#include "gateway/AamsDialogue.h"

namespace teskd::test {

namespace {

using namespace std::chrono_literals;

constexpr int kParameters = 2;  // code of an answer that brings them
constexpr int kNoEffect = 4;
constexpr char kPollAtOnce[] = "-1!1!1!0";

}  // namespace

PollingServer::PollingServer(UdpPeer& socket) : socket_(socket), thread_([this] { run(); }) {}

PollingServer::~PollingServer() {
    stopping_ = true;
    thread_.join();
}

bool PollingServer::awaitMoreThan(std::size_t count, Deadline deadline) const {
    return eventually([&] { return received_ > count; }, deadline);
}

// The latest notification is held until a poll is demanded; those before it are let go.
void PollingServer::run() {
    while (!stopping_) {
        if (const auto datagram = socket_.receiveWithin(held_ ? 2ms : 20ms)) take(*datagram);
        if (held_ && demanded_.exchange(false)) answer(kParameters, kPollAtOnce);
    }
}

void PollingServer::take(const std::string& datagram) {
    if (held_) answer(kNoEffect, "-");
    held_ = parseFrame(datagram);
    if (held_) ++received_;
}

void PollingServer::answer(int code, const std::string& body) {
    socket_.reply(answerTo(*held_, aamsPayload(code, body)));
    held_.reset();
}

}  // namespace teskd::test
