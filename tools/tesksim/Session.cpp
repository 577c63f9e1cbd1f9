#include "tesksim/Session.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <utility>

namespace tesksim {

namespace {

// Like write(2), but a disconnected peer causes an error, not a signal.
ssize_t writeQuietly(int fd, const char* data, std::size_t size) {
    const ssize_t count = ::send(fd, data, size, MSG_NOSIGNAL);
    return count < 0 && errno == ENOTSOCK ? ::write(fd, data, size) : count;
}

}  // namespace

Session::Session(tools::UniqueFd fd, std::optional<Negotiation> negotiation, Journal& journal)
    : fd_(std::move(fd)), journal_(journal) {
    if (negotiation) telnet_.emplace(*negotiation);
    ::fcntl(fd_.get(), F_SETFL, ::fcntl(fd_.get(), F_GETFL) | O_NONBLOCK);
    journal_.connected();
}

Session::~Session() {
    fd_.reset();
    journal_.disconnected();
}

bool Session::readInput() {
    char buffer[4096];
    const ssize_t count = ::read(fd_.get(), buffer, sizeof buffer);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    if (count == 0) return false;
    const std::string_view raw(buffer, static_cast<std::size_t>(count));
    journal_.received(raw);
    std::string data(raw);
    if (telnet_) {
        data = telnet_->receive(raw);
        urgent_ += telnet_->takeReply();
        for (const LineSetting& setting : telnet_->takeSettings()) journal_.setting(setting);
    }
    if (!data.empty()) journal_.data(data);
    parser_.feed(data);
    return true;
}

std::optional<Message> Session::nextMessage() {
    std::optional<Message> message = parser_.next();
    if (message) journal_.message(*message);
    if (message && !message->isAcknowledgement()) repetition_.reset();
    return message;
}

void Session::queueAnswer(const std::string& answer, const Faults& faults) {
    if (faults.silent) return;
    std::string bytes = faults.garbageBefore + answer + faults.garbageAfter;
    if (faults.closeAfter) bytes.resize(std::min(bytes.size(), *faults.closeAfter));
    if (telnet_) bytes = TelnetServer::escape(bytes);
    const auto due = Clock::now() + faults.delay;
    if (faults.repeatAfter) repetition_ = Output{bytes, due + *faults.repeatAfter};
    outputs_.push_back({std::move(bytes), due, faults.dribble, faults.closeAfter.has_value()});
}

// A repetition is sent only after all answers, and not once another request has arrived: the peer
// could take it for the answer to that request.
void Session::queueRepetition() {
    if (!repetition_ || !outputs_.empty() || repetition_->due > Clock::now()) return;
    outputs_.push_back(*std::exchange(repetition_, std::nullopt));
    repeated_ = true;
}

bool Session::writeOutput() {
    queueRepetition();
    if (!writeFront(urgent_, urgent_.size())) return false;
    while (urgent_.empty() && !outputs_.empty() && outputs_.front().due <= Clock::now()) {
        Output& output = outputs_.front();
        const std::size_t before = output.bytes.size();
        if (!writeAnswer(output)) return false;
        if (output.bytes.empty()) {
            if (output.closeAfterwards) return false;
            outputs_.pop_front();
        } else if (output.bytes.size() == before) {
            break;  // the connection accepts no more for now
        }
    }
    return true;
}

bool Session::writeAnswer(Output& output) {
    if (output.gap.count() == 0) return writeFront(output.bytes, output.bytes.size());
    const std::size_t before = output.bytes.size();
    const bool alive = writeFront(output.bytes, unitAt(output.bytes));
    if (output.bytes.size() != before) output.due = Clock::now() + output.gap;
    return alive;
}

// A doubled 0xFF is written at once: a telnet reply between its halves would corrupt it.
std::size_t Session::unitAt(const std::string& bytes) const {
    const bool doubled = telnet_ && !bytes.empty() && bytes.front() == '\xFF';
    return std::min<std::size_t>(doubled ? 2 : 1, bytes.size());
}

bool Session::writeFront(std::string& bytes, std::size_t limit) {
    while (limit > 0) {
        const ssize_t count = writeQuietly(fd_.get(), bytes.data(), limit);
        if (count < 0) return errno == EAGAIN || errno == EINTR;
        const auto written = static_cast<std::size_t>(count);
        journal_.sent(std::string_view(bytes).substr(0, written));
        bytes.erase(0, written);
        limit -= written;
    }
    return true;
}

bool Session::wantsToWrite() const {
    return !urgent_.empty() || (!outputs_.empty() && outputs_.front().due <= Clock::now());
}

int Session::millisecondsToNextOutput() const {
    if (outputs_.empty() && !repetition_) return -1;
    const auto due = outputs_.empty() ? repetition_->due : outputs_.front().due;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

void Session::resetOnClose() {
    const linger now{1, 0};
    ::setsockopt(fd_.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

}  // namespace tesksim
