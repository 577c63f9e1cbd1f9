#include "bench/Machine.h"

#include <cstdlib>
#include <sys/socket.h>
#include <utility>

#include "tesksim/Message.h"
#include "tesksim/TelnetServer.h"

namespace teskd::bench {

namespace {

constexpr std::size_t HEADER_SIZE = 8;    // "113~0008"
constexpr std::size_t OFFSET_LENGTH = 4;  // four digits, for the whole message
constexpr std::size_t BUFFER_SIZE = 4096;

std::size_t messageSize(const std::string& pending) {
    const std::string digits = pending.substr(OFFSET_LENGTH, HEADER_SIZE - OFFSET_LENGTH);
    const std::size_t size = std::strtoul(digits.c_str(), nullptr, 16);
    return size < HEADER_SIZE ? HEADER_SIZE : size;
}

}  // namespace

Machine::Machine(Answers answers)
    : answers_(std::move(answers)),
      listener_(listenAnywhere()),
      thread_(&Machine::acceptAll, this) {}

Machine::Machine(Answers answers, UniqueFd tty)
    : answers_(std::move(answers)),
      tty_(std::move(tty)),
      thread_([this] { serve(tty_.get(), false); }) {}

Machine::~Machine() {
    stopping_ = true;
    if (listener_.valid()) ::shutdown(listener_.get(), SHUT_RDWR);
    {
        const std::lock_guard lock(mutex_);
        if (connection_.valid()) ::shutdown(connection_.get(), SHUT_RDWR);
    }
    thread_.join();
}

void Machine::acceptAll() {
    while (!stopping_) {
        UniqueFd connection = acceptFrom(listener_);
        if (!connection.valid()) return;
        const int fd = connection.get();
        {
            const std::lock_guard lock(mutex_);
            connection_ = std::move(connection);
            if (stopping_) return;
        }
        serve(fd, true);
    }
}

void Machine::serve(int fd, bool telnet) {
    tesksim::TelnetServer server(tesksim::Negotiation::Agree);
    std::string pending;
    char buffer[BUFFER_SIZE];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0) return;
        const std::string_view bytes(buffer, static_cast<std::size_t>(n));
        if (telnet) {
            pending += server.receive(bytes);
            if (!writeAll(fd, server.takeReply())) return;
        } else {
            pending += bytes;
        }
        if (!answerAll(fd, pending)) return;
    }
}

bool Machine::answerAll(int fd, std::string& pending) {
    while (pending.size() >= HEADER_SIZE) {
        const std::size_t size = messageSize(pending);
        if (pending.size() < size) return true;
        const std::string message = pending.substr(0, size);
        pending.erase(0, size);
        const int id = std::atoi(message.c_str());
        if (id == tesksim::kAcknowledgement) {
            remember(acknowledgement_, message);
            ++acknowledgements_;
            continue;
        }
        const std::string& answer = answerTo(id);
        if (answers_.after.count() > 0) std::this_thread::sleep_for(answers_.after);
        if (!writeAll(fd, answer)) return false;
        remember(request_, message);
        remember(answer_, answer);
    }
    return true;
}

const std::string& Machine::answerTo(int id) {
    std::string& bytes = made_[id];
    if (bytes.empty()) {
        tesksim::Answer answer;
        answer.id = id;
        answer.codeId = answers_.codeId;
        answer.body = id == POLL_ID ? answers_.toPoll : answers_.toAll;
        bytes = tesksim::encode(answer);
    }
    return bytes;
}

void Machine::remember(std::string& what, const std::string& bytes) {
    if (what == bytes) return;
    const std::lock_guard lock(mutex_);
    what = bytes;
}

std::string Machine::lastRequest() const {
    const std::lock_guard lock(mutex_);
    return request_;
}

std::string Machine::lastAnswer() const {
    const std::lock_guard lock(mutex_);
    return answer_;
}

std::string Machine::lastAcknowledgement() const {
    const std::lock_guard lock(mutex_);
    return acknowledgement_;
}

}  // namespace teskd::bench
