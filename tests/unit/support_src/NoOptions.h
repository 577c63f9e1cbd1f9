// Ignores all telnet options that the server negotiates.
//
// Ownership: no state. Threads: any. Errors: none.

#pragma once

#include <string>

#include "telnet/TelnetOptionInterface.h"

namespace teskd::test {

class NoOptions : public TelnetOptionInterface {
  public:
    void optionWill(int) override {}
    void optionWont(int) override {}
    void optionDo(int) override {}
    void optionDont(int) override {}
    void subnegotiation(int, const std::string&) override {}
};

}  // namespace teskd::test
