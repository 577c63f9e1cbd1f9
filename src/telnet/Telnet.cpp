#include "telnet/Telnet.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <utility>

#include "core/BigEndian.h"
#include "core/Exception.h"
#include "core/LogSource.h"
#include "core/SerialSetting.h"
#include "telnet/TelnetProtocol.h"

namespace teskd {

namespace {

constexpr const char* OWN_SIGNATURE = "Telnet 1.0";
constexpr int NEGOTIATION_TIME = 1000;  // milliseconds
constexpr int SEND_TIMEOUT = 10000;     // milliseconds; the peer is a server on the same machine

int byteAt(const std::string& bytes, std::size_t position) {
    return position < bytes.size() ? static_cast<unsigned char>(bytes[position]) : 0;
}

// Sets the value; true if that changed it.
bool setAndReportChange(bool& value, bool wanted) {
    return std::exchange(value, wanted) != wanted;
}

// Sets the option's bit; true if that changed it.
bool setAndReportChange(std::bitset<256>& options, int option) {
    const auto bit = static_cast<std::size_t>(option & 0xFF);
    if (options.test(bit)) return false;
    options.set(bit);
    return true;
}

}  // namespace

Telnet::FlusherTimerTask::FlusherTimerTask(OutputStream& output)
    : TimerTask("FlusherTimerTask"), output_(output) {}

// Must not block: all connections share the timer's thread. Bytes that the system does not accept
// now are sent by the next run.
void Telnet::FlusherTimerTask::run() {
    setPeriod(0);
    if (!output_.flushAvailable()) setPeriod(DELAY);
}

Timer& Telnet::internalTimer() {
    static Timer timer("Telnet Internal Timer");
    return timer;
}

Telnet::Telnet(const std::string& address, LogSource& log)
    : StreamClientSocket(address, AF_INET),
      log_(log),
      timedInput_(StreamClientSocket::getInputStream()),
      bufferedInput_(timedInput_),
      telnetInput_(bufferedInput_, *this, log),
      sendBuffer_(StreamClientSocket::getOutputStream()),
      telnetOutput_(sendBuffer_),
      flusher_(telnetOutput_) {}

Telnet::~Telnet() noexcept {
    internalTimer().cancel(flusher_);
}

void Telnet::close() {
    internalTimer().cancel(flusher_);
    StreamClientSocket::close();
}

void Telnet::connect() {
    setsockopt(TCP_NODELAY, 1);
    keepAlive();
    StreamClientSocket::getOutputStream().setTimeout(SEND_TIMEOUT);
    StreamClientSocket::connect();
    negotiate();
    awaitServerNegotiation();
}

void Telnet::limitTime(int milliseconds) {
    telnetInput_.setTimeout(milliseconds);
    StreamClientSocket::getOutputStream().setDeadline(Deadline::ofTimeout(milliseconds));
}

void Telnet::negotiate() {
    if (!suppressGoAhead_) {
        telnetOutput_.optionWill(telnet::SUPPRESS_GO_AHEAD);
        suppressGoAhead_ = true;
    }
    if (comPort_) {
        telnetOutput_.optionWill(telnet::COM_PORT_OPTION);
        comPort_ = false;  // until the server agrees
    }
    telnetOutput_.flush();
}

// Reads up to the first data byte, which handles the commands before it. The byte is pushed back.
void Telnet::awaitServerNegotiation() {
    const int timeout = telnetInput_.getTimeout();
    telnetInput_.mark(1);
    telnetInput_.setTimeout(NEGOTIATION_TIME);
    try {
        telnetInput_.read();
    } catch (const SocketTimeoutException&) {
        // No data within the second: the usual case.
    }
    telnetInput_.reset();
    telnetInput_.setTimeout(timeout);
}

void Telnet::scheduleFlusher() {
    internalTimer().scheduleUnlessWaiting(flusher_, FlusherTimerTask::DELAY);
}

bool* Telnet::flagOf(int option) {
    switch (option) {
        case telnet::BINARY:
            return &binary_;
        case telnet::SUPPRESS_GO_AHEAD:
            return &suppressGoAhead_;
        case telnet::COM_PORT_OPTION:
            return &comPort_;
        default:
            return nullptr;
    }
}

void Telnet::optionDo(int option) {
    answerRequest(option, true);
}

void Telnet::optionDont(int option) {
    answerRequest(option, false);
}

// Ignore requests that change nothing and do not repeat a refusal (RFC 854 loop prevention: two
// sides could answer each other for ever). The flag of SUPPRESS-GO-AHEAD means "offered, not yet
// agreed"; those of the other two options mean "agreed".
void Telnet::answerRequest(int option, bool isDo) {
    bool* const flag = flagOf(option);
    const bool wanted = option == telnet::SUPPRESS_GO_AHEAD ? !isDo : isDo;
    const bool changed = flag == nullptr ? setAndReportChange(refused_[isDo], option)
                                         : setAndReportChange(*flag, wanted);
    if (!changed) return;
    if (flag != nullptr && isDo) {
        telnetOutput_.optionWill(option);
    } else {
        telnetOutput_.optionWont(option);
    }
    scheduleFlusher();
}

void Telnet::optionWill(int option) {
    answerOffer(option, flagOf(option) == nullptr ? telnet::DONT : telnet::DO);
}

void Telnet::optionWont(int option) {
    answerOffer(option, telnet::DONT);
}

void Telnet::answerOffer(int option, int answer) {
    int& given = answers_[static_cast<std::size_t>(option & 0xFF)];
    if (std::exchange(given, answer) == answer) return;
    if (answer == telnet::DO) {
        telnetOutput_.optionDo(option);
    } else {
        telnetOutput_.optionDont(option);
    }
    scheduleFlusher();
}

void Telnet::subnegotiation(int option, const std::string& parameters) {
    const int first = byteAt(parameters, 0);
    const std::string rest = parameters.empty() ? std::string() : parameters.substr(1);
    if (option != telnet::COM_PORT_OPTION || first != telnet::SERVER_SIGNATURE) {
        logUnhandled(option, first, rest);
    } else if (!rest.empty()) {
        peerSignature_ = rest;
    } else {
        const std::string subcommand(1, static_cast<char>(telnet::SIGNATURE));
        telnetOutput_.subnegotiation(telnet::COM_PORT_OPTION, subcommand + OWN_SIGNATURE);
        scheduleFlusher();
    }
}

void Telnet::logUnhandled(int option, int first, const std::string& rest) {
    if (option == telnet::COM_PORT_OPTION) {
        log_.info("Un-handle Telnet : COM_PORT_OPTION(%d, 0x%02x)", first,
                  static_cast<unsigned>(first));
    } else {
        log_.info("Un-handle Telnet subnegotiation: '%d' with parameters: '%s'", first,
                  rest.c_str());
    }
}

void Telnet::set_baudrate(std::uint32_t baud) {
    std::string value;
    bigendian::append32(value, baud);
    sendSetting("SET-BAUDRATE", telnet::SET_BAUDRATE, value);
}

void Telnet::set_datasize(std::uint8_t bits) {
    sendSetting("SET-DATASIZE", telnet::SET_DATASIZE, std::string(1, static_cast<char>(bits)));
}

void Telnet::set_parity(std::uint8_t parity) {
    sendSetting("SET-PARITY", telnet::SET_PARITY, std::string(1, static_cast<char>(parity)));
}

void Telnet::set_stopsize(std::uint8_t size) {
    sendSetting("SET-STOPSIZE", telnet::SET_STOPSIZE, std::string(1, static_cast<char>(size)));
}

void Telnet::set_control(std::uint8_t control) {
    sendSetting("SET-CONTROL", telnet::SET_CONTROL, std::string(1, static_cast<char>(control)));
}

void Telnet::sendSetting(const char* name, int subcommand, const std::string& value) {
    if (!comPort_) throw TelnetFeatureNotAvailableException(name);
    telnetOutput_.subnegotiation(telnet::COM_PORT_OPTION,
                                 std::string(1, static_cast<char>(subcommand)) + value);
    scheduleFlusher();
}

int Telnet::string_to_number(const std::string& text) {
    return serialSettingValue(text);
}

}  // namespace teskd
