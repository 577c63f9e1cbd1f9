// The machines of one road, each on a line of its own, behind telnet endpoints of their own or
// behind a serial-port server.
//
// Ownership: the object owns machines and server. Threads: one user at a time.
// Errors: those of the constructors of Machine and SerialPortServer; test::Timeout.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/Machine.h"
#include "bench/SerialPortServer.h"
#include "bench/Setup.h"

namespace teskd::bench {

class Lines {
  public:
    explicit Lines(const Setup& setup);
    ~Lines();
    Lines(const Lines&) = delete;
    Lines& operator=(const Lines&) = delete;

    // Of the machine with that number, from 0.
    static std::string codeIdOf(std::size_t n);
    // TCP ports on 127.0.0.1.
    std::vector<std::uint16_t> ports() const;
    Machine& machine(std::size_t n) { return *machines_[n]; }
    std::size_t count() const { return machines_.size(); }
    // Returns when the daemon knows every machine.
    void awaitKnown();

  private:
    std::vector<std::unique_ptr<Machine>> machines_;
    std::unique_ptr<SerialPortServer> server_;  // goes first: that ends machines on a tty
};

}  // namespace teskd::bench
