// The bytes of an input, as a connection delivers them: in pieces, with waits in between.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "net/InputStream.h"

namespace teskd::fuzz {

// The first bytes of the input say how it is cut, in turn: the low seven bits are the size of a
// fragment (0: all that is left); with the high bit, a read has to wait for the fragment and times
// out once, where the stream has time-outs. The rest are the bytes to read; then the stream ends.
//
// Refers to the input. Threads: one. Errors: SocketTimeoutException.
class FragmentedInputStream : public InputStream {
  public:
    enum class TimeOuts { none, some };

    FragmentedInputStream(const std::uint8_t* data, std::size_t size, TimeOuts timeOuts);

    // What is left of the fragment that has arrived.
    unsigned available() override { return static_cast<unsigned>(arrived_); }
    int read() override;
    int read(char* buffer, int len) override;

    // All bytes that can be read, and how many of them were.
    std::string_view bytes() const { return bytes_; }
    std::size_t position() const { return position_; }

  private:
    static constexpr std::size_t CUTS = 3;

    void awaitFragment();

    std::string_view cuts_;
    std::string_view bytes_;
    TimeOuts timeOuts_;
    std::size_t fragments_ = 0;  // begun so far
    bool timedOut_ = false;      // the next fragment was waited for in vain
    std::size_t position_ = 0;
    std::size_t arrived_ = 0;
};

}  // namespace teskd::fuzz
