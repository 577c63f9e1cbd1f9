#include "host/TeskText.h"

#include <charconv>

#include "host/DecodeError.h"

namespace teskhost {

namespace {

constexpr char kSeparator = '~';
constexpr std::size_t kOutcomeSize = 2;
constexpr std::size_t kTrailerSize = 268;

std::string_view takeField(std::string_view& text) {
    const std::size_t end = text.find(kSeparator);
    if (end == std::string_view::npos) throw DecodeError("a machine's message ends too early");
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(end + 1);
    return field;
}

// Machines whose name has one of these letters send a trailer.
bool hasTrailer(const std::string& machine) {
    return machine.size() > 1 && (machine[1] == 'N' || machine[1] == 'P');
}

}  // namespace

std::size_t TeskText::sizeOf(std::string_view data) {
    takeField(data);
    const std::string_view digits = takeField(data);
    std::size_t size = 0;
    const char* const end = digits.data() + digits.size();
    if (std::from_chars(digits.data(), end, size, 16).ptr != end) {
        throw DecodeError("a machine's message without a length");
    }
    return size;
}

TeskText TeskText::decode(std::string_view text) {
    if (sizeOf(text) != text.size()) throw DecodeError("a machine's message of a wrong length");
    TeskText result;
    result.id = takeField(text);
    takeField(text);
    result.date = takeField(text);
    result.machine = takeField(text);
    if (text.size() < kOutcomeSize) throw DecodeError("a machine's message without an outcome");
    result.outcome = text.substr(0, kOutcomeSize);
    text.remove_prefix(kOutcomeSize);
    if (!text.empty() && text.front() == kSeparator) text.remove_prefix(1);
    result.trailer = hasTrailer(result.machine) && text.size() >= kTrailerSize;
    if (result.trailer) text.remove_suffix(kTrailerSize);
    result.body = text;
    return result;
}

std::vector<std::string> TeskText::items() const {
    std::vector<std::string> result;
    std::string_view rest = body;
    while (rest.find(kSeparator) != std::string_view::npos) result.emplace_back(takeField(rest));
    if (!rest.empty()) result.emplace_back(rest);
    return result;
}

}  // namespace teskhost
