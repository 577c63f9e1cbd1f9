// Writes data and commands to a Telnet connection.
#pragma once

#include <string_view>

#include "core/Synchronized.h"
#include "net/FilterOutputStream.h"
#include "telnet/TelnetOptionInterface.h"

namespace teskd {

// Applies the Telnet end-of-line rule to everything that passes: LF goes out as CR LF, a CR that
// neither LF nor NUL follows as CR LF, and each line end flushes. Commands pass the same way. A
// 0xFF in data is not doubled: whoever writes data sees to it that the other side takes it for that
// (isData).
//
// Threads: any; each operation is whole. Locks: its own, held while bytes go to the inner stream
// (flush included), and nothing else is locked or called meanwhile.
// Ownership: refers to the inner stream. Errors: those of the inner stream.
class TelnetOutputStream : public FilterOutputStream, public TelnetOptionInterface {
  public:
    explicit TelnetOutputStream(OutputStream& inner) : FilterOutputStream(inner) {}
    ~TelnetOutputStream() noexcept override = default;

    void close() override;
    void flush() override;
    void write(int b) override;
    void write(const char* buffer, std::size_t len) override;
    void write(const std::string& bytes) override;
    // Does not wait for another thread that writes or flushes either.
    bool flushAvailable() override;

    // Whether the other side takes all of these bytes for data: every 0xFF is one of a pair.
    static bool isData(std::string_view bytes);

    // Send the command.
    void optionWill(int option) override;
    void optionWont(int option) override;
    void optionDo(int option) override;
    void optionDont(int option) override;
    // A byte 0xFF of the parameters goes out doubled (RFC 855).
    void subnegotiation(int option, const std::string& parameters) override;

  private:
    void writeByte(int byte) TESKD_REQUIRES(lock_);
    void writeCommand(int command, int option);

    Synchronized lock_;
    int last_ TESKD_GUARDED_BY(lock_) = 0;  // the data byte written last
};

}  // namespace teskd
