// Stands between the two ends of a TCP connection and puts what passes into a capture.
//
// Ownership: the object owns its sockets and its thread; the capture is borrowed.
// Threads: one of its own, which serves one connection.
// Errors: the constructor throws std::system_error; later failures just end the connection.

#pragma once

#include <cstdint>
#include <thread>

#include "support/Listener.h"
#include "support/UniqueFd.h"
#include "wireshark/CaptureFile.h"

namespace teskd::test {

class TcpRelay {
  public:
    // The sides are how the capture shows who connects here and whom it is connected with.
    TcpRelay(CaptureFile& capture, std::uint16_t target, CaptureFile::Side client,
             CaptureFile::Side server);
    ~TcpRelay();
    TcpRelay(const TcpRelay&) = delete;
    TcpRelay& operator=(const TcpRelay&) = delete;

    std::uint16_t port() const { return listener_.port(); }

  private:
    void run();
    // Waits for any of these or for the end; false when it is the end.
    bool wait(int first, int second) const;
    bool pass(Connection& from, Connection& to, CaptureFile::Side sender,
              CaptureFile::Side receiver);

    CaptureFile& capture_;
    const std::uint16_t target_;
    const CaptureFile::Side client_;
    const CaptureFile::Side server_;
    Listener listener_;
    UniqueFd stop_;
    std::thread thread_;
};

}  // namespace teskd::test
