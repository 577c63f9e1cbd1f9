#include "tesksim/Meters.h"

namespace tesksim {

namespace {

constexpr std::uint32_t kStep = 50;  // totals are multiples of it

}  // namespace

std::string Meters::bodyAt(std::chrono::milliseconds elapsed) {
    for (const std::int64_t due = elapsed / options_.every; movements_ < due; ++movements_) {
        options_.totalIn += draw(options_.mostIn);
        options_.totalOut += draw(options_.mostOut);
    }
    const std::string in = std::to_string(options_.totalIn);
    const std::string out = std::to_string(options_.totalOut);
    return in + "~" + out + "~" + std::to_string(options_.cleared) + "~" + in + "~" + out + "~" +
           std::to_string(options_.item5);
}

std::uint32_t Meters::draw(std::uint32_t most) {
    return static_cast<std::uint32_t>(random_() % (most / kStep + 1)) * kStep;
}

}  // namespace tesksim
