// Sends frames on a host connection, whole and one after another.
#pragma once

#include <deque>
#include <string>

#include "core/Synchronized.h"
#include "net/OutputStream.h"

namespace teskd {

class Socket;

// Each write() of a block is one frame. The first thread that brings one becomes the writer and
// stays it until nothing is left; threads that come meanwhile leave their frame and go on. So
// frames never mix, nobody waits for a slow host but one writer, and no lock is held while bytes go
// out.
//
// Owner: a Dorn. Threads: write() from any. Locks: its own, innermost.
// Errors: none leave. The first failure is logged, shuts the connection down, and what is still to
// be sent is dropped.
class FrameWriter : public OutputStream {
  public:
    // Refers to the connection.
    explicit FrameWriter(Socket& connection) : connection_(connection) {}
    ~FrameWriter() noexcept override = default;

    using OutputStream::write;
    void write(const char* frame, std::size_t len) override;

  private:
    bool enqueue(std::string frame);
    bool next(std::string& frame);
    void send(const std::string& frame);

    Socket& connection_;
    Synchronized lock_;
    std::deque<std::string> frames_ TESKD_GUARDED_BY(lock_);
    bool writing_ TESKD_GUARDED_BY(lock_) = false;
    bool broken_ TESKD_GUARDED_BY(lock_) = false;
};

}  // namespace teskd
