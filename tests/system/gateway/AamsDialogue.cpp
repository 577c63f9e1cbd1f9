#include "gateway/AamsDialogue.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>

#include "support/Bytes.h"

namespace teskd::test {

namespace {

constexpr std::size_t kPrefixSize = 4;
constexpr std::size_t kHeadSize = 8;  // "CCC-LLLL"
constexpr int kNoEffect = 4;          // code of an answer that changes nothing

int codeOf(const Frame& frame) {
    if (frame.body.size() < kPrefixSize + kHeadSize) return -1;
    return std::atoi(frame.body.substr(kPrefixSize, 3).c_str());
}

}  // namespace

std::string aamsPayload(int code, std::string_view body) {
    const auto length = static_cast<std::uint32_t>(kHeadSize + body.size());
    char head[32];
    std::snprintf(head, sizeof head, "%03d-%04X", code, length);
    return big32(length) + head + std::string(body);
}

std::string aamsText(std::string_view payload) {
    if (payload.size() < kPrefixSize + kHeadSize) {
        ADD_FAILURE() << "not a payload: " << hex(payload);
        return "";
    }
    const std::string text(payload.substr(kPrefixSize));
    EXPECT_EQ(text.size(), big32(payload, 0));
    EXPECT_EQ(text.size(), std::strtoul(text.substr(4, 4).c_str(), nullptr, 16)) << text;
    return text;
}

std::string ask(HostClient& host, int code, std::string_view body, Deadline deadline) {
    host.request(kAamsType, aamsPayload(code, body), 5, 6);
    const Frame reply = host.readFrame(deadline);
    EXPECT_EQ(0x81, reply.kind);
    EXPECT_EQ(kAamsType, reply.type);
    EXPECT_EQ(5U, reply.identifierA);
    EXPECT_EQ(6U, reply.identifierB);
    EXPECT_TRUE(reply.checksumOk);
    return aamsText(reply.body);
}

Frame Notifications::take(int code, Deadline deadline) {
    Frame frame;
    while (!pick(code, frame)) {
        if (!collect(code, deadline.left()) && deadline.passed()) {
            throw Timeout("no notification with code " + std::to_string(code));
        }
    }
    return frame;
}

bool Notifications::arrivesWithin(int code, std::chrono::milliseconds time) {
    const Deadline deadline(time);
    Frame frame;
    while (!pick(code, frame)) {
        if (!collect(code, deadline.left()) && deadline.passed()) return false;
    }
    return true;
}

bool Notifications::pick(int code, Frame& into) {
    for (auto i = waiting_.begin(); i != waiting_.end(); ++i) {
        if (codeOf(*i) != code) continue;
        into = *i;
        waiting_.erase(i);
        return true;
    }
    return false;
}

bool Notifications::collect(int code, std::chrono::milliseconds time) {
    const auto datagram = server_.receiveWithin(time);
    if (!datagram) return false;
    const auto frame = parseFrame(*datagram);
    EXPECT_TRUE(frame && frame->checksumOk) << "not a frame: " << hex(*datagram);
    if (!frame) return true;
    waiting_.push_back(*frame);
    if (codeOf(*frame) != code) answer(*frame, kNoEffect, "-");
    return true;
}

void Notifications::answer(const Frame& notification, int code, std::string_view body) {
    server_.reply(answerTo(notification, aamsPayload(code, body)));
}

std::string answerTo(const Frame& notification, std::string_view payload) {
    Frame answer = notification;
    answer.body = payload;
    return answer.encode();
}

}  // namespace teskd::test
