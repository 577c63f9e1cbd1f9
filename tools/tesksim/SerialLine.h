// The setting of a serial line, as a person writes it: "19200 8N1".
//
// Ownership: a plain value. Threads: no state.
// Errors: parse() throws std::invalid_argument, whose text says what was expected.

#pragma once

#include <string>
#include <termios.h>

namespace tesksim {

struct SerialLine {
    unsigned speed = 19200;  // bits per second
    unsigned dataBits = 8;   // 5 to 8
    char parity = 'N';       // N, E or O
    unsigned stopBits = 1;   // 1 or 2

    static SerialLine parse(const std::string& text);
    // Sets raw mode with this setting; modem lines are ignored.
    void apply(termios& settings) const;
};

}  // namespace tesksim
