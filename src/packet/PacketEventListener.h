// Who wants to know how a packet's exchange ended.
#pragma once

namespace teskd {

class Exception;
class Packet;

// Registered on a Packet; told exactly one of the three outcomes per notification.
//
// Threads: called on the thread that completes the packet, with no lock held.
// Ownership: the listener outlives every packet that it is registered on. It must not remove
// another listener of the same packet during the call.
class PacketEventListener {
  public:
    virtual ~PacketEventListener() noexcept(false) = default;

    virtual void packetCompleted(Packet* packet) = 0;  // answered
    virtual void packetFailed(Packet* packet) = 0;     // timed out
    virtual void packetError(Packet* packet, const Exception& e) = 0;
};

}  // namespace teskd
