#include "Engine.h"

#include <ctime>
#include <gtest/gtest.h>
#include <iomanip>
#include <sstream>
#include <stdexcept>

#include "net/MemoryInputStream.h"
#include "support/Bytes.h"
#include "support_src/ByteSink.h"
#include "tesk/TeskPacket.h"

namespace teskd::test {

namespace {

constexpr std::size_t kHeadSize = 8;
constexpr std::size_t kStampSize = 13;  // with the "-"

std::string hexadecimal(std::size_t number) {
    std::ostringstream out;
    out << std::uppercase << std::hex << std::setw(4) << std::setfill('0') << number;
    return out.str();
}

}  // namespace

std::string payload(const std::string& text) {
    return big32(static_cast<std::uint32_t>(text.size())) + text;
}

std::string frameWith(const std::string& payload) {
    return Frame{.type = 0xFE, .identifierA = 7, .identifierB = 8, .body = payload}.encode();
}

Frame frameOf(DornPacket& packet) {
    ByteSink out;
    packet.write(out);
    const auto frame = parseFrame(out.bytes);
    EXPECT_TRUE(frame && frame->checksumOk);
    return frame.value_or(Frame());
}

std::string textOf(const Frame& frame) {
    if (frame.body.size() < 4 + kHeadSize) {
        ADD_FAILURE() << "a payload of " << frame.body.size() << " bytes";
        return "";
    }
    std::string text = frame.body.substr(4);
    EXPECT_EQ(text.size(), big32(frame.body, 0));
    EXPECT_EQ("-" + hexadecimal(text.size()), text.substr(3, 5));
    return text;
}

std::string bodyOf(const Frame& frame, int code) {
    const std::string text = textOf(frame);
    if (text.size() < kHeadSize) return "";
    std::ostringstream digits;
    digits << std::setw(3) << std::setfill('0') << code;
    EXPECT_EQ(digits.str(), text.substr(0, 3));
    return text.substr(kHeadSize);
}

std::string withoutStamp(const std::string& body) {
    if (body.size() < kStampSize) {
        ADD_FAILURE() << "no time in '" << body << "'";
        return body;
    }
    const std::string stamp = body.substr(body.size() - kStampSize);
    std::tm parts{};
    parts.tm_isdst = -1;
    const bool isStamp = stamp.find_first_not_of("0123456789", 1) == stamp.npos &&
                         strptime(stamp.c_str(), "-%y%m%d%H%M%S", &parts) != nullptr;
    const double age = std::difftime(std::time(nullptr), std::mktime(&parts));
    EXPECT_TRUE(isStamp && age >= 0 && age < 60) << stamp << " is not the time";
    return body.substr(0, body.size() - kStampSize);
}

EngineConfig::EngineConfig(std::size_t machines) {
    std::string ports;
    for (std::size_t n = 1; n <= machines; ++n) ports += std::to_string(n) + ",";
    KeptConfig::set("[SLOT_MACHINE] PORT_ASYNC", ports);
    KeptConfig::set("[INTERNAL] MAC_ADDR_eth0", "00:11:22:AA:BB:CC");
    KeptConfig::set("[INTERNAL] ZQ_MODEL", "MODEL");
    KeptConfig::set("[INTERNAL] ZQ_SW_VERSION", "1.2.3");
    KeptConfig::set("[INTERNAL] SW_UPDATE_A", "210315");
    KeptConfig::set("[INTERNAL] SW_UPDATE_B", "210315");
    KeptConfig::set("[INTERNAL] ZQ_MANUFACTURER_ID", "MAKER");
    KeptConfig::set("[INTERNAL] TESK_CONNECTION_TYPE", "3");
    KeptConfig::set("[INTERNAL] ZQ_CONNECTION_TYPE", "9");
    KeptConfig::set("[RICH_ORA] TOUT_ORA", "7200");
    KeptConfig::set("[AAMS] TMP_APP_COLLEGATI", "3");
    KeptConfig::set("[AAMS] INVIO_APP_COLLEGATI", "1");
    KeptConfig::set("[AAMS] INVIO_NO_APP_COLLEGATI", "1");
    KeptConfig::set("[AAMS] TMP_APP_ACCENSIONE", "2");
}

void NoticeBoard::addPacket(Packet* packet) {
    const std::scoped_lock lock(mutex_);
    if (!failure_.empty()) throw std::runtime_error(failure_);
    auto& notice = dynamic_cast<AamsPacket&>(*packet);
    frames_.push_back(frameOf(notice));
    packets_.emplace_back(&notice);
}

std::vector<Frame> NoticeBoard::frames() const {
    const std::scoped_lock lock(mutex_);
    return frames_;
}

std::vector<std::string> NoticeBoard::bodies(int code) const {
    std::vector<std::string> bodies;
    for (const Frame& frame : frames()) {
        const std::string text = textOf(frame);
        if (std::stoi(text) == code) bodies.push_back(text.substr(kHeadSize));
    }
    return bodies;
}

bool NoticeBoard::waitFor(std::size_t count) const {
    return eventually([&] { return frames().size() >= count; });
}

void NoticeBoard::answer(std::size_t n, const std::string& payload) {
    AamsPacket* packet = nullptr;
    {
        const std::scoped_lock lock(mutex_);
        packet = packets_.at(n).pointer();
    }
    const std::string frame = frameWith(payload);
    MemoryInputStream in(frame);
    packet->read(in);
    packet->notifyCompleted();
}

void NoticeBoard::failWith(const std::string& what) {
    const std::scoped_lock lock(mutex_);
    failure_ = what;
}

Engine::Engine(std::size_t machines) : config(machines) {
    for (std::size_t n = 1; n <= machines; ++n) {
        controller.rename("SlotMachine_" + std::to_string(n), nameOf(n));
    }
}

Engine::~Engine() noexcept {
    aams.stop();
    aams.join();
    timer.stop();
    timer.awaitEnd();
    controller.shut_down();
}

void Engine::start() {
    aams.start();
    EXPECT_TRUE(board.waitFor(1));
}

Frame Engine::ask(const std::string& payload) {
    const PacketHandle<AamsPacket> request(new AamsPacket);
    const std::string frame = frameWith(payload);
    MemoryInputStream in(frame);
    request->read(in);
    const std::size_t before = listener_.outcomes().size();
    request->addListener(&listener_);
    request->offer_to_engine(aams);
    EXPECT_TRUE(eventually([&] { return listener_.outcomes().size() > before; }));
    // The queue lets go of the packet after its listeners were told.
    EXPECT_TRUE(eventually([&] { return aams.isEmpty(); }));
    return frameOf(*request);
}

void Engine::read(const std::string& message, std::uint32_t context, const std::string& trailer) {
    const PacketHandle<TeskPacket> answer(new TeskPacket);
    const std::string bytes = message + trailer;
    MemoryInputStream in(bytes);
    answer->read(in);
    answer->set_context(context);
    aams.packetCompleted(answer.pointer());
}

std::string reading(const std::string& body, const std::string& code, std::size_t trailer) {
    const std::string rest = "~15.03.21~" + code + "~00~" + body;
    return "113~" + hexadecimal(8 + rest.size() + trailer) + rest;
}

}  // namespace teskd::test
