// Takes Telnet commands out of a byte sequence.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace teskd {

class TelnetOptionInterface;

// A state machine that is fed byte by byte and keeps its state between feedings, so that a command
// may arrive in any number of pieces.
//
// Threads: one at a time. Ownership: refers to the interface that it reports commands to.
class TelnetDecoder {
  public:
    // A subnegotiation is abandoned with this many parameter bytes; what follows is data.
    static constexpr std::size_t LONGEST_SUBNEGOTIATION = 4096;

    explicit TelnetDecoder(TelnetOptionInterface& interface) : interface_(interface) {}

    // Takes the next received byte (0 to 255); the data byte that it yields, if any. Complete
    // commands are reported from within.
    std::optional<int> feed(int byte);

  private:
    enum class State { data, command, option, subnegotiationOption, subnegotiation };

    std::optional<int> command(int byte);
    void option(int byte);
    void parameter(int byte);

    TelnetOptionInterface& interface_;
    State state_ = State::data;
    int command_ = 0;  // WILL, WONT, DO or DONT, whose option is awaited
    int subnegotiationOption_ = 0;
    std::string parameters_;
};

}  // namespace teskd
