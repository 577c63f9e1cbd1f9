#include "host/Outcome.h"

#include <array>

namespace teskhost {

std::string outcomeText(std::uint8_t number) {
    static const std::array<const char*, 10> kTexts = {"00", "1A", "1B", "1C", "1D",
                                                       "1E", "1F", "1G", "1H", "FF"};
    const char* const text = number < kTexts.size() ? kTexts[number] : "not known";
    return std::to_string(number) + " (" + text + ")";
}

}  // namespace teskhost
