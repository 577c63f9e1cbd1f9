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

#include "aams/Aams.h"
#include "core/Attempt.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "dorn/DornPacket.h"
#include "dorn/FrameReader.h"
#include "dorn/HostInputStream.h"
#include "net/BufferedInputStream.h"
#include "net/Poll.h"
#include "packet/PacketHandle.h"
#include "tesk/TeskController.h"

namespace teskd {

namespace {

constexpr std::chrono::milliseconds JUNK_PAUSE(1000);  // between two lines about the same junk
// Until lines that were left out of the log may be counted there.
constexpr std::chrono::milliseconds NOTICE_PAUSE(1000);
// For owed answers, when the daemon stops. Longer than the second that it gives its threads before
// it fails what waits for machines, so that hosts are told of that.
constexpr std::chrono::milliseconds STOP_GRACE(1500);
// A host that lets this many bytes of answers wait is not read from until there are fewer.
constexpr std::size_t MOST_QUEUED = std::size_t{1024} * 1024;
// Memory that a request takes beside its body, until it is answered.
constexpr std::size_t REQUEST_COST = 1024;
constexpr const char* NOT_WHOLE = "A request was not whole in time";
constexpr const char* CLOSED = "Remote Peer closed the connection.";
constexpr const char* STOPPED = "The connection is stopped";
constexpr useconds_t POLL_PAUSE = 10'000;  // microseconds before a wait that failed is repeated
constexpr int RELEASES_PER_SECOND = 2;     // logged, of packets that could not be read

}  // namespace

Dorn::Dorn(const Socket& connection, const Surroundings& surroundings)
    : Thread("Dorn"),
      place_(surroundings.count),
      surroundings_(surroundings),
      connection_(connection),
      account_(surroundings_.memory, wake_),
      writer_(connection_, wake_, account_, surroundings_.patience.acknowledgement,
              &surroundings_.count.notices()),
      pending_(wake_),
      noticeLimiter_(NoticeLimiter::LINES_PER_SECOND, &surroundings_.count.notices()),
      releaseLimiter_(RELEASES_PER_SECOND, &surroundings_.count.notices()) {
    shareEndNotices(surroundings_.count.notices());
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

void Dorn::serve() {
    HostInputStream host(connection_.getInputStream(), [this] { await_input(); });
    BufferedInputStream input(host);
    FrameReader reader(
        input, [this](DornPacket& packet) { dispatch(packet); },
        [this](const Exception& problem) { return await_more(problem); }, &releaseLimiter_,
        [this, &input](const DornPacket& packet, std::size_t size) {
            await_room(packet, size, input);
        });
    while (isRunning() && !surroundings_.stop.isSet()) {
        forget_request();
        try {
            reader.serve_frame();
        } catch (const SocketConnectionClosedException& e) {
            log_lost_connection(e);
            stop();
        } catch (const SocketException& e) {
            // Nobody knows what was lost, so what follows could not be told from a frame's rest.
            log_notice(e.text());
            if (!surroundings_.stop.isSet()) connection_.shutdownQuietly();
        } catch (const Exception& e) {
            log_notice(e.text());
        } catch (const std::exception& e) {
            log_notice(e.what());
            stop();
        }
    }
}

void Dorn::dispatch(DornPacket& packet) {
    packet.addListener(this);
    packet.carry(pending_, std::move(room_));
    try {
        packet.offer_to_controller(surroundings_.controller);
        packet.offer_to_engine(surroundings_.engine);
        packet.offer_to_connection(*this);
    } catch (const Exception& e) {
        packet.notifyError(e);
    } catch (const std::exception& e) {
        Log::write(Log::WARNING, "A request has failed: %s", e.what());
        packet.notifyError(Exception(e.what()));
    }
}

bool Dorn::await_more(const Exception& problem) {
    bool arrived = false;
    while (!arrived && !surroundings_.stop.isSet()) {
        log_notice(problem.text());
        arrived = await(Goal::input, &surroundings_.stop, Clock::now() + JUNK_PAUSE);
    }
    return arrived;
}

void Dorn::log_lost_connection(const Exception& e) {
    if (!surroundings_.count.notices().allows()) return;
    Log::write(Log::WARNING, "Connection lost with remote peer: %s", e.text());
}

void Dorn::log_notice(const char* problem) {
    if (surroundings_.stop.isSet() || !noticeLimiter_.allows()) return;
    Log::write(Log::NOTICE, "%s", problem);
}

void Dorn::await_input() {
    const StopEvent& stop = surroundings_.stop;
    const Clock::time_point end = body_end();
    while (!stop.isSet() && (noticeLimiter_.hasLeftOut() || releaseLimiter_.hasLeftOut())) {
        noticeLimiter_.report();
        releaseLimiter_.report();
        if (await(Goal::input, &stop, std::min(end, Clock::now() + NOTICE_PAUSE))) break;
    }
    const bool arrived = await(Goal::input, &stop, end);
    if (stop.isSet()) throw SocketException(STOPPED);
    if (!arrived || (room_ && Clock::now() >= end)) throw SocketException(NOT_WHOLE);
}

// The time counts from the first wait for the body; one that is there already needs no clock.
Dorn::Clock::time_point Dorn::body_end() {
    if (!room_) return Clock::time_point::max();
    if (bodyEnd_ == Clock::time_point::max()) {
        bodyEnd_ = Clock::now() + surroundings_.patience.body;
    }
    return bodyEnd_;
}

void Dorn::await_room(const DornPacket& packet, std::size_t size,
                      const BufferedInputStream& input) {
    const std::size_t machines = surroundings_.controller.get_machine_count();
    cost_ = size + REQUEST_COST + packet.most_messages(machines) * DornPacket::MESSAGE_COST;
    frameSize_ = dornframe::HEADER_SIZE + size + 1;
    held_ = static_cast<std::size_t>(input.held());
    if (hasFinished_) host_has_finished();
    if (!await(Goal::room, &surroundings_.stop)) throw SocketException(STOPPED);
}

void Dorn::forget_request() {
    room_ = {};
    bodyEnd_ = Clock::time_point::max();
}

// Nobody waits for room who could not use it.
bool Dorn::take_room(std::size_t queued) {
    if (queued > MOST_QUEUED || !pending_.areFew()) {
        account_.leave();
        return false;
    }
    room_ = account_.take(cost_);
    return static_cast<bool>(room_);
}

bool Dorn::await(Goal goal, const StopEvent* stop, Clock::time_point deadline) {
    for (;;) {
        wake_.clear();
        // Asked first: an answer is with the writer before its request stops being pending.
        const bool answered = goal == Goal::answered && pending_.areNone();
        const std::size_t queued = writer_.sendQueued();
        if (answered && queued == 0) return true;
        if (goal == Goal::room && take_room(queued)) return true;
        const auto writes = static_cast<short>(queued > 0 ? POLLOUT : 0);
        const short found = wait(static_cast<short>(of_interest(goal) | writes), stop, deadline);
        if (stop != nullptr && stop->isSet()) return false;
        if (goal == Goal::input && (found & ~POLLOUT) != 0) return true;
        if ((found & (POLLERR | POLLHUP)) != 0) host_is_gone(goal);
        if ((found & POLLRDHUP) != 0) host_has_finished();
        if (Clock::now() >= deadline) return false;
    }
}

short Dorn::of_interest(Goal goal) const {
    if (goal == Goal::input) return POLLIN;
    return static_cast<short>(goal == Goal::room && !hasFinished_ ? POLLRDHUP : 0);
}

// One wait: for the host, for the wake-up, for the stop.
short Dorn::wait(short events, const StopEvent* stop, Clock::time_point deadline) {
    pollfd entries[] = {{isGone_ ? -1 : connection_.getDescriptor(), events, 0},
                        {wake_.descriptor(), POLLIN, 0},
                        {stop == nullptr ? -1 : stop->descriptor(), POLLIN, 0}};
    const bool writes = (events & POLLOUT) != 0;
    int timeout = writes ? writer_.patience() : -1;
    if (deadline != Clock::time_point::max()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const int limit = static_cast<int>(std::max(left.count(), decltype(left.count()){0}));
        timeout = writes ? std::min(timeout, limit) : limit;
    }
    if (Poll::wait(entries, std::size(entries), timeout) < 0) usleep(POLL_PAUSE);
    return entries[0].revents;
}

// The connection was reset, or an answer met nobody. All its requests came through this thread, so
// none is added behind the withdrawal.
void Dorn::host_is_gone(Goal goal) {
    isGone_ = true;
    surroundings_.controller.withdraw(&pending_);
    surroundings_.engine.withdraw(&pending_);
    if (goal == Goal::room) {
        throw SocketConnectionClosedException(CLOSED);
    }
}

// Without the rest of the request there is no need to wait for its room.
void Dorn::host_has_finished() {
    hasFinished_ = true;
    if (held_ + connection_.getInputStream().available() >= frameSize_) return;
    throw SocketConnectionClosedException(CLOSED);
}

// When the daemon stops, owed answers have a moment left; then the connection is shut down.
void Dorn::await_owed_answers() {
    if (await(Goal::answered, &surroundings_.stop)) return;
    if (await(Goal::answered, nullptr, Clock::now() + STOP_GRACE)) return;
    connection_.shutdownQuietly();
    await(Goal::answered, nullptr);
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

// Whoever completes a packet has other listeners and other hosts to tell: a failure here ends this
// connection and goes no further.
void Dorn::write_answer(Packet* packet) {
    const PacketHandle<Packet> hold(packet);
    try {
        dynamic_cast<DornPacket&>(*packet).answer(writer_);
    } catch (const Exception& e) {
        writer_.giveUp(e.text());
    } catch (const std::exception& e) {
        writer_.giveUp(e.what());
    }
}

}  // namespace teskd
