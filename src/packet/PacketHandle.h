// Holds one reference to a packet for the lifetime of the handle.
#pragma once

#include <utility>

#include "packet/Packet.h"

namespace teskd {

// Packet::get on construction, Packet::put on destruction. Movable, not copyable. A null handle
// holds nothing.
//
// Threads: a handle is used by one thread at a time; the packet's count is atomic.
template <class T>
class PacketHandle {
  public:
    explicit PacketHandle(T* packet) : packet_(packet) {
        if (packet_ != nullptr) Packet::get(packet_);
    }
    PacketHandle(PacketHandle&& other) noexcept : packet_(std::exchange(other.packet_, nullptr)) {}
    PacketHandle& operator=(PacketHandle&&) = delete;
    ~PacketHandle() noexcept(false) {
        if (packet_ != nullptr) Packet::put(packet_);
    }

    explicit operator bool() const { return packet_ != nullptr; }
    T* operator->() const { return packet_; }
    T& operator*() const { return *packet_; }
    T* pointer() const { return packet_; }

  private:
    T* packet_;
};

}  // namespace teskd
