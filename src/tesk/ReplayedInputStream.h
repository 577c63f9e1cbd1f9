// An input stream to which bytes can be pushed back.
#pragma once

#include <string>

#include "net/FilterInputStream.h"

namespace teskd {

// read() returns the bytes pushed back before those of the inner stream. All other operations see
// the inner stream only. Threads and ownership: as FilterInputStream.
class ReplayedInputStream : public FilterInputStream {
  public:
    using FilterInputStream::FilterInputStream;

    int read() override;
    int read(char* buffer, int len) override;
    // Pushes bytes back. The next reads return them, before bytes pushed back earlier.
    void replay(const std::string& bytes) { bytes_.insert(0, bytes); }
    // The bytes pushed back and not read again.
    const std::string& rest() const { return bytes_; }

  private:
    std::string bytes_;
};

}  // namespace teskd
