#include "telnet/TelnetDecoder.h"

#include <algorithm>

#include "core/LogSource.h"
#include "telnet/TelnetOptionInterface.h"
#include "telnet/TelnetProtocol.h"

namespace teskd {

std::optional<int> TelnetDecoder::feed(int byte) {
    switch (state_) {
        case State::DATA:
            if (byte != telnet::IAC) return byte;
            state_ = State::COMMAND;
            return std::nullopt;
        case State::COMMAND:
            state_ = State::DATA;
            return command(byte);
        case State::OPTION:
            state_ = State::DATA;
            option(byte);
            return std::nullopt;
        case State::SUBNEGOTIATION_OPTION:
            state_ = State::SUBNEGOTIATION;
            subnegotiationOption_ = byte;
            parameters_.clear();
            return std::nullopt;
        case State::SUBNEGOTIATION:
            parameter(byte);
            return std::nullopt;
    }
    return std::nullopt;
}

std::size_t TelnetDecoder::leadingData(std::string_view bytes) const {
    if (state_ != State::DATA) return 0;
    return std::min(bytes.find(static_cast<char>(telnet::IAC)), bytes.size());
}

std::optional<int> TelnetDecoder::command(int byte) {
    if (byte < telnet::SE) {
        log_.warning("Un-Escape 'Interpret as Command (IAC)' byte.");
        return std::nullopt;
    }
    switch (byte) {
        case telnet::IAC:
            return telnet::IAC;
        case telnet::SE:
            log_.warning("Telnet 'IAC' 'SE' Character found without a 'IAC' 'SB' prior");
            return std::nullopt;
        case telnet::SB:
            state_ = State::SUBNEGOTIATION_OPTION;
            return std::nullopt;
        case telnet::WILL:
        case telnet::WONT:
        case telnet::DO:
        case telnet::DONT:
            command_ = byte;
            state_ = State::OPTION;
            return std::nullopt;
        default:  // the commands NOP to GA are ignored
            return std::nullopt;
    }
}

void TelnetDecoder::option(int byte) {
    switch (command_) {
        case telnet::WILL:
            return interface_.optionWill(byte);
        case telnet::WONT:
            return interface_.optionWont(byte);
        case telnet::DO:
            return interface_.optionDo(byte);
        default:
            return interface_.optionDont(byte);
    }
}

void TelnetDecoder::parameter(int byte) {
    const bool ends = byte == telnet::SE && !parameters_.empty() &&
                      parameters_.back() == static_cast<char>(telnet::IAC);
    if (ends) {
        parameters_.pop_back();
        state_ = State::DATA;
        interface_.subnegotiation(subnegotiationOption_, parameters_);
        return;
    }
    parameters_.push_back(static_cast<char>(byte));
    if (parameters_.size() >= LONGEST_SUBNEGOTIATION) state_ = State::DATA;
}

}  // namespace teskd
