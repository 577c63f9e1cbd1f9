#include "support_src/AtThreadStart.h"

#include <utility>

namespace teskd::test {

namespace {

std::atomic<AtThreadStart*> current{nullptr};

}  // namespace

AtThreadStart::AtThreadStart(std::function<void(int)> action) : action_(std::move(action)) {
    current = this;
}

AtThreadStart::~AtThreadStart() {
    current = nullptr;
}

void AtThreadStart::tell() {
    AtThreadStart* const listener = current;
    if (listener != nullptr) listener->action_(++listener->count_);
}

}  // namespace teskd::test
