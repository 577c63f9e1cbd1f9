#include "tesksim/TelnetServer.h"

#include <utility>

namespace tesksim {

namespace {

constexpr std::uint8_t kSe = 0xF0;
constexpr std::uint8_t kSb = 0xFA;
constexpr std::uint8_t kWill = 0xFB;
constexpr std::uint8_t kWont = 0xFC;
constexpr std::uint8_t kDo = 0xFD;
constexpr std::uint8_t kDont = 0xFE;
constexpr std::uint8_t kIac = 0xFF;

// Added to a subcommand in the server's answer to it.
constexpr int kAnswerOffset = 100;
constexpr std::uint8_t kFirstSetting = 1;
constexpr std::uint8_t kLastSetting = 5;
constexpr std::size_t kLongestParameters = 4096;

char asChar(int value) {
    return static_cast<char>(static_cast<unsigned char>(value));
}

bool isSupported(std::uint8_t option) {
    return option == 0 || option == 3 || option == kComPortOption;
}

}  // namespace

std::string serverGreeting() {
    constexpr std::uint8_t kOffers[][2] = {{kWill, 3}, {kDo, 3},   {kWill, 1},           {kDont, 1},
                                           {kDo, 0},   {kWill, 0}, {kDo, kComPortOption}};
    std::string greeting;
    for (const auto& [verb, option] : kOffers) {
        greeting += {asChar(kIac), asChar(verb), asChar(option)};
    }
    return greeting;
}

std::uint32_t LineSetting::number() const {
    std::uint32_t result = 0;
    for (const char c : value) result = (result << 8) | static_cast<unsigned char>(c);
    return result;
}

void apply(const LineSetting& setting, Line& line) {
    switch (setting.subcommand) {
        case 1:
            line.baudRate = setting.number();
            break;
        case 2:
            line.dataSize = setting.number();
            break;
        case 3:
            line.parity = setting.number();
            break;
        case 4:
            line.stopSize = setting.number();
            break;
        case 5:
            line.control = setting.number();
            break;
        default:
            break;
    }
}

std::string TelnetServer::receive(std::string_view bytes) {
    std::string data;
    for (const char c : bytes) step(static_cast<std::uint8_t>(c), data);
    return data;
}

std::string TelnetServer::takeReply() {
    return std::exchange(reply_, {});
}

std::vector<LineSetting> TelnetServer::takeSettings() {
    return std::exchange(settings_, {});
}

std::string TelnetServer::escape(std::string_view data) {
    std::string result;
    for (const char c : data) {
        if (c == asChar(kIac)) result += c;
        result += c;
    }
    return result;
}

void TelnetServer::step(std::uint8_t byte, std::string& data) {
    switch (state_) {
        case State::Data:
            if (byte == kIac) {
                state_ = State::Command;
            } else {
                data += asChar(byte);
            }
            break;
        case State::Command:
            command(byte, data);
            break;
        case State::Option:
            negotiate(byte);
            break;
        case State::SubOption:
            subOption_ = byte;
            parameters_.clear();
            state_ = State::Sub;
            break;
        case State::Sub:
            if (byte == kIac) {
                state_ = State::SubCommand;
            } else {
                parameter(byte);
            }
            break;
        case State::SubCommand:
            state_ = State::Sub;
            if (byte == kSe) {
                subnegotiation();
            } else {
                parameter(byte);
            }
            break;
    }
}

void TelnetServer::parameter(std::uint8_t byte) {
    if (parameters_.size() < kLongestParameters) parameters_ += asChar(byte);
}

void TelnetServer::command(std::uint8_t byte, std::string& data) {
    state_ = State::Data;
    if (byte == kIac) {
        data += asChar(byte);
    } else if (byte == kSb) {
        state_ = State::SubOption;
    } else if (byte >= kWill) {
        verb_ = byte;
        state_ = State::Option;
    }
}

void TelnetServer::negotiate(std::uint8_t option) {
    state_ = State::Data;
    if (negotiation_ == Negotiation::Mute || verb_ == kWont || verb_ == kDont) return;
    const bool refused = negotiation_ == Negotiation::Refuse && option == kComPortOption;
    const bool agreed = isSupported(option) && !refused;
    std::uint8_t answer = 0;
    if (verb_ == kWill) {
        answer = agreed ? kDo : kDont;
    } else if (!agreed) {
        answer = kWont;
    } else {
        return;  // a DO for an option that is already active
    }
    reply_ += {asChar(kIac), asChar(answer), asChar(option)};
}

void TelnetServer::subnegotiation() {
    state_ = State::Data;
    if (subOption_ == kComPortOption && !parameters_.empty()) comPort(parameters_);
}

void TelnetServer::comPort(std::string_view parameters) {
    const auto subcommand = static_cast<std::uint8_t>(parameters.front());
    const std::string_view value = parameters.substr(1);
    if (subcommand >= kFirstSetting && subcommand <= kLastSetting) {
        settings_.push_back({subcommand, std::string(value)});
    }
    if (negotiation_ != Negotiation::Agree || subcommand >= kAnswerOffset) return;
    reply_ += {asChar(kIac), asChar(kSb), asChar(kComPortOption)};
    reply_ += asChar(subcommand + kAnswerOffset);
    reply_ += escape(value);
    reply_ += {asChar(kIac), asChar(kSe)};
}

}  // namespace tesksim
