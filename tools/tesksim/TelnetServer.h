// The telnet side of a serial-port server: removes negotiation and line settings from the received
// bytes and creates the replies.
//
// Ownership: a plain value. Threads: one user at a time. Errors: nothing throws; invalid commands
// are dropped.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tesksim {

inline constexpr std::uint8_t kComPortOption = 44;

// What a widely used serial-port server sends at the start of every connection:
// WILL 3, DO 3, WILL 1, DONT 1, DO 0, WILL 0, DO 44.
std::string serverGreeting();

// One line setting as received: the subcommand (1 baud rate, 2 data size, 3 parity, 4 stop size,
// 5 control) and its value bytes.
struct LineSetting {
    std::uint8_t subcommand = 0;
    std::string value;

    // The value as a big-endian number.
    std::uint32_t number() const;
    bool operator==(const LineSetting&) const = default;
};

// The state of the line after the received settings; 0 means not set.
struct Line {
    std::uint32_t baudRate = 0;
    std::uint32_t dataSize = 0;
    std::uint32_t parity = 0;
    std::uint32_t stopSize = 0;
    std::uint32_t control = 0;
};

enum class Negotiation {
    Agree,   // DO for the options 0, 3 and 44
    Refuse,  // DONT for option 44
    Mute,    // no answer to anything
};

class TelnetServer {
  public:
    explicit TelnetServer(Negotiation negotiation = Negotiation::Agree)
        : negotiation_(negotiation) {}

    // Returns the data bytes, and adds the necessary replies to those of takeReply().
    std::string receive(std::string_view bytes);
    // Returns and removes the replies to send.
    std::string takeReply();
    // The line settings received since the last call.
    std::vector<LineSetting> takeSettings();

    // Data to send, with each 0xFF doubled.
    static std::string escape(std::string_view data);

  private:
    enum class State { Data, Command, Option, SubOption, Sub, SubCommand };

    void step(std::uint8_t byte, std::string& data);
    void command(std::uint8_t byte, std::string& data);
    void negotiate(std::uint8_t option);
    void parameter(std::uint8_t byte);
    void subnegotiation();
    void comPort(std::string_view parameters);

    Negotiation negotiation_;
    State state_ = State::Data;
    std::uint8_t verb_ = 0;
    std::uint8_t subOption_ = 0;
    std::string parameters_;
    std::string reply_;
    std::vector<LineSetting> settings_;
};

// Applies one setting to the line.
void apply(const LineSetting& setting, Line& line);

}  // namespace tesksim
