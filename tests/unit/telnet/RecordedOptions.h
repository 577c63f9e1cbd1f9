// A party to option negotiation that writes down what it is told.

#pragma once

#include <string>
#include <vector>

#include "support/Hex.h"
#include "telnet/TelnetOptionInterface.h"

namespace teskd::test {

class RecordedOptions : public TelnetOptionInterface {
  public:
    void optionWill(int option) override { keep("WILL", option); }
    void optionWont(int option) override { keep("WONT", option); }
    void optionDo(int option) override { keep("DO", option); }
    void optionDont(int option) override { keep("DONT", option); }
    void subnegotiation(int option, const std::string& parameters) override {
        keep("SB", option);
        calls.back() += ": " + hex(parameters);
    }

    std::vector<std::string> calls;  // "WILL 3", "SB 44: 64 01"

  private:
    void keep(const std::string& command, int option) {
        calls.push_back(command + " " + std::to_string(option));
    }
};

}  // namespace teskd::test
