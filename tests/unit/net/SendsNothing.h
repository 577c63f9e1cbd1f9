// Makes send(2) say that it wrote nothing, which the kernel does not do by itself.
//
// Works in binaries that are linked with -Wl,--wrap=send. Threads: the switch is the process's.

#pragma once

namespace teskd::test {

// The next send writes nothing; switched off with the object.
class SendsNothing {
  public:
    SendsNothing();
    ~SendsNothing();
    SendsNothing(const SendsNothing&) = delete;
    SendsNothing& operator=(const SendsNothing&) = delete;
};

}  // namespace teskd::test
