// Any datagrams as answers to notifications that are pending, over a real socket.
//
//     1  how many notifications, how it ends
//     for each datagram:
//     1  what it is made of
//     n  its text, behind the length in one byte
//
// The notifier runs on this thread. It sends its notifications one after the other; when the last
// one is about to go out, the server knows from the first one where to send to, and sends all of
// its datagrams before the notifier looks for the first answer.

#include <algorithm>
#include <cstdint>
#include <limits>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "config/ZqConfig.h"
#include "core/Exception.h"
#include "dorn/DornNotify.h"
#include "fuzz/Fuzzer.h"
#include "fuzz/Pieces.h"
#include "fuzz/Require.h"
#include "packet/PacketHandle.h"
#include "support/Frame.h"
#include "support/UdpPeer.h"
#include "support_src/ByteSink.h"
#include "support_src/FailingThreads.h"

namespace teskd::fuzz {
namespace {

constexpr std::size_t MOST_NOTIFICATIONS = 8;
constexpr std::size_t MOST_DATAGRAMS = 48;  // what a socket surely holds

using Identifiers = std::pair<std::uint32_t, std::uint32_t>;

class Notification;

// Who is told before a notification goes out, and what becomes of it.
class Observer {
  public:
    virtual ~Observer() = default;
    virtual void goesOut(Notification& notification) = 0;
};

class Notification : public DornPacket {
  public:
    Notification(const Identifiers& identifiers, Observer& observer)
        : identifiers_(identifiers), observer_(observer) {
        set_identifiers(identifiers.first, identifiers.second);
        set_frame_body("notification");
    }
    void write(OutputStream& out) override {
        observer_.goesOut(*this);
        DornPacket::write(out);
    }
    // Whether the answer that was read over the notification is one to it.
    bool isAnswered() const { return identifiers_match(identifiers_.first, identifiers_.second); }

  private:
    const Identifiers identifiers_;
    Observer& observer_;
};

// Notifications with the same identifiers are allowed: each answer is for one of them.
Identifiers identifiersOf(std::size_t n) {
    const auto number = static_cast<std::uint32_t>(n);
    return n == 7 ? Identifiers{0, 1} : Identifiers{number / 4, number % 4};
}

class Play : public Observer, public PacketEventListener {
  public:
    explicit Play(Pieces& input) {
        const unsigned head = input.byte();
        stops_ = head >= 128;
        readDatagrams(input);
        getConfig()["[IP_ADDRESS] IP_SERVER"] = "127.0.0.1";
        getConfig()["[IP_ADDRESS] UDP_SERVER"] = std::to_string(server_.port());
        notify_.start();  // fails, and marks it as running
        open_ = 2 + head % (MOST_NOTIFICATIONS - 1);
        for (std::size_t n = 0; n < open_; ++n) queue(n);
        last_ = notifications_.back().pointer();
        notify_.run();
        require(open_ == 0, "every notification has ended");
    }
    ~Play() noexcept override = default;
    Play(const Play&) = delete;
    Play& operator=(const Play&) = delete;

    void goesOut(Notification& notification) override {
        if (&notification != last_) return;
        server_.receive();
        for (const std::string& datagram : datagrams_) server_.reply(datagram);
    }

    void packetCompleted(Packet* packet) override {
        auto& notification = dynamic_cast<Notification&>(*packet);
        require(notification.isAnswered(), "an answer carries the notification's identifiers");
        require(isDatagram(notification), "the notification is what was received");
        end();
    }
    void packetFailed(Packet*) override { require(false, "there is no time to run out"); }
    void packetError(Packet*, const Exception&) override { end(); }

  private:
    void queue(std::size_t n) {
        notifications_.emplace_back(new Notification(identifiersOf(n), *this));
        notifications_.back()->addListener(this);
        notify_.addPacket(notifications_.back().pointer());
    }

    // The last ones are damaged answers, one to each notification, which end whatever is pending
    // still.
    void readDatagrams(Pieces& input) {
        while (!input.atEnd() && datagrams_.size() < MOST_DATAGRAMS) {
            const unsigned how = input.byte();
            datagrams_.push_back(datagram(how, input.shortText()));
        }
        for (std::size_t n = 0; n < MOST_NOTIFICATIONS; ++n) datagrams_.push_back(damagedAnswer(n));
    }

    static std::string damagedAnswer(std::size_t n) {
        test::Frame frame{.identifierA = identifiersOf(n).first,
                          .identifierB = identifiersOf(n).second};
        std::string bytes = frame.encode();
        bytes.back() = static_cast<char>(bytes.back() + 1);
        return bytes;
    }

    static std::string datagram(unsigned how, const std::string& text) {
        if (how % 4 == 0) return text;
        test::Frame frame;
        const Identifiers identifiers = identifiersOf(how / 16 % MOST_NOTIFICATIONS);
        frame.identifierA = identifiers.first;
        frame.identifierB = identifiers.second;
        frame.type = static_cast<std::uint8_t>(how);
        frame.body = text;
        std::string bytes = frame.encode();
        if (how % 4 == 2) bytes.back() = static_cast<char>(bytes.back() + 1);
        if (how % 4 == 3) bytes.replace(4, std::min<std::size_t>(text.size(), 4), text, 0, 4);
        return bytes;
    }

    // Whether the packet's present content came from the server.
    bool isDatagram(DornPacket& packet) const {
        test::ByteSink sink;
        packet.DornPacket::write(sink);
        return std::any_of(datagrams_.begin(), datagrams_.end(), [&](const std::string& datagram) {
            return datagram.starts_with(sink.bytes);
        });
    }

    void end() {
        require(open_ > 0, "a notification ends once");
        --open_;
        if (open_ == 0 || stops_) notify_.stop();
    }

    const test::FailingThreads noThreads_{std::numeric_limits<int>::max()};
    test::UdpPeer server_;
    DornNotify notify_;
    std::list<PacketHandle<Notification>> notifications_;
    const Notification* last_ = nullptr;
    std::vector<std::string> datagrams_;
    std::size_t open_ = 0;
    bool stops_ = false;  // with the first one that ends
};

}  // namespace
}  // namespace teskd::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teskd;
    const unsigned long before = packet_counter;
    {
        fuzz::Pieces input(data, size);
        const fuzz::Play play(input);
    }
    fuzz::require(packet_counter == before, "no reference on a packet is left");
    return 0;
}
