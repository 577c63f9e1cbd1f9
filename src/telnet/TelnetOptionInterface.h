// The interface that receives Telnet option negotiation.
#pragma once

#include <string>

namespace teskd {

// Receives one call per command. Two implementations: Telnet handles the commands that its
// TelnetInputStream has received; TelnetOutputStream sends each command to the peer.
//
// Threads: called on the thread that reads or sends; implementations document their locks.
class TelnetOptionInterface {
  public:
    virtual ~TelnetOptionInterface() = default;

    virtual void optionWill(int option) = 0;
    virtual void optionWont(int option) = 0;
    virtual void optionDo(int option) = 0;
    virtual void optionDont(int option) = 0;
    // parameters: the bytes between the option and IAC SE.
    virtual void subnegotiation(int option, const std::string& parameters) = 0;
};

}  // namespace teskd
