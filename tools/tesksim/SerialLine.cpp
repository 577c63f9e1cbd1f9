#include "tesksim/SerialLine.h"

#include <map>
#include <regex>
#include <stdexcept>

namespace tesksim {

namespace {

const std::map<unsigned, speed_t>& speeds() {
    static const std::map<unsigned, speed_t> table = {
        {1200, B1200},   {2400, B2400},   {4800, B4800},   {9600, B9600},
        {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200},
    };
    return table;
}

tcflag_t sizeFlag(unsigned bits) {
    constexpr tcflag_t kFlags[] = {CS5, CS6, CS7, CS8};
    return kFlags[bits - 5];
}

}  // namespace

SerialLine SerialLine::parse(const std::string& text) {
    static const std::regex form("([0-9]{3,6})[ ,]([5-8])([NEO])([12])");
    std::smatch match;
    SerialLine line;
    if (std::regex_match(text, match, form)) {
        line.speed = static_cast<unsigned>(std::stoul(match[1]));
        line.dataBits = static_cast<unsigned>(std::stoul(match[2]));
        line.parity = match[3].str().front();
        line.stopBits = static_cast<unsigned>(std::stoul(match[4]));
        if (speeds().count(line.speed) != 0) return line;
    }
    throw std::invalid_argument("a line setting such as \"19200 8N1\" is expected, not \"" + text +
                                '"');
}

void SerialLine::apply(termios& settings) const {
    ::cfmakeraw(&settings);
    ::cfsetspeed(&settings, speeds().at(speed));
    settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB);
    settings.c_cflag |= CLOCAL | CREAD | sizeFlag(dataBits);
    if (parity != 'N') settings.c_cflag |= PARENB;
    if (parity == 'O') settings.c_cflag |= PARODD;
    if (stopBits == 2) settings.c_cflag |= CSTOPB;
}

}  // namespace tesksim
