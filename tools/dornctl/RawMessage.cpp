#include "dornctl/RawMessage.h"

#include <cstdio>
#include <regex>

namespace dornctl::rawmessage {

namespace {

constexpr std::size_t kIdSize = 3;
constexpr std::size_t kHeadSize = 8;  // "113~0008"
constexpr char kAcknowledgement[] = "150";
constexpr char kChangedOnTheLine[] = "\r\n\xFF";

// The length field for a message of this size.
std::string lengthOf(std::size_t size) {
    char digits[24];
    std::snprintf(digits, sizeof digits, "%04zX", size);
    return digits;
}

std::string withLength(const std::string& id, const std::string& rest) {
    return id + "~" + lengthOf(kHeadSize + rest.size()) + rest;
}

std::string problemOfLength(const std::string& message) {
    static const std::regex head("[0-9]{3}~[0-9A-F]{4}(~[^]*)?");
    if (!std::regex_match(message, head)) {
        return "behind the ID, \"~\", the length as four hexadecimal digits and, if more follows, "
               "another \"~\" are expected, as in 113~0008 or 115~000C~A~B";
    }
    const std::string length = lengthOf(message.size());
    if (message.compare(kIdSize + 1, kHeadSize - kIdSize - 1, length) == 0) return "";
    return "its length is " + length + ", not " +
           message.substr(kIdSize + 1, kHeadSize - kIdSize - 1);
}

}  // namespace

std::string completed(const std::string& text) {
    static const std::regex withoutLength("([0-9]{3})(~(~[^]*)?)?");
    std::smatch parts;
    if (!std::regex_match(text, parts, withoutLength)) return text;
    return withLength(parts[1], parts[3]);
}

std::string problemOfId(const std::string& id) {
    static const std::regex form("[1-9][0-9]{2}");
    if (!std::regex_match(id, form)) return "an ID has three digits, such as 113";
    return id == kAcknowledgement ? "150 is the gateway's acknowledgement, which is not answered"
                                  : "";
}

std::string problemOf(const std::string& message) {
    const std::string problem = problemOfId(message.substr(0, message.find('~')));
    if (!problem.empty()) return problem;
    if (message.find_first_of(kChangedOnTheLine) != std::string::npos) {
        return "a byte 0A, 0D or FF does not reach the machine as it stands";
    }
    return problemOfLength(message);
}

}  // namespace dornctl::rawmessage
