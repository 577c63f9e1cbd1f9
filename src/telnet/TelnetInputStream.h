// Reads the data bytes of a Telnet connection.
#pragma once

#include <optional>
#include <string>

#include "net/BufferedInputStream.h"
#include "net/FilterInputStream.h"
#include "telnet/TelnetDecoder.h"

namespace teskd {

// Removes Telnet commands from the bytes read and passes them to a TelnetOptionInterface. Reads
// from a buffered stream, to avoid a system call per byte.
//
// Threads: one at a time; the interface is called on the reading thread. Ownership: keeps
// references to the stream, the interface and the log's source. Errors: those of the stream,
// unchanged. After a time-out in the middle of a command the next read continues with the rest of
// that command.
class TelnetInputStream : public FilterInputStream {
  public:
    TelnetInputStream(BufferedInputStream& inner, TelnetOptionInterface& interface, LogSource& log);

    int read() override;
    // Blocks for the first byte only.
    int read(char* buffer, int len) override;
    // Raw bytes that can be read without blocking, commands included.
    unsigned available() override;
    int skip(int n) override { return InputStream::skip(n); }
    // Marks a position in the data. Valid for one data byte, whatever the limit.
    void mark(int limit) override;
    // Pushes the byte read since mark() back. @throws IOException without a valid mark
    void reset() override;
    bool markSupported() override { return true; }

    // Reads, without blocking, the bytes that have arrived: handles commands and returns the data.
    std::string takeArrived();

  private:
    int takeRun(char* buffer, int len);

    BufferedInputStream& source_;
    TelnetDecoder decoder_;
    bool marked_ = false;
    std::optional<int> sinceMark_;   // the data byte read since mark()
    std::optional<int> pushedBack_;  // the data byte that reset() pushed back
};

}  // namespace teskd
