// One connection of a simulated machine: splits its input into messages and writes its output.
//
// Ownership: the object owns its descriptor; it lives inside Machine::run.
// Threads: the machine's own only.
// Errors: a failed connection is reported as ended; nothing throws.

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

    // Without `negotiation` the connection has no telnet. `journal` must outlive the session.
    Session(tools::UniqueFd fd, std::optional<Negotiation> negotiation, Journal& journal);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int fd() const { return fd_.get(); }

    // Reads the available input. False when the peer has disconnected.
    bool readInput();
    // The next complete message; it is added to the journal.
    std::optional<Message> nextMessage();

    // Queues an answer, with these faults.
    void queueAnswer(const std::string& answer, const Faults& faults);
    // Queues bytes unchanged, before all answers.
    void queueRaw(std::string_view bytes) { urgent_ += bytes; }
    // Writes the output that is due. False when the connection has failed, or a fault ends it.
    bool writeOutput();
    // Whether output is due that is not yet written.
    bool wantsToWrite() const;
    // Milliseconds until the next output is due; -1 if there is none.
    int millisecondsToNextOutput() const;
    // Whether an answer was repeated since the last call.
    bool takeRepeated() { return std::exchange(repeated_, false); }
    // Closing the connection will reset it.
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
    std::optional<Output> repetition_;  // of the last answer; none after the next request
    bool repeated_ = false;
};

}  // namespace tesksim
