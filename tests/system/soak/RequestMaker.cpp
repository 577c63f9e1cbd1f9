#include "soak/RequestMaker.h"

#include <cstdio>

#include "gateway/AamsDialogue.h"
#include "soak/SoakMachine.h"
#include "support/HostClient.h"

namespace teskd::soak {

namespace {

using test::name11;

constexpr char kUnknownMachine[] = "ZZ999999999";
constexpr std::size_t kStationSize = 6;
constexpr std::size_t kReservedSize = 20;
constexpr int kMessageIds[] = {0x71, 0x73, 0x77, 0x75};  // of types 1 to 4
constexpr int kAcknowledgement = 150;
constexpr int kFirstFreeId = 300;
// IDs are codes of commands, so most requests share a few with those of types 1 and 5.
constexpr int kFreeIds = 600;

bool canAskEvery(std::uint8_t type) {
    return type == 1 || type == 4 || type == 5;
}

// "ID~LLLL~", which stands before the payload.
std::string messageHead(int id, const std::string& payload) {
    char head[16];
    std::snprintf(head, sizeof head, "%03d~%04X~", id,
                  static_cast<unsigned>(payload.size() + 9) & 0xFFFFU);
    return head;
}

}  // namespace

RequestMaker::RequestMaker(std::uint32_t host, const std::vector<std::string>& codeIds,
                           Random& random)
    : host_(host), codeIds_(codeIds), random_(random) {}

Request RequestMaker::any() {
    const int draw = random_.between(1, 100);
    if (draw <= 12) return daemon(7);
    if (draw <= 22) return daemon(8);
    if (draw <= 36) return aams();
    constexpr std::uint8_t kTypes[] = {1, 1, 2, 3, 4, 4, 5, 5, 6, 6, 6};
    const std::uint8_t type = random_.pick(kTypes);
    if (draw <= 39 && type != 4) return tooShort(type);
    if (draw <= 43) return toMachine(type, kUnknownMachine);
    if (draw <= 45) return withCommand(random_.pick(codeIds_));
    if (draw <= 47) return withPair(random_.pick(codeIds_));
    if (draw <= 69 && canAskEvery(type)) return toMachine(type, "");
    return toMachine(type, random_.pick(codeIds_));
}

Request RequestMaker::blank(std::uint8_t type) {
    Request request;
    request.frame.type = type;
    request.frame.identifierA = (host_ << 24) | (connection_ & 0xFFFFFFU);
    request.frame.identifierB = ++request_;
    request.frame.station = random_.bytes(kStationSize);
    request.frame.reserved = random_.bytes(kReservedSize);
    return request;
}

Request RequestMaker::daemon(std::uint8_t type) {
    Request request = blank(type);
    request.frame.body = random_.bytes(static_cast<std::size_t>(random_.between(0, 20)));
    return request;
}

Request RequestMaker::version() {
    return daemon(7);
}

Request RequestMaker::tooShort(std::uint8_t type) {
    constexpr std::size_t kShort[] = {0, 0, 15, 3, 0, 12, 14};
    Request request = blank(type);
    request.target = Request::Target::Short;
    request.frame.body = random_.bytes(kShort[type]);
    return request;
}

void RequestMaker::address(Request& request, const std::string& codeId) {
    using Target = Request::Target;
    request.codeId = codeId;
    request.target = codeId.empty()              ? Target::EveryMachine
                     : codeId == kUnknownMachine ? Target::Nobody
                                                 : Target::OneMachine;
}

// Eight characters that no other request of the soak has.
std::string RequestMaker::token() const {
    char text[32];
    std::snprintf(text, sizeof text, "%02X%06X", host_ & 0xFFU, request_ & 0xFFFFFFU);
    return text;
}

Request RequestMaker::toMachine(std::uint8_t type, const std::string& codeId) {
    Request request = blank(type);
    address(request, codeId);
    const char selector = codeId.empty() ? '\0' : '\1';
    const std::string name = name11(codeId);
    std::string& body = request.frame.body;
    if (type <= 4) request.askedId = kMessageIds[type - 1];
    switch (type) {
        case 1:
            body = selector + name;
            break;
        case 2:
            request.payload = token() + "~B2345678";
            body = token() + "B2345678" + name;
            break;
        case 3: {
            const auto high = static_cast<std::uint16_t>((host_ << 8) | (request_ >> 16));
            const auto low = static_cast<std::uint16_t>(request_);
            request.payload = std::to_string(high) + "~" + std::to_string(low);
            body = test::big16(high) + test::big16(low) + name;
            break;
        }
        case 4:
            request.payload = token() + "~20:00:00";
            body = token() + "20:00:00" + selector + name;
            break;
        case 5:
            do {
                request.askedId = random_.chance(40) ? 118 : random_.between(100, 255);
            } while (request.askedId == kAcknowledgement);
            body = selector + name + static_cast<char>(request.askedId);
            break;
        default: {
            constexpr int kCommonIds[] = {113, 113, 113, 118};
            request.askedId = random_.chance(70) ? random_.pick(kCommonIds)
                                                 : kFirstFreeId + random_.between(0, kFreeIds);
            request.payload = token();
            if (random_.chance(8)) request.payload += kLongAnswerMark;
            setMessage(request, request.payload);
            break;
        }
    }
    return request;
}

// `wire` is the payload as it goes out.
void RequestMaker::setMessage(Request& request, const std::string& wire) {
    request.frame.body =
        name11(request.codeId) + random_.bytes(4) + messageHead(request.askedId, request.payload);
    request.frame.body += wire;
}

Request RequestMaker::withCommand(const std::string& codeId) {
    static const std::string kCommands[] = {
        "\xFF\xFA", "\xFF", "\xFF\xFF\xFF", "\xFF\xF0",
        std::string("\xFF\xFA\x2C\x01\0\0\x04\xB0\xFF\xF0", 10)};
    constexpr std::size_t kField = 8;
    constexpr std::uint8_t kTypes[] = {2, 4, 6};
    Request request = toMachine(random_.pick(kTypes), codeId);
    request.target = Request::Target::Refused;
    const std::string& command = random_.pick(kCommands);
    if (request.frame.type == 6) {
        setMessage(request, request.payload + command + random_.text(3, "ABC"));
    } else {
        const auto at = static_cast<std::size_t>(random_.between(0, 5));
        const std::string field = command.substr(0, kField - at);
        request.frame.body.replace(at, field.size(), field);
    }
    return request;
}

Request RequestMaker::withPair(const std::string& codeId) {
    Request request = toMachine(6, codeId);
    request.payload = token() + "\xFF" + random_.text(2, "ABC");
    setMessage(request, token() + "\xFF\xFF" + request.payload.substr(request.payload.size() - 2));
    return request;
}

// Acknowledgements, each of 32 KiB.
Request RequestMaker::large(const std::string& codeId, std::size_t bytes) {
    constexpr std::size_t kSize = 0x8000;
    const std::string head = "150~8000~";
    Request request = toMachine(6, codeId);
    for (std::size_t size = 0; size < bytes; size += kSize) {
        request.frame.body += head + std::string(kSize - head.size(), 'x');
    }
    return request;
}

// 507 comes with texts alone that are no date to set.
Request RequestMaker::aams() {
    Request request = blank(kAamsType);
    request.aamsCode = random_.chance(6) ? random_.between(508, 520) : random_.between(501, 507);
    std::string body = "-";
    if (request.aamsCode == 503 || request.aamsCode == 504) {
        body += random_.chance(10) ? kUnknownMachine : random_.pick(codeIds_);
    } else if (request.aamsCode == 506) {
        constexpr const char* kParameters[] = {"1!1!1!0", "2!1!0!0", "1!x", "x", "3!1!1!0"};
        body += random_.pick(kParameters);
    } else if (request.aamsCode == 507) {
        body += random_.chance(50) ? "no date" : "991231235959";
    }
    request.frame.body = test::aamsPayload(request.aamsCode, body);
    return request;
}

}  // namespace teskd::soak
