// Input from a host, for a thread that has other work while it waits for the input.
#pragma once

#include <functional>
#include <utility>

#include "net/FilterInputStream.h"

namespace teskd {

// Before each read, calls a function that returns when there is something to read and throws when
// the reading is to end. A short read has emptied the socket, so available() is 0 after it without
// a system call. Threads and ownership: as FilterInputStream.
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
