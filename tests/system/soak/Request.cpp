#include "soak/Request.h"

#include "support/Hex.h"

namespace teskd::soak {

std::string Request::kind() const {
    if (frame.type == kAamsType) return "AAMS " + std::to_string(aamsCode);
    return "type " + std::to_string(int{frame.type});
}

std::string Request::describe() const {
    const auto age =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - sent).count();
    return kind() + ", sent " + std::to_string(age) + " ms ago: " + test::hex(frame.encode());
}

}  // namespace teskd::soak
