// A packet of the host link: one frame, a request that turns into its own answer.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "dorn/DornFrame.h"
#include "dorn/HostMemory.h"
#include "dorn/PendingAnswers.h"
#include "packet/Packet.h"

namespace teskd {

class Aams;
class Dorn;
class FrameWriter;
class InputStream;
class OutputStream;
class TeskController;

// Reads a frame, keeps its header in wire layout, and writes it again, as it stands or turned into
// an answer. Subclasses know what their type of request asks for and act in one of the three
// offers.
//
// Owner: its references. Threads: read by one link thread, then completed by whoever the offers
// handed it to, one thread at a time (DornMachineRequest, which several threads complete, locks).
class DornPacket : public Packet {
  public:
    // Bytes of memory that a message to a machine takes beside its text, which has its room
    // already, as the frame's body: the object with its fields, and its places in lists.
    static constexpr std::size_t MESSAGE_COST = 1024;

    // A frame of type 0 with an empty body and the configured station address.
    DornPacket();

    // Turn the packet into an answer with an empty body that says timed out or failed, and tell the
    // listeners.
    void notifyFailed() override;
    void notifyError(const Exception& e) override;

    // Reads a whole frame. On a stream with mark and reset the first two bytes are checked before
    // any byte is taken; other streams are not checked.
    // @throws ProtocolErrorException, SocketConnectionClosedException at the end of the stream, the
    // stream's IOException family
    virtual void read(InputStream& in);
    // Writes the frame in one piece. @throws the stream's IOException family
    virtual void write(OutputStream& out);

    // Offers to the three consumers; each type of packet acts in one, on the link thread.
    virtual void offer_to_controller(TeskController& controller);
    virtual void offer_to_engine(Aams& engine);
    virtual void offer_to_connection(Dorn& connection);

    bool identifiers_match(std::uint32_t a, std::uint32_t b) const;
    bool station_address_equals(
        const std::array<std::uint8_t, dornframe::STATION_SIZE>& address) const;

    // Writes the frame to the host that sent the request.
    virtual void answer(FrameWriter& host);

    // Keeps the connection's ticket, and the room for the request, until the packet is freed. The
    // connection's requests are known by its tickets' owner.
    void carry(PendingAnswers& pending, HostMemory::Room room = {}) {
        ticket_.emplace(pending);
        room_ = std::move(room);
        setRequester(&pending);
    }
    // Messages to machines that the packet may lead to, where there are so many.
    virtual std::size_t most_messages(std::size_t /*machines*/) const { return 0; }
    // Gives a part of the room back.
    void release_room(std::size_t bytes) { room_.release(bytes); }

    // True for the first two bytes that every frame from a host has.
    static bool is_frame_start(int first, int second);
    // The number that stands for the outcome text of a machine's answer; 0 for an unknown text.
    static std::uint8_t outcome_number(const std::string& outcome);

  protected:
    explicit DornPacket(std::uint8_t type);

    const std::string& get_frame_body() const { return body_; }
    // The memory of the one before is free afterwards; that of a mere assignment would be kept.
    void set_frame_body(std::string body) { body_.swap(body); }
    // Leaves an empty one.
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
    void read_checksum(InputStream& in);
    std::uint8_t compute_checksum() const;

    std::array<char, dornframe::HEADER_SIZE> header_{};
    std::string body_;
    std::uint8_t checksum_ = 0;
    std::optional<PendingAnswers::Ticket> ticket_;
    HostMemory::Room room_;  // behind the ticket, which is the last to go
};

}  // namespace teskd
