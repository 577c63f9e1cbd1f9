// A party to Telnet option negotiation.
#pragma once

#include <string>

namespace teskd {

// Takes the commands of the other side. TelnetInputStream tells one about what it received;
// TelnetOutputStream is one whose other side is the network, so what it is told, it sends.
//
// Threads: called on the thread that reads (or sends); implementations say what they lock.
class TelnetOptionInterface {
  public:
    virtual ~TelnetOptionInterface() = default;

    virtual void optionWill(int option) = 0;
    virtual void optionWont(int option) = 0;
    virtual void optionDo(int option) = 0;
    virtual void optionDont(int option) = 0;
    // parameters: the bytes between the option and IAC SE.
    virtual void subnegotiation(int option, const std::string& parameters) = 0;
    // Whether another line about what the other side does wrong may be logged.
    virtual bool mayLog() { return true; }
};

}  // namespace teskd
