// The interface for being notified how a packet's exchange ended.
#pragma once

namespace teskd {

class Exception;
class Packet;

// Registered on a Packet; each notification calls exactly one of the three operations.
//
// Threads: called on the thread that completes the packet, with no lock held.
// Ownership: the listener outlives every packet that it is registered on. During a call it must not
// remove another listener of the same packet.
class PacketEventListener {
  public:
    virtual ~PacketEventListener() noexcept(false) = default;

    virtual void packetCompleted(Packet* packet) = 0;  // answered
    virtual void packetFailed(Packet* packet) = 0;     // timed out
    virtual void packetError(Packet* packet, const Exception& e) = 0;
};

}  // namespace teskd
