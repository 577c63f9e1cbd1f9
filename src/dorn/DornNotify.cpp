#include "dorn/DornNotify.h"

#include <algorithm>
#include <exception>
#include <sys/socket.h>
#include <utility>

#include "config/ZqConfig.h"
#include "core/BigEndian.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "net/BufferedOutputStream.h"
#include "net/DatagramClientSocket.h"
#include "net/MemoryInputStream.h"

namespace teskd {

using namespace dornframe;

namespace {

constexpr int ANSWER_TIMEOUT = 20000;            // milliseconds
constexpr std::size_t LARGEST_DATAGRAM = 65536;  // bytes

}  // namespace

DornNotify::DornNotify() : Thread("DornNotify") {}

DornNotify::~DornNotify() noexcept(false) {
    stop();
    awaitEnd();
}

void DornNotify::interrupt() {
    stopEvent_.set();
    wakeConsumer();
}

void DornNotify::run() {
    while (isRunning()) {
        if (!nextPacket(this)) break;
        try {
            exchange();
        } catch (const ReadTimeoutException&) {
            time_out_pending();
        } catch (const Exception& e) {
            fail_pending(e);
        } catch (const std::exception& e) {
            fail_pending(Exception(e.what()));
        }
    }
    socket_.reset();
    // A stop between two answers leaves some that nobody has failed yet.
    fail_pending(Exception("The receiver has been stopped"));
    closeContainer();
}

void DornNotify::exchange() {
    try {
        if (!socket_) open_socket();
    } catch (const Exception& e) {
        Log::write(Log::WARNING, "Cannot reach the notification server: %s", e.text());
        failAll(e);
        return;
    }
    do {
        send_queued();
        match(receive());
    } while (isRunning() && !pending_.empty());
}

void DornNotify::open_socket() {
    auto socket = std::make_unique<DatagramClientSocket>(ZqConfig::get_server_address(), AF_INET);
    socket->setInterrupt(&stopEvent_);
    socket->getInputStream().setTimeout(ANSWER_TIMEOUT);
    socket->connect();
    socket_ = std::move(socket);
}

void DornNotify::send_queued() {
    socket_->takePendingError();  // of an earlier datagram that was refused
    BufferedOutputStream output(socket_->getOutputStream());
    while (!isEmpty()) {
        const PacketHandle<Packet> head = nextPacket(this);
        if (!head) return;
        pending_.emplace_back(&dynamic_cast<DornPacket&>(*head));
        removePacket(head.pointer());
        pending_.back()->write(output);
        output.flush();
    }
}

std::string DornNotify::receive() {
    std::string datagram(LARGEST_DATAGRAM, '\0');
    const int size = socket_->getInputStream().read(datagram.data(), LARGEST_DATAGRAM);
    datagram.resize(static_cast<std::size_t>(std::max(size, 0)));
    if (datagram.size() < HEADER_SIZE) {
        throw SocketConnectionClosedException("Remote Peer closed the connection.");
    }
    return datagram;
}

// An answer that nobody waits for is dropped whole.
void DornNotify::match(std::string_view datagram) {
    const std::uint32_t a = bigendian::read32(datagram, OFFSET_IDENTIFIER_A);
    const std::uint32_t b = bigendian::read32(datagram, OFFSET_IDENTIFIER_B);
    const auto found = std::find_if(
        pending_.begin(), pending_.end(),
        [a, b](const PacketHandle<DornPacket>& p) { return p->identifiers_match(a, b); });
    if (found == pending_.end()) return;
    MemoryInputStream input(datagram);
    (*found)->read(input);
    const PacketHandle<DornPacket> answered = std::move(*found);
    pending_.erase(found);
    answered->notifyCompleted();
}

void DornNotify::time_out_pending() {
    while (!pending_.empty()) {
        pending_.front()->notifyFailed();
        pending_.pop_front();
    }
}

void DornNotify::fail_pending(const Exception& e) {
    if (isRunning()) Log::write(Log::WARNING, "Notifications have failed: %s", e.text());
    while (!pending_.empty()) {
        pending_.front()->notifyError(e);
        pending_.pop_front();
    }
}

}  // namespace teskd
