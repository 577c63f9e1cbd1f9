// One connection of a simulated machine: cuts what arrives into messages and writes what is due.
//
// Ownership: the object owns its descriptor; it lives inside Machine::run.
// Threads: the machine's own only.
// Errors: a connection that has failed is reported as ended; nothing throws.

#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "common/UniqueFd.h"
#include "tesksim/Faults.h"
#include "tesksim/Journal.h"
#include "tesksim/Message.h"
#include "tesksim/TelnetServer.h"

namespace tesksim {

class Session {
  public:
    using Clock = std::chrono::steady_clock;

    // Without a negotiation the line is plain, without telnet. `journal` must outlive the session.
    Session(tools::UniqueFd fd, std::optional<Negotiation> negotiation, Journal& journal);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int fd() const { return fd_.get(); }

    // Takes in what has arrived. False when the peer is gone.
    bool readInput();
    // The next complete message, which the journal has then recorded.
    std::optional<Message> nextMessage();

    // Sends an answer with the faults given, in its turn.
    void queueAnswer(const std::string& answer, const Faults& faults);
    // Sends bytes as they are, before everything that waits.
    void queueRaw(std::string_view bytes) { urgent_ += bytes; }
    // Writes what is due. False when the connection is over, by failure or by a fault.
    bool writeOutput();
    // Whether something is due that the connection did not take yet.
    bool wantsToWrite() const;
    // Milliseconds until the next output is due, -1 when there is none.
    int millisecondsToNextOutput() const;
    // Whether an answer was sent once more since the last call.
    bool takeRepeated() { return std::exchange(repeated_, false); }
    // Makes the coming close a reset.
    void resetOnClose();

  private:
    struct Output {
        std::string bytes;
        Clock::time_point due;
        std::chrono::milliseconds gap{0};  // between its bytes; 0: all at once
        bool closeAfterwards = false;
    };

    // Writes from the front of `bytes`; false when the connection has failed.
    bool writeFront(std::string& bytes, std::size_t limit);
    bool writeAnswer(Output& output);
    void queueRepetition();
    std::size_t unitAt(const std::string& bytes) const;

    tools::UniqueFd fd_;
    Journal& journal_;
    std::optional<TelnetServer> telnet_;
    MessageParser parser_;
    std::string urgent_;
    std::deque<Output> outputs_;
    std::optional<Output> repetition_;  // of the last answer, while no request has come since
    bool repeated_ = false;
};

}  // namespace tesksim
