#include "host/AamsReader.h"

#include <algorithm>

#include "host/DecodeError.h"
#include "host/TeskText.h"

namespace teskhost {

namespace {

constexpr char kSeparator = '-';

}  // namespace

std::string AamsReader::field() {
    skipSeparator();
    return take(std::min(rest_.find(kSeparator), rest_.size()));
}

std::string AamsReader::message() {
    skipSeparator();
    if (rest_.empty() || rest_.front() == kSeparator) return {};
    const std::size_t size = TeskText::sizeOf(rest_);
    if (size > rest_.size()) throw DecodeError("a machine's message is cut off");
    return take(size);
}

void AamsReader::skipSeparator() {
    if (rest_.empty()) throw DecodeError("a field is missing");
    if (rest_.front() != kSeparator) throw DecodeError("no \"-\" in front of a field");
    rest_.remove_prefix(1);
}

std::string AamsReader::take(std::size_t size) {
    std::string result(rest_.substr(0, size));
    rest_.remove_prefix(size);
    return result;
}

}  // namespace teskhost
