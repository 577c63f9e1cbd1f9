#include "dorn/Dorn.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <vector>

#include "aams/AamsPacket.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "core/Text.h"
#include "dorn/DornPacket.h"
#include "dorn/DornPacketType1.h"
#include "dorn/DornPacketType2.h"
#include "dorn/DornPacketType3.h"
#include "dorn/DornPacketType4.h"
#include "dorn/DornPacketType5.h"
#include "dorn/DornPacketType6.h"
#include "dorn/DornPacketType7.h"
#include "dorn/DornPacketType8.h"
#include "dorn/HostInputStream.h"
#include "net/BufferedInputStream.h"
#include "net/Poll.h"
#include "packet/PacketHandle.h"

namespace teskd {

using namespace dornframe;

namespace {

constexpr std::chrono::milliseconds JUNK_PAUSE(1000);  // between two lines about the same junk
// Until lines that were left out of the log may be counted there.
constexpr std::chrono::milliseconds NOTICE_PAUSE(1000);
// For owed answers, when the daemon stops. Longer than the second that it gives its threads before
// it fails what waits for machines, so that hosts are told of that.
constexpr std::chrono::milliseconds STOP_GRACE(1500);
// A host that lets this many bytes of answers wait is not read from until there are fewer.
constexpr std::size_t MOST_QUEUED = std::size_t{1024} * 1024;
constexpr int RELEASES_PER_SECOND = 2;  // logged, of packets that could not be read

}  // namespace

Dorn::Dorn(const Socket& connection, const Surroundings& surroundings)
    : Thread("Dorn"),
      place_(surroundings.count),
      surroundings_(surroundings),
      connection_(connection),
      writer_(connection_, wake_, FrameWriter::SEND_TIMEOUT, &surroundings_.count.notices()),
      pending_(wake_),
      noticeLimiter_(NoticeLimiter::LINES_PER_SECOND, &surroundings_.count.notices()),
      releaseLimiter_(RELEASES_PER_SECOND, &surroundings_.count.notices()) {
    shareEndNotices(surroundings_.count.notices());
    setAutoDelete();
    connection_.setsockopt(TCP_NODELAY, 1);
    connection_.keepAlive();
    connection_.setInterrupt(&surroundings_.stop);
}

void Dorn::run() {
    HostInputStream host(connection_.getInputStream(), [this] { await_input(); });
    BufferedInputStream input(host);
    while (isRunning() && !surroundings_.stop.isSet()) {
        try {
            serve_frame(input);
        } catch (const SocketConnectionClosedException& e) {
            log_lost_connection(e);
            stop();
        } catch (const Exception& e) {
            log_notice(e);
        } catch (const std::exception& e) {
            log_notice(Exception(e.what()));
            stop();
        }
    }
    await_owed_answers();
}

void Dorn::serve_frame(BufferedInputStream& input) {
    const Header header = peek_header(input);
    const int type = static_cast<unsigned char>(header[OFFSET_TYPE]);
    try {
        receive(input, type);
    } catch (const ProtocolErrorException& e) {
        const bool junk = !DornPacket::is_frame_start(
            static_cast<unsigned char>(header[0]), static_cast<unsigned char>(header[OFFSET_KIND]));
        if (!junk) throw;
        hold_junk(input, e);
    }
}

Dorn::Header Dorn::peek_header(BufferedInputStream& input) {
    constexpr int SIZE = HEADER_SIZE;
    Header header{};
    input.mark(SIZE);
    const int peeked = input.readFully(header.data(), SIZE);
    input.reset();
    if (peeked < SIZE) {
        throw SocketConnectionClosedException("Remote Peer closed the connection.");
    }
    return header;
}

void Dorn::receive(BufferedInputStream& input, int type) {
    DornPacket* const created = create_packet(type);
    if (created == nullptr) {
        const auto shown = static_cast<unsigned>(type);
        hold_junk(input, IOException(text::format("Dorn Got Junk on Input: 0x%x does not match any "
                                                  "packet type.",
                                                  shown)));
        return;
    }
    const PacketHandle<DornPacket> packet(created);
    try {
        packet->read(input);
    } catch (const Exception&) {
        if (!releaseLimiter_.allows()) packet->releaseQuietly();
        throw;
    }
    dispatch(*packet);
}

void Dorn::dispatch(DornPacket& packet) {
    packet.addListener(this);
    packet.carry(pending_);
    try {
        packet.offer_to_controller(surroundings_.controller);
        packet.offer_to_engine(surroundings_.engine);
        packet.offer_to_connection(*this);
    } catch (const Exception& e) {
        packet.notifyError(e);
    } catch (const std::exception& e) {
        packet.notifyError(Exception(e.what()));
    }
}

void Dorn::hold_junk(BufferedInputStream& input, const Exception& e) {
    bool arrived = false;
    while (!arrived && !surroundings_.stop.isSet()) {
        log_notice(e);
        arrived = await(Goal::input, &surroundings_.stop, Clock::now() + JUNK_PAUSE);
    }
    if (arrived) input.skip(input.held());
}

void Dorn::log_lost_connection(const Exception& e) {
    if (!surroundings_.count.notices().allows()) return;
    Log::write(Log::WARNING, "Connection lost with remote peer: %s", e.getMessage().c_str());
}

void Dorn::log_notice(const Exception& e) {
    if (surroundings_.stop.isSet() || !noticeLimiter_.allows()) return;
    Log::write(Log::NOTICE, "%s", e.getMessage().c_str());
}

void Dorn::await_input() {
    while (noticeLimiter_.hasLeftOut() || releaseLimiter_.hasLeftOut()) {
        noticeLimiter_.report();
        releaseLimiter_.report();
        const bool arrived = await(Goal::input, &surroundings_.stop, Clock::now() + NOTICE_PAUSE);
        if (arrived || surroundings_.stop.isSet()) return;
    }
    await(Goal::input, &surroundings_.stop);
}

bool Dorn::await(Goal goal, const StopEvent* stop, Clock::time_point deadline) {
    for (;;) {
        wake_.clear();
        const std::size_t queued = writer_.sendQueued();
        const bool reads = goal == Goal::input && queued <= MOST_QUEUED && pending_.areFew();
        if (goal == Goal::answered && queued == 0 && pending_.areNone()) return true;
        const bool readable = wait(reads, queued > 0, stop, deadline);
        if (stop != nullptr && stop->isSet()) return false;
        if (readable) return true;
        if (Clock::now() >= deadline) return false;
    }
}

// One wait: for the host, for the wake-up, for the stop. True when there is something to read.
bool Dorn::wait(bool reads, bool writes, const StopEvent* stop, Clock::time_point deadline) {
    const auto events = static_cast<short>((reads ? POLLIN : 0) | (writes ? POLLOUT : 0));
    std::vector<pollfd> entries{{events == 0 ? -1 : connection_.getDescriptor(), events, 0},
                                {wake_.descriptor(), POLLIN, 0}};
    if (stop != nullptr) entries.push_back({stop->descriptor(), POLLIN, 0});
    int timeout = writes ? writer_.patience() : -1;
    if (deadline != Clock::time_point::max()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const int limit = static_cast<int>(std::max(left.count(), decltype(left.count()){0}));
        timeout = writes ? std::min(timeout, limit) : limit;
    }
    Poll::wait(entries, timeout);
    return reads && (entries.front().revents & ~POLLOUT) != 0;
}

// When the daemon stops, owed answers have a moment left; then the connection is shut down.
void Dorn::await_owed_answers() {
    if (await(Goal::answered, &surroundings_.stop)) return;
    if (await(Goal::answered, nullptr, Clock::now() + STOP_GRACE)) return;
    shut_connection_down();
    await(Goal::answered, nullptr);
}

void Dorn::shut_connection_down() {
    try {
        connection_.shutdown(SHUT_RDWR);
    } catch (const SocketException&) {
        // Not connected any more.
    }
}

void Dorn::packetCompleted(Packet* packet) {
    write_answer(packet);
}

void Dorn::packetFailed(Packet* packet) {
    write_answer(packet);
}

void Dorn::packetError(Packet* packet, const Exception&) {
    write_answer(packet);
}

void Dorn::write_answer(Packet* packet) {
    const PacketHandle<Packet> hold(packet);
    dynamic_cast<DornPacket&>(*packet).write(writer_);
}

DornPacket* Dorn::create_packet(int type) {
    switch (type) {
        case 1:
            return new DornPacketType1;
        case 2:
            return new DornPacketType2;
        case 3:
            return new DornPacketType3;
        case 4:
            return new DornPacketType4;
        case 5:
            return new DornPacketType5;
        case 6:
            return new DornPacketType6;
        case 7:
            return new DornPacketType7;
        case 8:
            return new DornPacketType8;
        case TYPE_AAMS:
            return new AamsPacket;
        default:
            return nullptr;
    }
}

}  // namespace teskd
