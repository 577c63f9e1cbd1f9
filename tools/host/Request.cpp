#include "host/Request.h"

#include "host/AamsMessage.h"
#include "host/ByteWriter.h"
#include "host/Frame.h"

namespace teskhost {

namespace {

constexpr std::size_t kNameSize = 11;
constexpr std::size_t kFieldSize = 8;
constexpr std::size_t kUnnamedSize = 4;

// 0 means every machine, 1 the named one.
unsigned selector(const std::string& name) {
    return name.empty() ? 0 : 1;
}

}  // namespace

Request Request::counters(const std::string& name) {
    return {kCounters, ByteWriter().byte(selector(name)).text(name, kNameSize).data()};
}

Request Request::list(const std::string& a, const std::string& b, const std::string& name) {
    ByteWriter out;
    out.text(a, kFieldSize).text(b, kFieldSize).text(name, kNameSize);
    return {kListByFields, out.data()};
}

Request Request::list(std::uint16_t x, std::uint16_t y, const std::string& name) {
    return {kListByNumbers, ByteWriter().number16(x).number16(y).text(name, kNameSize).data()};
}

Request Request::times(const std::string& a, const std::string& b, const std::string& name) {
    ByteWriter out;
    out.text(a, kFieldSize).text(b, kFieldSize).byte(selector(name)).text(name, kNameSize);
    return {kTimes, out.data()};
}

Request Request::value(std::uint8_t code, const std::string& name) {
    return {kValue, ByteWriter().byte(selector(name)).text(name, kNameSize).byte(code).data()};
}

Request Request::message(const std::string& text, const std::string& name) {
    return {kMessage, ByteWriter().text(name, kNameSize).text("", kUnnamedSize).bytes(text).data()};
}

Request Request::version() {
    return {kVersion};
}

Request Request::machines() {
    return {kMachines};
}

Request Request::aams(int code, const std::string& text) {
    return {Frame::kAamsType, AamsMessage(code, "-" + text).encode()};
}

}  // namespace teskhost
