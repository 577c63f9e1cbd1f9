#include "host/Outcome.h"

#include <algorithm>
#include <array>

namespace teskhost {

namespace {

constexpr std::array<const char*, 10> kTexts = {"00", "1A", "1B", "1C", "1D",
                                                "1E", "1F", "1G", "1H", "FF"};

}  // namespace

std::string outcomeCharacters(std::uint8_t number) {
    return number < kTexts.size() ? kTexts[number] : "";
}

std::string outcomeText(std::uint8_t number) {
    const std::string characters = outcomeCharacters(number);
    return std::to_string(number) + " (" + (characters.empty() ? "not known" : characters) + ")";
}

std::uint8_t outcomeNumber(const std::string& characters) {
    const auto* const found = std::find(kTexts.begin(), kTexts.end(), characters);
    return found == kTexts.end() ? 0 : static_cast<std::uint8_t>(found - kTexts.begin());
}

}  // namespace teskhost
