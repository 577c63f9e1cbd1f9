// The configuration of serial ports under test.
//
// Ownership: the object gives the store back as it was. Threads: made, used and destroyed while no
// thread of the daemon's code runs.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support_src/KeptConfig.h"

namespace teskd::test {

class PortConfig : public KeptConfig {
  public:
    // Serial ports 1, 2, 3 ... and no others, at these TCP ports of 127.0.0.1.
    static void serialPorts(const std::vector<std::uint16_t>& tcpPorts) {
        std::string list;
        for (std::size_t i = 0; i < tcpPorts.size(); ++i) {
            const std::string n = std::to_string(i + 1);
            list += n + ",";
            set("[PORT_ASYNC" + n + "] TCP_PORT", std::to_string(tcpPorts[i]));
        }
        set("[SLOT_MACHINE] PORT_ASYNC", list);
    }
};

}  // namespace teskd::test
