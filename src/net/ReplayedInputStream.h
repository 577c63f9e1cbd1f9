// Gives bytes that were read too far back to whoever reads next.
#pragma once

#include <string>

#include "net/FilterInputStream.h"

namespace teskd {

// Hands out the bytes put back before those of the inner stream. For reading alone: the other
// operations see the inner stream only. Threads and ownership: as FilterInputStream.
class ReplayedInputStream : public FilterInputStream {
  public:
    using FilterInputStream::FilterInputStream;

    int read() override;
    int read(char* buffer, int len) override;
    // The next reads give these bytes, before any put back earlier.
    void replay(const std::string& bytes) { bytes_.insert(0, bytes); }
    // What was put back and not read again.
    const std::string& rest() const { return bytes_; }

  private:
    std::string bytes_;
};

}  // namespace teskd
