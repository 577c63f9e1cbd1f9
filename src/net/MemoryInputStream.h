// Reads from memory.
#pragma once

#include <string_view>

#include "net/InputStream.h"

namespace teskd {

// Ends after the last byte. A mark has no limit. Ownership: the caller keeps the bytes alive.
// Threads: one at a time.
class MemoryInputStream : public InputStream {
  public:
    explicit MemoryInputStream(std::string_view bytes) : bytes_(bytes) {}

    using InputStream::read;
    unsigned available() override { return static_cast<unsigned>(bytes_.size() - pos_); }
    int read() override;
    void mark(int) override { mark_ = pos_; }
    void reset() override { pos_ = mark_; }
    bool markSupported() override { return true; }

  private:
    std::string_view bytes_;
    std::size_t pos_ = 0;
    std::size_t mark_ = 0;
};

}  // namespace teskd
