#include "support/LogLine.h"

#include <charconv>

namespace teskd::test {

namespace {

constexpr std::size_t kTimestampSize = 15;  // "Mmm dd hh:mm:ss"

bool toInt(std::string_view text, int& value) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// "ident[pid]" or "ident".
bool readTag(std::string_view tag, LogLine& line) {
    if (tag.empty() || tag.back() != ']') {
        line.ident = tag;
        return true;
    }
    const std::size_t bracket = tag.rfind('[');
    if (bracket == std::string_view::npos) return false;
    line.ident = tag.substr(0, bracket);
    return toInt(tag.substr(bracket + 1, tag.size() - bracket - 2), line.pid);
}

}  // namespace

std::optional<LogLine> parseLogLine(std::string_view text) {
    LogLine line;
    const std::size_t close = text.find('>');
    if (text.empty() || text.front() != '<' || close == std::string_view::npos) return {};
    if (!toInt(text.substr(1, close - 1), line.priority)) return {};
    text.remove_prefix(close + 1);
    if (text.size() <= kTimestampSize || text[kTimestampSize] != ' ') return {};
    line.timestamp = text.substr(0, kTimestampSize);
    text.remove_prefix(kTimestampSize + 1);
    const std::size_t colon = text.find(": ");
    if (colon == std::string_view::npos || !readTag(text.substr(0, colon), line)) return {};
    line.text = text.substr(colon + 2);
    return line;
}

}  // namespace teskd::test
