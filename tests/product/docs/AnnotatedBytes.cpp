#include "docs/AnnotatedBytes.h"

#include <cctype>
#include <regex>
#include <stdexcept>

#include "support/Hex.h"

namespace teskd::test {

namespace {

bool isText(const std::string& data) {
    for (const char c : data) {
        if (std::isprint(static_cast<unsigned char>(c)) == 0) return false;
    }
    return true;
}

// A line's bytes are the text in quotes with which its annotation begins, unless other bytes fill
// it.
void checkQuotation(const std::string& data, const std::string& annotation) {
    if (annotation.empty() || annotation.front() != '"' || !isText(data)) return;
    if (annotation.compare(1, annotation.find('"', 1) - 1, data) == 0) return;
    throw std::runtime_error("not the bytes of this text: " + hex(data) + "  " + annotation);
}

}  // namespace

AnnotatedBytes AnnotatedBytes::parse(const std::vector<std::string>& lines) {
    static const std::regex kWay("([a-z]+) -> ([a-z]+)");
    static const std::regex kLine("([0-9A-F]{2}(?: [0-9A-F]{2})*)(?: +(\\*)?(?: *([^ ].*))?)?");
    AnnotatedBytes result;
    std::smatch part;
    if (lines.empty() || !std::regex_match(lines.front(), part, kWay)) {
        throw std::runtime_error("who sends to whom?");
    }
    result.from = part[1];
    result.to = part[2];
    for (std::size_t i = 1; i < lines.size(); ++i) {
        if (!std::regex_match(lines[i], part, kLine)) {
            throw std::runtime_error("no annotated bytes: " + lines[i]);
        }
        const std::string data = test::bytes(part[1].str());
        checkQuotation(data, part[3]);
        result.bytes += data;
        result.varies.append(data.size(), part[2].matched ? '*' : ' ');
    }
    return result;
}

bool AnnotatedBytes::matches(const std::string& others) const {
    if (others.size() != bytes.size()) return false;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (varies[i] == ' ' && others[i] != bytes[i]) return false;
    }
    return true;
}

}  // namespace teskd::test
