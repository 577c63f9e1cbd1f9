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
// into answer frames to the host. A subclass decodes its type of request body and encodes the
// answer bodies.
//
// Lifetime: each message holds one reference on this packet until the message is freed, after it
// was answered, timed out, failed or was withdrawn. So the packet lives until its last answer.
// Threads: offered on the link thread; the messages complete on their masters' threads, several at
// once. Each answer is queued as finished frames under the lock, all of them or none; then the
// listeners are called without it. write() takes the frames in that order, each once.
// Locks: answerLock_, held while a frame is written to the stream so that frames keep their order.
class DornMachineRequest : public DornPacket, public PacketEventListener {
  public:
    void notifyFailed() override;
    void notifyError(const Exception& e) override;
    // Writes the oldest frame that was not written yet.
    void write(OutputStream& out) override;
    void answer(FrameWriter& host) override;
    void offer_to_controller(TeskController& controller) override;
    // One here; a type whose body may address every machine overrides it.
    std::size_t most_messages(std::size_t machines) const override;

    void packetCompleted(Packet* packet) override;
    void packetFailed(Packet* packet) override;
    void packetError(Packet* packet, const Exception& e) override;

  protected:
    static constexpr std::uint32_t LONG_TIMEOUT = 300000;  // milliseconds

    // What a request body asks for.
    struct Question {
        bool every_machine = false;
        std::string name;  // of the one machine otherwise
        int id = 0;        // Tesk message ID
        std::string payload;
        bool raw = false;  // the payload is the whole message; no ID
        std::uint32_t timeout = TeskPacket::ANSWER_TIME;
    };

    // What the answers of one request share.
    struct Progress {
        std::string date;            // today, "%d.%m.%y"
        std::uint32_t sequence = 1;  // number of the next answer
        std::uint32_t total = 0;     // answer frames that the host is to expect
    };

    explicit DornMachineRequest(std::uint8_t type) : DornPacket(type) {}

    // Parses the request body. @throws ProtocolErrorException when it is too short
    virtual Question decode(std::string body) const = 0;
    // The answer bodies, one per frame, for a machine's answer. Advances the progress.
    virtual std::vector<std::string> encode(const TeskPacket& answer, Progress& progress) const = 0;

    static void require_size(std::string_view body, std::size_t size);

  private:
    struct Frame {
        std::string bytes;
        bool begins;  // the first frame of a machine's answer, which may have several
    };

    Question take_question();
    static std::list<TeskMaster*> known_targets(TeskController& controller,
                                                const Question& question);
    // Gives back the room that was taken for messages, except for this many.
    void keep_messages(std::size_t messages, std::size_t machines);
    void ask(const std::list<TeskMaster*>& targets, Question question);
    void send(TeskMaster& machine, const Question& question, std::string payload);
    // Answers for that many machines that the request has failed.
    void fail(const Exception& e, std::size_t machines);
    // @throws ProtocolErrorException for a body that is too long
    static void require_frame(std::string_view body);
    std::string frame_of(dornframe::Kind kind, std::string body) TESKD_REQUIRES(answerLock_);
    std::string owed_frame() TESKD_REQUIRES(answerLock_);
    void queue_empty_answer(dornframe::Kind kind);
    // The number of frames.
    std::size_t queue_answer(const TeskPacket& answer);

    Synchronized answerLock_;
    Progress progress_ TESKD_GUARDED_BY(answerLock_);
    std::list<Frame> frames_ TESKD_GUARDED_BY(answerLock_);
    // Empty answers that were not queued for want of memory.
    std::size_t owedTimeouts_ TESKD_GUARDED_BY(answerLock_) = 0;
    std::size_t owedFailures_ TESKD_GUARDED_BY(answerLock_) = 0;
};

}  // namespace teskd
