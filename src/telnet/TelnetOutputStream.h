// Writes data and commands to a Telnet connection.
#pragma once

#include <string_view>

#include "core/Synchronized.h"
#include "net/FilterOutputStream.h"
#include "telnet/TelnetOptionInterface.h"

namespace teskd {

// Applies the Telnet end-of-line rule to everything written, commands included: LF is sent as CR
// LF, a CR not followed by LF or NUL is sent as CR LF, and each line end flushes. A 0xFF in data is
// not doubled: the caller must make sure that the peer reads it as data (see isData).
//
// Threads: any; each operation is atomic. Locks: its own, held while the inner stream is written
// and flushed; no other lock is taken and nothing else is called while it is held.
// Ownership: keeps a reference to the inner stream. Errors: those of the inner stream.
class TelnetOutputStream : public FilterOutputStream, public TelnetOptionInterface {
  public:
    explicit TelnetOutputStream(OutputStream& inner) : FilterOutputStream(inner) {}
    ~TelnetOutputStream() noexcept override = default;

    void close() override;
    void flush() override;
    void write(int b) override;
    void write(const char* buffer, std::size_t len) override;
    void write(const std::string& bytes) override;
    // Does not block on the lock either: false while another thread writes or flushes.
    bool flushAvailable() override;

    // Whether the peer reads all of these bytes as data: each 0xFF is one of a pair.
    static bool isData(std::string_view bytes);

    // Each of these sends its command.
    void optionWill(int option) override;
    void optionWont(int option) override;
    void optionDo(int option) override;
    void optionDont(int option) override;
    // Doubles each byte 0xFF of the parameters (RFC 855).
    void subnegotiation(int option, const std::string& parameters) override;

  private:
    void writeByte(int byte) TESKD_REQUIRES(lock_);
    void writeCommand(int command, int option);

    Synchronized lock_;
    int last_ TESKD_GUARDED_BY(lock_) = 0;  // the byte written last
};

}  // namespace teskd
