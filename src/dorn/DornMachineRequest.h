// What all host requests to slot machines have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "core/Synchronized.h"
#include "dorn/DornPacket.h"
#include "packet/PacketEventListener.h"
#include "tesk/TeskPacket.h"

namespace teskd {

class TeskMaster;

// A request that sends one Tesk message to each addressed machine and turns every machine's answer
// into answer frames to the host. A subclass states what its body asks and how its answer looks.
//
// Lifetime: each message that is out holds one reference on this packet, released when the message
// has been answered, timed out, failed or withdrawn, and is freed; so the packet lives until its
// last answer. Threads: offered on the link thread; the messages complete on their masters'
// threads, several at once. Each answer is laid down as finished frames under the lock, all of them
// or none, then the listeners are told without it; write() hands the frames out in that order, each
// once. Locks: answerLock_, held while a frame is handed to the stream so that frames keep their
// order.
class DornMachineRequest : public DornPacket, public PacketEventListener {
  public:
    // Name fields of bodies are this long, zero-filled.
    static constexpr std::size_t NAME_SIZE = 11;

    void notifyFailed() override;
    void notifyError(const Exception& e) override;
    // The oldest answer that was not written yet.
    void write(OutputStream& out) override;
    void answer(FrameWriter& host) override;
    void offer_to_controller(TeskController& controller) override;
    // One, unless a body may ask every machine.
    std::size_t most_messages(std::size_t machines) const override;

    void packetCompleted(Packet* packet) override;
    void packetFailed(Packet* packet) override;
    void packetError(Packet* packet, const Exception& e) override;

  protected:
    static constexpr std::uint32_t SHORT_TIMEOUT = 10000;  // milliseconds
    static constexpr std::uint32_t LONG_TIMEOUT = 300000;

    // What a request body asks for.
    struct Question {
        bool every_machine = false;
        std::string name;  // of the one machine otherwise
        int id = 0;        // Tesk message ID
        std::string payload;
        bool raw = false;  // the payload is the whole message; no ID
        std::uint32_t timeout = SHORT_TIMEOUT;
    };

    // What the answers of one request share.
    struct Progress {
        std::string date;            // today, "%d.%m.%y"
        std::uint32_t sequence = 1;  // number of the next answer
        std::uint32_t targets = 0;   // messages sent
    };

    explicit DornMachineRequest(std::uint8_t type) : DornPacket(type) {}

    // Reads the request body. @throws ProtocolErrorException when it is too short
    virtual Question decode(std::string body) const = 0;
    // The answer bodies, one per frame, for a machine's answer; moves the progress on.
    virtual std::vector<std::string> encode(const TeskPacket& answer, Progress& progress) const = 0;

    static void require_size(std::string_view body, std::size_t size);

  private:
    struct Frame {
        std::string bytes;
        bool begins;  // a machine's answer; the others go on with it
    };

    Question take_question();
    static std::list<TeskMaster*> known_targets(TeskController& controller,
                                                const Question& question);
    // Gives back the room of the messages that were not needed.
    void keep_messages(std::size_t messages, std::size_t machines);
    void ask(const std::list<TeskMaster*>& targets, Question question);
    void send(TeskMaster& machine, const Question& question, std::string payload);
    // Answers that many machines' part of the request as failed.
    void fail(const Exception& e, std::size_t machines);
    // @throws ProtocolErrorException for a body that is too long
    static void require_frame(std::string_view body);
    std::string frame_of(dornframe::Kind kind, std::string body) TESKD_REQUIRES(answerLock_);
    std::string unmade_frame() TESKD_REQUIRES(answerLock_);
    void lay_down_empty(dornframe::Kind kind);
    std::size_t answer_with(const TeskPacket& answer);

    Synchronized answerLock_;
    Progress progress_ TESKD_GUARDED_BY(answerLock_);
    std::list<Frame> frames_ TESKD_GUARDED_BY(answerLock_);
    // Answers without a body that there was no memory for.
    std::size_t unmadeTimeouts_ TESKD_GUARDED_BY(answerLock_) = 0;
    std::size_t unmadeFailures_ TESKD_GUARDED_BY(answerLock_) = 0;
};

}  // namespace teskd
