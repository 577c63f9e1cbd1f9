// The notifier, its packets, and a real UDP socket for a server.
//
// Threads: one user at a time. Errors: those of the sockets.

#pragma once

#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "dorn/DornNotify.h"
#include "packet/PacketHandle.h"
#include "support/Frame.h"
#include "support/UdpPeer.h"
#include "support_src/ByteSink.h"
#include "support_src/KeptConfig.h"
#include "support_src/LogRecorder.h"
#include "support_src/RecordingListener.h"

namespace teskd::test {

class Note : public DornPacket {
  public:
    Note(std::uint32_t a, std::uint32_t b, const std::string& body) {
        set_identifiers(a, b);
        set_frame_body(body);
    }
};

// A packet for the server, and what became of it.
class Sent {
  public:
    Sent(DornNotify& notify, std::uint32_t a, std::uint32_t b, const std::string& body = "note")
        : Sent(notify, new Note(a, b, body)) {}
    Sent(DornNotify& notify, Note* note) : note_(note) {
        note_->addListener(&listener_);
        notify.addPacket(note_.pointer());
    }
    ~Sent() noexcept { note_->removeListener(&listener_); }
    Sent(const Sent&) = delete;
    Sent& operator=(const Sent&) = delete;

    // "completed", "failed" or "error", and the error's text.
    std::string outcome(Deadline deadline = {}) const {
        if (!eventually([this] { return !listener_.outcomes().empty(); }, deadline)) return "none";
        const Outcome first = listener_.outcomes().front();
        return first.message.empty() ? first.kind : first.kind + ": " + first.message;
    }
    void addListener(PacketEventListener& listener) const { note_->addListener(&listener); }
    bool isOpen() const { return listener_.outcomes().empty(); }
    Frame frame() const {
        ByteSink sink;
        note_->write(sink);
        return parseFrame(sink.bytes).value();
    }

  private:
    RecordingListener listener_;
    PacketHandle<Note> note_;
};

inline std::string answer(std::uint32_t a, std::uint32_t b, const std::string& body = "answer") {
    return Frame{.identifierA = a, .identifierB = b, .body = body}.encode();
}

// Its tests say begin() when the server's address is configured.
class NotifyFixture : public testing::Test {
  protected:
    using Clock = std::chrono::steady_clock;

    explicit NotifyFixture(std::chrono::milliseconds answerTimeout = DornNotify::ANSWER_TIMEOUT)
        : notify_(std::make_unique<DornNotify>(answerTimeout)) {}
    ~NotifyFixture() noexcept override {
        notify_->stop();
        notify_->join();
        notify_.reset();
        EXPECT_EQ(packetsBefore_, packet_counter);
    }
    static void configure(const std::string& host, std::uint16_t port) {
        KeptConfig::set("[IP_ADDRESS] IP_SERVER", host);
        KeptConfig::set("[IP_ADDRESS] UDP_SERVER", std::to_string(port));
    }

    void begin() { EXPECT_EQ(0, notify_->start()); }

    UdpPeer& server() { return *server_; }
    void closeServer() { server_.reset(); }
    void openServer(std::uint16_t port, const std::string& host = kLoopback) {
        server_.emplace(port, host);
    }
    DornNotify& notify() { return *notify_; }
    std::uint32_t receivedB() { return parseFrame(server().receive()).value().identifierB; }

    // A further notification makes its way there and back.
    void expectWorks() {
        const Sent next(notify(), 9, 9);
        EXPECT_EQ(9U, receivedB());
        server().reply(answer(9, 9, "works"));
        EXPECT_EQ("completed", next.outcome());
        EXPECT_EQ("works", next.frame().body);
    }
    bool endsWithin(std::chrono::milliseconds time) {
        const Clock::time_point start = Clock::now();
        notify_->stop();
        notify_->awaitEnd();
        return Clock::now() - start <= time;
    }

    LogRecorder log_;
    const unsigned long packetsBefore_ = packet_counter;
    KeptConfig config_;
    std::optional<UdpPeer> server_{std::in_place};
    std::unique_ptr<DornNotify> notify_;
};

}  // namespace teskd::test
