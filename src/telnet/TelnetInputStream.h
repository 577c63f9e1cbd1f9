// The data bytes of a Telnet connection.
#pragma once

#include <optional>
#include <string>

#include "net/BufferedInputStream.h"
#include "net/FilterInputStream.h"
#include "telnet/TelnetDecoder.h"

namespace teskd {

// Removes Telnet commands from what is read and reports them to a TelnetOptionInterface. Reads from
// a buffered stream, so that a byte costs no system call.
//
// Threads: one at a time; commands are reported on the reading thread. Ownership: refers to the
// stream and the interface. Errors: those of the stream, unchanged; a time-out in the middle of a
// command loses nothing of it.
class TelnetInputStream : public FilterInputStream {
  public:
    TelnetInputStream(BufferedInputStream& inner, TelnetOptionInterface& interface);

    int read() override;
    // Blocks for the first byte only.
    int read(char* buffer, int len) override;
    // Raw bytes that wait, commands included.
    unsigned available() override;
    int skip(int n) override { return InputStream::skip(n); }
    // A mark on data, good for one byte, whatever the limit.
    void mark(int limit) override;
    // Gives the byte read since mark() back. @throws IOException without a mark
    void reset() override;
    bool markSupported() override { return true; }

    // Reads whatever has arrived, without blocking; commands are reported, data is returned.
    std::string takeArrived();

  private:
    BufferedInputStream& source_;
    TelnetDecoder decoder_;
    bool marked_ = false;
    std::optional<int> sinceMark_;   // the data byte read since mark()
    std::optional<int> pushedBack_;  // the data byte that reset() gave back
};

}  // namespace teskd
