// What a host sends, read by a thread that has something else to do meanwhile.
#pragma once

#include <functional>
#include <utility>

#include "net/FilterInputStream.h"

namespace teskd {

// Calls a function before each read, which returns when there is something to read and throws when
// the reading is to end. A read that brings less than there was room for has emptied the socket:
// nothing is available behind it, without another call that asks. Threads and ownership: as
// FilterInputStream.
class HostInputStream : public FilterInputStream {
  public:
    HostInputStream(InputStream& inner, std::function<void()> await)
        : FilterInputStream(inner), await_(std::move(await)) {}

    using FilterInputStream::read;
    int read(char* buffer, int len) override {
        await_();
        const int n = inner().read(buffer, len);
        emptied_ = n < len;
        return n;
    }
    unsigned available() override { return emptied_ ? 0 : inner().available(); }

  private:
    std::function<void()> await_;
    bool emptied_ = false;
};

}  // namespace teskd
