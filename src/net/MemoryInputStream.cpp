#include "net/MemoryInputStream.h"

namespace teskd {

int MemoryInputStream::read() {
    return pos_ == bytes_.size() ? -1 : static_cast<unsigned char>(bytes_[pos_++]);
}

}  // namespace teskd
