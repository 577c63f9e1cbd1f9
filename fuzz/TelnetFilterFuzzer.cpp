// Anything that a serial-port server may send, in any pieces, to the telnet client, and what the
// client answers.

#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

#include "core/Descriptor.h"
#include "core/Exception.h"
#include "core/LogSource.h"
#include "fuzz/FragmentedInputStream.h"
#include "fuzz/Fuzzer.h"
#include "fuzz/LargestAllocation.h"
#include "fuzz/Require.h"
#include "net/BufferedInputStream.h"
#include "telnet/Telnet.h"
#include "telnet/TelnetDecoder.h"
#include "telnet/TelnetInputStream.h"
#include "telnet/TelnetOptionInterface.h"

namespace {

using teskd::fuzz::FragmentedInputStream;
using teskd::fuzz::require;

constexpr int WILL = 0xFB;
constexpr int WONT = 0xFC;
constexpr int DO = 0xFD;
constexpr int DONT = 0xFE;
constexpr int SB = 0xFA;
constexpr int COM_PORT = 44;
// More than any block that is taken before the bytes for it are there.
constexpr std::size_t ALLOWANCE = 32768;

struct Command {
    int verb = 0;
    int option = 0;
    std::string parameters;

    bool operator==(const Command&) const = default;
};

// Notes the commands and hands them on to whoever acts on them, if anybody does.
class Recorder : public teskd::TelnetOptionInterface {
  public:
    explicit Recorder(teskd::TelnetOptionInterface* next = nullptr) : next_(next) {}

    void optionWill(int option) override {
        commands.push_back({WILL, option, {}});
        if (next_ != nullptr) next_->optionWill(option);
    }
    void optionWont(int option) override {
        commands.push_back({WONT, option, {}});
        if (next_ != nullptr) next_->optionWont(option);
    }
    void optionDo(int option) override {
        commands.push_back({DO, option, {}});
        if (next_ != nullptr) next_->optionDo(option);
    }
    void optionDont(int option) override {
        commands.push_back({DONT, option, {}});
        if (next_ != nullptr) next_->optionDont(option);
    }
    void subnegotiation(int option, const std::string& parameters) override {
        commands.push_back({SB, option, parameters});
        if (next_ != nullptr) next_->subnegotiation(option, parameters);
    }

    std::vector<Command> commands;

  private:
    teskd::TelnetOptionInterface* next_;
};

// The client, and the server's end of its connection.
class Connection {
  public:
    Connection() {
        int ends[2] = {-1, -1};
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "a socket pair");
        server_.reset(ends[1]);
        client.setDescriptor(ends[0]);
    }

    // Everything that the client has to say now.
    std::string answers() {
        client.getOutputStream().flush();
        std::string bytes;
        char block[4096];
        for (;;) {
            const ssize_t n = ::recv(server_.get(), block, sizeof block, MSG_DONTWAIT);
            if (n <= 0) return bytes;
            bytes.append(block, static_cast<std::size_t>(n));
        }
    }

    teskd::Telnet client{"127.0.0.1:0", teskd::LogSource::unlimited()};

  private:
    teskd::Descriptor server_;
};

// Reads in blocks of several sizes, through every time-out, to the end.
std::string data_of(teskd::TelnetInputStream& input) {
    std::string data;
    char block[64];
    for (int round = 1;; round = round % 5 + 1) {
        try {
            const int n = input.read(block, round * round);
            if (n == -1) return data;
            data.append(block, static_cast<std::size_t>(n));
        } catch (const teskd::SocketTimeoutException&) {
            // Asked again.
        }
    }
}

// The same bytes without a stream.
std::string decoded(std::string_view bytes, Recorder& commands) {
    teskd::TelnetDecoder decoder(commands, teskd::LogSource::unlimited());
    std::string data;
    for (const char byte : bytes) {
        const auto yielded = decoder.feed(static_cast<unsigned char>(byte));
        if (yielded) data.push_back(static_cast<char>(*yielded));
    }
    return data;
}

// Takes the client's commands apart. The line-end rule holds for them too: after a CR there is a
// LF, unless it was the last byte, and a LF has a CR in front.
class Answers {
  public:
    explicit Answers(std::string_view bytes) {
        while (position_ < bytes.size()) parse(bytes);
    }

    std::vector<Command> commands;

  private:
    void parse(std::string_view bytes) {
        require(take(bytes) == 0xFF, "an answer begins with IAC");
        const int verb = take(bytes);
        if (verb == SB) {
            parse_subnegotiation(bytes);
            return;
        }
        require(verb >= WILL && verb <= DONT, "an answer is a command of negotiation");
        commands.push_back({verb, take_option(bytes), {}});
    }

    void parse_subnegotiation(std::string_view bytes) {
        constexpr std::string_view SIGNATURE("\x2C\x00Telnet 1.0\xFF\xF0", 14);
        require(bytes.substr(position_, SIGNATURE.size()) == SIGNATURE,
                "the only subnegotiation answered with is the signature");
        position_ += SIGNATURE.size();
        commands.push_back({SB, COM_PORT, {}});
    }

    int take_option(std::string_view bytes) {
        const int option = take(bytes);
        require(option != '\n', "a LF has a CR in front");
        if (option != '\r' || position_ == bytes.size()) return option;
        require(take(bytes) == '\n', "a CR is followed by a LF");
        return '\r';
    }

    int take(std::string_view bytes) {
        require(position_ < bytes.size(), "an answer is complete");
        return static_cast<unsigned char>(bytes[position_++]);
    }

    std::size_t position_ = 0;
};

// The options CR and LF look alike on the line.
int on_the_line(int option) {
    return option == '\n' ? '\r' : option;
}

bool answers_to(const Command& answer, const Command& command) {
    if (answer.verb == SB) return command.verb == SB && command.option == COM_PORT;
    const bool toOffer = command.verb == WILL || command.verb == WONT;
    const bool toRequest = command.verb == DO || command.verb == DONT;
    const bool suits = answer.verb == WILL || answer.verb == WONT ? toRequest : toOffer;
    return suits && answer.option == on_the_line(command.option);
}

// Each answer is to a command of its own, in their order: nobody is told anything unasked.
void check_answers(const std::vector<Command>& answers, const std::vector<Command>& commands) {
    auto command = commands.begin();
    for (const Command& answer : answers) {
        while (command != commands.end() && !answers_to(answer, *command)) ++command;
        require(command != commands.end(), "each answer is to a command");
        ++command;
    }
}

// The client has agreed or refused by now; what it has heard before it does not answer again.
void check_repetition(Connection& connection, const std::vector<Command>& commands) {
    if (commands.empty()) return;
    const Command& last = commands.back();
    if (last.verb == WILL) connection.client.optionWill(last.option);
    if (last.verb == WONT) connection.client.optionWont(last.option);
    if (last.verb == DO) connection.client.optionDo(last.option);
    if (last.verb == DONT) connection.client.optionDont(last.option);
    const std::string answers = connection.answers();
    require(answers.empty() || answers == "\n", "a repeated command is not answered");
}

// What the client sends of its own accord is read as it was meant; nothing that went before it, not
// even the LF that follows the option CR, changes that.
void check_settings(Connection& connection) {
    try {
        connection.client.set_baudrate(115200);
        connection.client.set_datasize(8);
        connection.client.set_parity(1);
        connection.client.set_stopsize(2);
        connection.client.set_control(3);
    } catch (const teskd::TelnetFeatureNotAvailableException&) {
        return;  // the server has not agreed to line control
    }
    const std::vector<Command> settings = {{SB, COM_PORT, std::string("\1\0\1\xC2\0", 5)},
                                           {SB, COM_PORT, "\2\x08"},
                                           {SB, COM_PORT, "\3\1"},
                                           {SB, COM_PORT, "\4\2"},
                                           {SB, COM_PORT, "\5\3"}};
    Recorder server;
    const std::string data = decoded(connection.answers(), server);
    require(data.empty() || data == "\n", "settings are no data");
    require(server.commands == settings, "the settings arrive");
}

// As a new connection does it, to find out what the server wants; the byte stays in the stream.
void read_ahead(teskd::TelnetInputStream& input) {
    input.mark(1);
    try {
        input.read();
    } catch (const teskd::SocketTimeoutException&) {
        // No data yet.
    }
    input.reset();
}

void converse(const std::uint8_t* data, std::size_t size) {
    FragmentedInputStream bytes(data, size, FragmentedInputStream::TimeOuts::some);
    teskd::BufferedInputStream buffered(bytes);
    Connection connection;
    Recorder received(&connection.client);
    teskd::TelnetInputStream input(buffered, received, teskd::LogSource::unlimited());

    read_ahead(input);
    const std::string read = data_of(input);
    Recorder expected;
    require(read == decoded(bytes.bytes(), expected), "pieces change no data");
    require(received.commands == expected.commands, "pieces change no command");
    require(connection.client.getPeerSignature().size() <= size, "a signature was received");

    check_answers(Answers(connection.answers()).commands, received.commands);
    check_repetition(connection, received.commands);
    check_settings(connection);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const teskd::fuzz::LargestAllocation memory;
    converse(data, size);
    require(memory.size() <= 64 * size + ALLOWANCE, "memory is taken for bytes that are there");
    return 0;
}
