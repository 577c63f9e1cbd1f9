#include "dorn/DornNotify.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "config/ZqConfig.h"
#include "core/Attempt.h"
#include "core/Exception.h"
#include "net/DatagramClientSocket.h"
#include "net/MemoryInputStream.h"
#include "net/Poll.h"

namespace teskd {

using namespace dornframe;

namespace {

constexpr int SEND_TIMEOUT = 1000;               // milliseconds, while the system's buffer is full
constexpr std::size_t LARGEST_DATAGRAM = 65536;  // bytes
constexpr useconds_t POLL_PAUSE = 100'000;       // microseconds before a failed poll is retried

}  // namespace

DornNotify::DornNotify(std::chrono::milliseconds answerTimeout)
    : Thread("DornNotify"), answerTimeout_(answerTimeout) {}

DornNotify::~DornNotify() noexcept(false) {
    stop();
    awaitEnd();
}

void DornNotify::addPacket(Packet* packet) {
    PacketContainer::addPacket(packet);
    wake_.set();
}

void DornNotify::interrupt() {
    wake_.set();
}

void DornNotify::run() {
    while (isRunning()) {
        try {
            step();
        } catch (const Exception& e) {
            lose_link(e);
        } catch (const std::exception& e) {
            postpone(e.what());  // out of memory; the link is not affected
        }
    }
    socket_.reset();
    fail_pending(Exception("The receiver has been stopped"));
    closeContainer();
}

void DornNotify::step() {
    if (may_send()) {
        send_queued();
    } else {
        drop_surplus();
    }
    if (wait()) receive();
    time_out_overdue();
}

// After a time-out nothing more is sent on the socket: answers may no longer reach its address.
// Packets already sent keep their deadlines; then a new socket is opened.
bool DornNotify::waits_for_next_socket() const {
    return unanswered_ && !pending_.empty();
}

bool DornNotify::may_send() const {
    return !waits_for_next_socket() && retryAt_.hasPassed();
}

void DornNotify::send_queued() {
    if (isEmpty()) return;
    prepare_socket();
    while (!isEmpty()) send_next();
    unreachable_ = false;
}

// Datagrams that arrived while no packet was pending answer none. Opening a new socket is quicker
// than reading them all.
void DornNotify::prepare_socket() {
    const bool idle = socket_ && pending_.empty();
    if (idle && Poll::wait(socket_->getDescriptor(), POLLIN, Deadline::passed(), nullptr) != 0)
        socket_.reset();
    if (!socket_) open_socket();
}

void DornNotify::open_socket() {
    auto socket = std::make_unique<DatagramClientSocket>(ZqConfig::get_server_address(), AF_INET);
    socket->getOutputStream().setTimeout(SEND_TIMEOUT);
    socket->connect();
    if (!datagram_) datagram_ = std::make_unique<char[]>(LARGEST_DATAGRAM);
    socket_ = std::move(socket);
    unanswered_ = false;
}

// A packet that could not be sent stays in the queue, unless it is too large for a datagram.
void DornNotify::send_next() {
    const PacketHandle<Packet> head = nextPacket(this);
    if (!head) return;
    auto& packet = dynamic_cast<DornPacket&>(*head);
    std::list<Pending> sent;
    sent.push_back({PacketHandle<DornPacket>(&packet), Deadline::after(answerTimeout_)});
    try {
        packet.write(socket_->getOutputStream());
    } catch (const MessageTooLongException& e) {
        removePacket(head.pointer());
        return fail(packet, e);
    }
    removePacket(head.pointer());
    pending_.splice(pending_.end(), sent);
}

void DornNotify::drop_surplus() {
    while (queueSize() > MOST_WAITING) {
        const Exception tooMany("Too many notifications wait");
        const PacketHandle<Packet> oldest = nextPacket(this);
        if (!oldest) return;
        removePacket(oldest.pointer());
        log_.warning("More than %zu notifications wait; the oldest is dropped", MOST_WAITING);
        oldest->notifyError(tooMany);
    }
}

bool DornNotify::wait() {
    pollfd entries[] = {{pending_.empty() ? -1 : socket_->getDescriptor(), POLLIN, 0},
                        {wake_.descriptor(), POLLIN, 0}};
    if (Poll::wait(entries, std::size(entries), next_deadline()) < 0) usleep(POLL_PAUSE);
    if (entries[1].revents != 0) wake_.clear();
    return entries[0].revents != 0;
}

Deadline DornNotify::next_deadline() const {
    Deadline next = Deadline::never();
    if (!pending_.empty()) next = pending_.front().deadline;
    // Even when retryAt_ has passed since may_send(): nothing else would wake the thread.
    if (!isEmpty() && !waits_for_next_socket()) next = std::min(next, retryAt_);
    return next;
}

void DornNotify::receive() {
    const int size = socket_->getInputStream().read(datagram_.get(), LARGEST_DATAGRAM);
    match({datagram_.get(), static_cast<std::size_t>(std::max(size, 0))});
}

// Drops a datagram that answers no pending packet.
void DornNotify::match(std::string_view datagram) {
    if (datagram.size() < HEADER_SIZE) return;
    const Identifiers wanted = identifiers_of(datagram);
    const auto found = std::find_if(pending_.begin(), pending_.end(), [&wanted](const Pending& p) {
        return p.packet->identifiers_match(wanted.a, wanted.b);
    });
    if (found == pending_.end()) return;
    std::list<Pending> answered;
    answered.splice(answered.begin(), pending_, found);
    unanswered_ = false;
    read_answer(*answered.front().packet, datagram);
}

void DornNotify::read_answer(DornPacket& packet, std::string_view datagram) {
    MemoryInputStream input(datagram);
    const bool done =
        attemptOr([&] { packet.read(input); }, [&](const Exception& e) { fail(packet, e); });
    if (done) packet.notifyCompleted();
}

void DornNotify::time_out_overdue() {
    std::size_t overdue = 0;
    for (; !pending_.empty() && pending_.front().deadline.hasPassed(); ++overdue) {
        const Pending first = std::move(pending_.front());
        pending_.pop_front();
        first.packet->notifyFailed();
    }
    if (overdue == 0) return;
    log_.warning("Notifications that the server has left unanswered: %zu", overdue);
    unanswered_ = true;
    if (pending_.empty()) socket_.reset();
}

void DornNotify::lose_link(const Exception& e) {
    socket_.reset();
    retryAt_ = Deadline::after(RETRY_PAUSE);
    if (pending_.empty()) return postpone(e.text());
    log_failure(e);
    fail_pending(e);
}

void DornNotify::postpone(const char* problem) {
    retryAt_ = Deadline::after(RETRY_PAUSE);
    if (unreachable_) return;
    unreachable_ = log_.warning("Cannot reach the notification server: %s", problem);
}

void DornNotify::fail(DornPacket& packet, const Exception& e) {
    log_failure(e);
    packet.notifyError(e);
}

void DornNotify::fail_pending(const Exception& e) {
    while (!pending_.empty()) {
        const Pending first = std::move(pending_.front());
        pending_.pop_front();
        first.packet->notifyError(e);
    }
}

void DornNotify::log_failure(const Exception& e) {
    log_.warning("Notifications have failed: %s", e.text());
}

}  // namespace teskd
