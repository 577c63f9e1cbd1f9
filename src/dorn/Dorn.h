// One host connection.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "core/Deadline.h"
#include "core/Event.h"
#include "core/LogSource.h"
#include "core/Thread.h"
#include "dorn/ConnectionCount.h"
#include "dorn/CreatePacket.h"
#include "dorn/FrameWriter.h"
#include "dorn/HostMemory.h"
#include "dorn/PendingAnswers.h"
#include "net/Socket.h"
#include "packet/PacketContainer.h"
#include "packet/PacketEventListener.h"

namespace teskd {

class DornPacket;
class Exception;
class FrameReader;
class TeskController;

// A thread that reads request frames from its host and offers each packet to the slot-machine link,
// to the AAMS engine and to itself. The thread that completes a packet writes the answer as far as
// the socket takes it without waiting; this thread sends the rest, whatever else it waits for.
//
// When the connection is over in both directions, its requests are withdrawn from the queues. A
// host that has only finished sending still gets all its answers.
//
// Owner: itself. Created and started by DornDeamon; deletes itself when run() ends, which waits
// until every packet that it dispatched has given its last answer and was freed.
// Threads: run on its own; the three listener callbacks on whichever thread completes a packet.
// Locks: those of its members, none while a consumer is called.
class Dorn : public Thread, public PacketContainer, public PacketEventListener {
  public:
    struct Timeouts {
        // The longest time without an acknowledgement while answers are queued.
        std::chrono::milliseconds acknowledgement = FrameWriter::SEND_TIMEOUT;
        // For a whole request body, from the first wait for it.
        std::chrono::milliseconds body{60'000};
    };

    // What a connection uses of the rest of the daemon; all of it outlives the connection.
    struct Context {
        TeskController& controller;
        PacketContainer& engine;
        CreatePacket createPacket;
        const Event& stop;  // ends every connection
        ConnectionCount& count;
        LogSource& log;  // of all connections together
        HostMemory& memory;
        Timeouts timeouts{};
    };

    // Takes the connection over. @throws SocketException
    Dorn(const Socket& connection, const Context& context);

    void run() override;

    void packetCompleted(Packet* packet) override;
    void packetFailed(Packet* packet) override;
    void packetError(Packet* packet, const Exception& e) override;

  private:
    // What the connection's thread waits for.
    enum class Goal {
        INPUT,    // the host has sent something or has disconnected
        ROOM,     // another request of the host may be taken
        ANSWERED  // no request is pending and everything is sent
    };

    void serve();
    // Reads a request and hands it on, or handles junk.
    void serve_frame(FrameReader& reader);
    void dispatch(DornPacket& packet);
    // Answers a request whose body was dropped.
    void refuse(DornPacket& packet);
    // Logs junk and waits until more bytes arrive behind it; false when the daemon stops first.
    bool await_more(const std::string& problem);
    void log_lost_connection(const Exception& e);
    void log_notice(const char* problem);
    // Waits for input, so that the read behind it does not block, and logs meanwhile how many lines
    // were suppressed. @throws SocketException when the daemon stops, or the body's deadline passes
    void await_input();
    // Back-pressure: waits until there is room for a request with a body of that size, and takes
    // the room. A body that is too large for the machine is to be dropped. Nothing is read from the
    // host meanwhile. @throws SocketException when the daemon stops, the host has disconnected, or
    // it has stopped sending within the request
    void await_room(DornPacket& packet, std::size_t size, std::size_t buffered);
    bool take_room(std::size_t queued);
    void forget_request();
    // Of the body that is being read.
    Deadline body_deadline();
    // Sends queued answers until the goal is reached. False when the event was set or the deadline
    // has passed first.
    bool await(Goal goal, const Event* stop, Deadline deadline = Deadline::never());
    // The poll events of the connection to wait for, beside its end.
    short events_for(Goal goal) const;
    // Polls the connection, the wake-up and the stop once. Returns the connection's poll events.
    short wait(short events, const Event* stop, Deadline deadline);
    void host_is_gone(Goal goal);
    void host_has_finished();
    void await_owed_answers();
    void write_answer(Packet* packet);

    ConnectionCount::Place place_;  // the first member, so released after all others
    Context context_;
    Socket connection_;
    Event wake_;                // wakes this thread
    bool isGone_ = false;       // the connection is over in both directions
    bool hasFinished_ = false;  // the host sends nothing more; detected only by await_room()
    HostMemory::Account account_;
    FrameWriter writer_;
    PendingAnswers pending_;
    // The request that is being read.
    std::size_t cost_ = 0;       // bytes of memory
    std::size_t frameSize_ = 0;  // bytes, header included
    std::size_t buffered_ = 0;   // bytes in the input buffer, from its header on
    HostMemory::Room room_;      // held from before its body is read until it is dispatched
    Deadline bodyDeadline_ = Deadline::never();
    LogSource frameLog_;    // lines about bad frames
    LogSource releaseLog_;  // lines about the release of packets that could not be read
};

}  // namespace teskd
