// A packet of the host link: one frame, a request that turns into its own answer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "dorn/DornFrame.h"
#include "dorn/HostMemory.h"
#include "dorn/PendingAnswers.h"
#include "packet/Packet.h"

namespace teskd {

class Dorn;
class FrameWriter;
class InputStream;
class OutputStream;
class PacketContainer;
class TeskController;

// Reads a frame, keeps its header in wire layout, and writes it, unchanged or turned into an
// answer. Each subclass handles one type of request, in one of the three offer_to functions.
//
// Owner: its references. Threads: read by one link thread, then completed by whoever the offers
// handed it to, one thread at a time (DornMachineRequest, which several threads complete, locks).
class DornPacket : public Packet {
  public:
    // A frame of type 0 with an empty body and the configured station address.
    DornPacket();

    // Turn the packet into an answer with an empty body that says timed out or failed, and tell the
    // listeners.
    void notifyFailed() override;
    void notifyError(const Exception& e) override;

    // Reads a whole frame. On a stream with mark and reset the first two bytes are checked before
    // any byte is consumed; on other streams they are not checked.
    // @throws ProtocolErrorException, SocketConnectionClosedException at the end of the stream, the
    // stream's IOException family
    virtual void read(InputStream& in);
    // Makes read() keep nothing of the body but its sum.
    void drop_body() { dropped_ = true; }
    bool has_dropped_body() const { return dropped_; }
    // Writes the frame in one piece. @throws the stream's IOException family
    virtual void write(OutputStream& out);

    // Offers to the three consumers; each type of packet acts in one, on the link thread.
    virtual void offer_to_controller(TeskController& controller);
    virtual void offer_to_engine(PacketContainer& engine);
    virtual void offer_to_connection(Dorn& connection);

    bool identifiers_match(std::uint32_t a, std::uint32_t b) const;
    bool station_address_equals(const dornframe::Station& address) const;

    // Writes the frame to the host that sent the request.
    virtual void answer(FrameWriter& host);

    // Counts the packet as pending and keeps the room for the request, both until the packet is
    // freed. The PendingAnswers also serve as the requester, by which the connection withdraws its
    // requests.
    void hold_until_freed(PendingAnswers& pending, HostMemory::Room room = {}) {
        ticket_.emplace(pending);
        room_ = std::move(room);
        setRequester(&pending);
    }
    // The most messages that the request may send when there are that many machines.
    virtual std::size_t most_messages(std::size_t /*machines*/) const { return 0; }
    // Gives a part of the room back.
    void release_room(std::size_t bytes) { room_.release(bytes); }

  protected:
    // For a frame that is going to be read, and brings its station address; it is zero until then.
    explicit DornPacket(std::uint8_t type);
    // The configured one, for a packet that is sent.
    void set_station_address();

    const std::string& get_frame_body() const { return body_; }
    // Swaps, so that the memory of the previous body is freed; an assignment would keep it.
    void set_frame_body(std::string body) { body_.swap(body); }
    // Leaves an empty body.
    std::string take_frame_body() { return std::exchange(body_, std::string()); }
    void set_kind(dornframe::Kind kind);
    // Header byte 2.
    void set_constant();
    void set_identifiers(std::uint32_t a, std::uint32_t b);
    // The whole frame: sets the length field and computes the checksum.
    std::string serialize();

  private:
    static void check_start(InputStream& in);
    void read_header(InputStream& in);
    void read_body(InputStream& in);
    void skip_body(InputStream& in, std::size_t size);
    void read_checksum(InputStream& in);
    std::uint8_t compute_checksum() const;

    dornframe::Header header_;
    std::string body_;
    std::uint8_t checksum_ = 0;
    bool dropped_ = false;         // the body of the frame that is read
    std::uint8_t droppedSum_ = 0;  // of such a body's bytes
    std::optional<PendingAnswers::Ticket> ticket_;
    // Declared behind the ticket, so released before it: once the last ticket is released, the
    // connection and its account may be gone.
    HostMemory::Room room_;
};

}  // namespace teskd
