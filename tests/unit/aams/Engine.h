// An engine with everything around it in process: a controller whose machines nobody reaches, a
// notifier that only writes down, and a timer by a clock that the test moves.
//
// Ownership: the object owns everything and ends every thread before anything goes.
// Threads: one user at a time.
// Errors: ask() fails the test when no answer comes.

#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "aams/Aams.h"
#include "aams/AamsPacket.h"
#include "core/Timer.h"
#include "packet/PacketHandle.h"
#include "support/Frame.h"
#include "support_src/FakeClock.h"
#include "support_src/KeptConfig.h"
#include "support_src/RecordingListener.h"
#include "tesk/TeskController.h"

namespace teskd::test {

// "-" and the hardware address that EngineConfig stores.
inline const std::string kMac = "-001122AABBCC";
inline constexpr std::int64_t kSecond = 1'000'000;  // microseconds
inline constexpr std::int64_t kMinute = 60 * kSecond;
inline constexpr std::int64_t kStart = 1'700'000'000 * kSecond;

// The payload with this text behind its prefix.
std::string payload(const std::string& text);
// A frame with that payload, as a host sends it.
std::string frameWith(const std::string& payload);
// What the packet would send.
Frame frameOf(DornPacket& packet);
// The text behind the prefix; fails the test when prefix or length field say something else.
std::string textOf(const Frame& frame);
// The body behind "NNN-XXXX" for this code.
std::string bodyOf(const Frame& frame, int code);
// Takes "-" and the present time off the end of the body; fails the test when it is not there.
std::string withoutStamp(const std::string& body);

// Every setting that shows in what the engine says.
class EngineConfig {
  public:
    explicit EngineConfig(std::size_t machines);

  private:
    KeptConfig config_;
};

// Where notifications go to: keeps the packets, each with its frame as it was when it came.
class NoticeBoard : public PacketContainer {
  public:
    void addPacket(Packet* packet) override;

    std::vector<Frame> frames() const;
    // Bodies of the notifications with this code.
    std::vector<std::string> bodies(int code) const;
    bool waitFor(std::size_t count) const;
    // The server's answer to the nth notification, read over it; n from 0.
    void answer(std::size_t n, const std::string& payload);
    // Every notification from now on fails with this standard exception; empty: none.
    void failWith(const std::string& what);

  private:
    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::vector<Frame> frames_;
    std::vector<PacketHandle<AamsPacket>> packets_;
    std::string failure_;
};

class Engine {
  public:
    // Machines ZA000000001 and so on.
    explicit Engine(std::size_t machines = 1);
    ~Engine() noexcept;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    // Starts the engine's thread and waits until it has asked for the parameters.
    void start();
    // Has the engine answer a request with this payload.
    Frame ask(const std::string& payload);
    Frame askText(const std::string& text) { return ask(payload(text)); }
    // The outcomes of the requests so far.
    std::vector<Outcome> outcomes() const { return listener_.outcomes(); }

    // A machine's answer to a counter poll. The message is the whole answer without trailer.
    void read(const std::string& message, std::uint32_t context = 4,
              const std::string& trailer = "");

    static std::string nameOf(std::size_t n) { return "ZA00000000" + std::to_string(n); }

    EngineConfig config;
    NoticeBoard board;
    TeskController controller;
    FakeClock clock{kStart};
    Timer timer{clock};
    Aams aams{controller, board, timer};

  private:
    RecordingListener listener_;
};

// "113~LEN~15.03.21~CODE~00~BODY" with the right length.
std::string reading(const std::string& body, const std::string& code = "ZA000000001",
                    std::size_t trailer = 0);

}  // namespace teskd::test
