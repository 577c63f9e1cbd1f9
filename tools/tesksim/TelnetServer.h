// The telnet side of a serial-port server: takes negotiation and line settings out of the bytes
// received and says what to answer.
//
// Ownership: a plain value. Threads: one user at a time. Errors: nothing throws; commands that
// make no sense are dropped.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tesksim {

inline constexpr std::uint8_t kComPortOption = 44;

// What one serial-port server in wide use sends on every new connection, before it is asked:
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

// The line as the settings received so far leave it; 0 is "not set yet".
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

    // Returns the data bytes; what must be answered is added to reply().
    std::string receive(std::string_view bytes);
    // The bytes to send back so far; the call empties them.
    std::string takeReply();
    // The line settings received since the last call.
    std::vector<LineSetting> takeSettings();

    // Data as it goes out: 0xFF is doubled.
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
