#include "fuzz/FragmentedInputStream.h"

#include <algorithm>

#include "core/Exception.h"

namespace teskd::fuzz {

FragmentedInputStream::FragmentedInputStream(const std::uint8_t* data, std::size_t size,
                                             TimeOuts timeOuts)
    : timeOuts_(timeOuts) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    cuts_ = input.substr(0, CUTS);
    bytes_ = input.substr(cuts_.size());
}

int FragmentedInputStream::read() {
    char byte = 0;
    return read(&byte, 1) < 1 ? -1 : static_cast<unsigned char>(byte);
}

int FragmentedInputStream::read(char* buffer, int len) {
    if (position_ == bytes_.size()) return -1;
    if (arrived_ == 0) awaitFragment();
    const std::size_t n = bytes_.copy(
        buffer, std::min(arrived_, static_cast<std::size_t>(std::max(len, 0))), position_);
    position_ += n;
    arrived_ -= n;
    return static_cast<int>(n);
}

void FragmentedInputStream::awaitFragment() {
    const auto cut = static_cast<unsigned char>(cuts_[fragments_ % cuts_.size()]);
    const bool waits = timeOuts_ == TimeOuts::some && (cut & 0x80) != 0;
    if (waits && !timedOut_) {
        timedOut_ = true;
        throw SocketTimeoutException("void SocketInputStream::wait_for_data()");
    }
    timedOut_ = false;
    ++fragments_;
    const std::size_t left = bytes_.size() - position_;
    const std::size_t size = cut & 0x7F;
    arrived_ = size == 0 ? left : std::min(size, left);
}

}  // namespace teskd::fuzz
