// What a host sends, read by a thread that has something else to do meanwhile.
#pragma once

#include <functional>
#include <utility>

#include "net/FilterInputStream.h"

namespace teskd {

// Calls a function before each read, which returns when there is something to read and throws when
// the reading is to end. Threads and ownership: as FilterInputStream.
class HostInputStream : public FilterInputStream {
  public:
    HostInputStream(InputStream& inner, std::function<void()> await)
        : FilterInputStream(inner), await_(std::move(await)) {}

    using FilterInputStream::read;
    int read(char* buffer, int len) override {
        await_();
        return inner().read(buffer, len);
    }

  private:
    std::function<void()> await_;
};

}  // namespace teskd
