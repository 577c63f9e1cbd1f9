// Separates Telnet commands from data in a byte sequence.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace teskd {

class LogSource;
class TelnetOptionInterface;

// A state machine that is fed byte by byte, so a command may arrive in any number of pieces.
//
// Threads: one at a time. Ownership: refers to the interface that receives the commands, and to the
// source of the lines about protocol errors.
class TelnetDecoder {
  public:
    // A subnegotiation is abandoned once it has this many parameter bytes; the bytes after them are
    // data. This bounds the memory that a peer can make us use.
    static constexpr std::size_t LONGEST_SUBNEGOTIATION = 4096;

    TelnetDecoder(TelnetOptionInterface& interface, LogSource& log)
        : interface_(interface), log_(log) {}

    // Takes the next received byte (0 to 255) and returns the data byte that results, if any.
    // Calls the interface for each complete command.
    std::optional<int> feed(int byte);
    // How many of the next received bytes, from the first on, are data as they are.
    std::size_t leadingData(std::string_view bytes) const;

  private:
    enum class State { DATA, COMMAND, OPTION, SUBNEGOTIATION_OPTION, SUBNEGOTIATION };

    std::optional<int> command(int byte);
    void option(int byte);
    void parameter(int byte);

    TelnetOptionInterface& interface_;
    LogSource& log_;
    State state_ = State::DATA;
    int command_ = 0;  // WILL, WONT, DO or DONT; its option is the next byte
    int subnegotiationOption_ = 0;
    std::string parameters_;
};

}  // namespace teskd
