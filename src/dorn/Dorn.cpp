#include "dorn/Dorn.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "core/Attempt.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "dorn/DornFrame.h"
#include "dorn/DornPacket.h"
#include "dorn/FrameReader.h"
#include "dorn/HostInputStream.h"
#include "net/BufferedInputStream.h"
#include "net/Poll.h"
#include "packet/PacketHandle.h"
#include "tesk/TeskController.h"

namespace teskd {

namespace {

constexpr std::chrono::milliseconds JUNK_PAUSE(1000);  // between log lines about the same junk
// Between two attempts to log how many lines were suppressed.
constexpr std::chrono::milliseconds NOTICE_PAUSE(1000);
// Time for owed answers when the daemon stops. Longer than the second after which the daemon fails
// the requests that wait for machines, so that hosts still receive these failures.
constexpr std::chrono::milliseconds STOP_GRACE(1500);
// Memory that a request takes until it is answered, its body not included.
constexpr std::size_t REQUEST_COST = 1024;
constexpr const char* NOT_WHOLE = "A request was not whole in time";
constexpr const char* STOPPED = "The connection is stopped";
constexpr useconds_t POLL_PAUSE = 10'000;  // microseconds before a failed poll is retried
constexpr int RELEASES_PER_SECOND = 2;     // logged, of packets that could not be read

}  // namespace

Dorn::Dorn(const Socket& connection, const Context& context)
    : Thread("Dorn", context.log),
      place_(context.count),
      context_(context),
      connection_(connection),
      account_(context_.memory, wake_),
      writer_(connection_, wake_, account_, context_.log, context_.timeouts.acknowledgement),
      pending_(wake_),
      frameLog_(LogSource::LINES_PER_SECOND, context_.log),
      releaseLog_(RELEASES_PER_SECOND, context_.log) {
    setAutoDelete();
    connection_.setsockopt(TCP_NODELAY, 1);
    connection_.keepAlive();
}

void Dorn::run() {
    attempt("A connection cannot be served", [this] { serve(); });
    forget_request();
    account_.leave();
    await_owed_answers();
}

// The reader takes bytes from the buffer; for an empty buffer, HostInputStream calls await_input()
// and then reads the socket. So this thread waits for the host in await(), whatever it reads, and
// sends queued answers meanwhile.
void Dorn::serve() {
    HostInputStream host(connection_.getInputStream(), [this] { await_input(); });
    BufferedInputStream input(host);
    FrameReader reader(input, context_.createPacket, releaseLog_);
    while (isRunning() && !context_.stop.isSet()) {
        try {
            serve_frame(reader);
        } catch (const SocketConnectionClosedException& e) {
            log_lost_connection(e);
            stop();
        } catch (const SocketException& e) {
            // Input may be lost, so the start of the next frame is unknown: disconnect.
            log_notice(e.text());
            if (!context_.stop.isSet()) connection_.shutdownQuietly();
        } catch (const Exception& e) {
            log_notice(e.text());
        } catch (const std::exception& e) {
            log_notice(e.what());
            stop();
        }
    }
}

void Dorn::serve_frame(FrameReader& reader) {
    forget_request();
    const PacketHandle<DornPacket> packet = reader.next();
    if (!packet) {
        if (await_more(reader.problem())) reader.drop_buffered();
        return;
    }
    await_room(*packet, reader.body_size(), reader.buffered());
    reader.read(*packet);
    dispatch(*packet);
}

void Dorn::dispatch(DornPacket& packet) {
    packet.addListener(this);
    packet.hold_until_freed(pending_, std::move(room_));
    if (packet.has_dropped_body()) return refuse(packet);
    attemptOr(
        [&] {
            packet.offer_to_controller(context_.controller);
            packet.offer_to_engine(context_.engine);
            packet.offer_to_connection(*this);
        },
        [&](const Exception& e) {
            Log::write(Log::WARNING, "A request has failed: %s", e.text());
            packet.notifyError(e);
        });
}

void Dorn::refuse(DornPacket& packet) {
    const OutOfMemoryException problem("A request is too large for this machine");
    log_notice(problem.text());
    packet.notifyError(problem);
}

bool Dorn::await_more(const std::string& problem) {
    bool arrived = false;
    while (!arrived && !context_.stop.isSet()) {
        log_notice(problem.c_str());
        arrived = await(Goal::INPUT, &context_.stop, Deadline::after(JUNK_PAUSE));
    }
    return arrived;
}

void Dorn::log_lost_connection(const Exception& e) {
    context_.log.warning("Connection lost with remote peer: %s", e.text());
}

void Dorn::log_notice(const char* problem) {
    if (!context_.stop.isSet()) frameLog_.notice("%s", problem);
}

void Dorn::await_input() {
    const Event& stop = context_.stop;
    const Deadline end = body_deadline();
    while (!stop.isSet() && (frameLog_.hasUnreported() || releaseLog_.hasUnreported())) {
        frameLog_.report();
        releaseLog_.report();
        if (await(Goal::INPUT, &stop, std::min(end, Deadline::after(NOTICE_PAUSE)))) break;
    }
    const bool arrived = await(Goal::INPUT, &stop, end);
    if (stop.isSet()) throw SocketException(STOPPED);
    if (!arrived || end.hasPassed()) throw SocketException(NOT_WHOLE);
}

// Starts with the first wait for the body, so that a body which has arrived already costs no call
// of the clock.
Deadline Dorn::body_deadline() {
    if (!room_) return Deadline::never();
    if (bodyDeadline_ == Deadline::never()) {
        bodyDeadline_ = Deadline::after(context_.timeouts.body);
    }
    return bodyDeadline_;
}

void Dorn::await_room(DornPacket& packet, std::size_t size, std::size_t buffered) {
    const std::size_t machines = context_.controller.get_machine_count();
    const bool isTooLarge = size > context_.memory.limits().largestBody();
    if (isTooLarge) packet.drop_body();
    const std::size_t kept = isTooLarge ? 0 : size;
    cost_ = kept + REQUEST_COST + packet.most_messages(machines) * HostLimits::MESSAGE_COST;
    frameSize_ = dornframe::HEADER_SIZE + size + 1;
    buffered_ = buffered;
    if (hasFinished_) host_has_finished();
    if (!await(Goal::ROOM, &context_.stop)) throw SocketException(STOPPED);
}

void Dorn::forget_request() {
    room_ = {};
    bodyDeadline_ = Deadline::never();
}

// Leaves the line for memory while another limit is reached: a connection that could not use the
// room must not hold up those behind it.
bool Dorn::take_room(std::size_t queued) {
    if (queued > context_.memory.limits().mostQueued() || !pending_.belowLimitOrArm()) {
        account_.leave();
        return false;
    }
    room_ = account_.take(cost_);
    return static_cast<bool>(room_);
}

bool Dorn::await(Goal goal, const Event* stop, Deadline deadline) {
    for (;;) {
        wake_.clear();
        // Check before sendQueued(): an answer is queued before its request stops being pending. In
        // the other order an answer that is queued in between would be missed.
        const bool answered = goal == Goal::ANSWERED && pending_.noneOrArm();
        const std::size_t queued = writer_.sendQueued();
        if (answered && queued == 0) return true;
        if (goal == Goal::ROOM && take_room(queued)) return true;
        const auto writes = static_cast<short>(queued > 0 ? POLLOUT : 0);
        const short found = wait(static_cast<short>(events_for(goal) | writes), stop, deadline);
        if (stop != nullptr && stop->isSet()) return false;
        if (goal == Goal::INPUT && (found & ~POLLOUT) != 0) return true;
        if ((found & (POLLERR | POLLHUP)) != 0) host_is_gone(goal);
        if ((found & POLLRDHUP) != 0) host_has_finished();
        if (deadline.hasPassed()) return false;
    }
}

short Dorn::events_for(Goal goal) const {
    if (goal == Goal::INPUT) return POLLIN;
    return static_cast<short>(goal == Goal::ROOM && !hasFinished_ ? POLLRDHUP : 0);
}

short Dorn::wait(short events, const Event* stop, Deadline deadline) {
    pollfd entries[] = {{isGone_ ? -1 : connection_.getDescriptor(), events, 0},
                        {wake_.descriptor(), POLLIN, 0},
                        {stop == nullptr ? -1 : stop->descriptor(), POLLIN, 0}};
    const bool writes = (events & POLLOUT) != 0;
    const Deadline next = writes ? std::min(deadline, writer_.nextCheck()) : deadline;
    if (Poll::wait(entries, std::size(entries), next) < 0) usleep(POLL_PAUSE);
    return entries[0].revents;
}

// The connection was reset, as happens when an answer reaches a host that has closed it, or shut
// down in both directions. Only this thread adds requests, so none is added after the withdrawal.
void Dorn::host_is_gone(Goal goal) {
    isGone_ = true;
    context_.controller.withdraw(&pending_);
    context_.engine.withdraw(&pending_);
    if (goal == Goal::ROOM) dornframe::throw_closed();
}

// When the rest of the request has not arrived, it never will: there is no use in waiting for room.
void Dorn::host_has_finished() {
    hasFinished_ = true;
    if (buffered_ + connection_.getInputStream().available() >= frameSize_) return;
    dornframe::throw_closed();
}

// When the daemon stops, owed answers have STOP_GRACE; then the connection is shut down.
void Dorn::await_owed_answers() {
    if (await(Goal::ANSWERED, &context_.stop)) return;
    if (await(Goal::ANSWERED, nullptr, Deadline::after(STOP_GRACE))) return;
    connection_.shutdownQuietly();
    await(Goal::ANSWERED, nullptr);
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

// An error ends this connection and is not rethrown: the caller, which completes the packet, has
// other listeners and other hosts to notify.
void Dorn::write_answer(Packet* packet) {
    const PacketHandle<Packet> hold(packet);
    attemptOr([&] { dynamic_cast<DornPacket&>(*packet).answer(writer_); },
              [&](const Exception& e) { writer_.giveUp(e.text()); });
}

}  // namespace teskd
