// The AAMS engine with everybody around it: requests of the host, answers of the machines to its
// polls, answers of the server to its notifications, and time that passes, in any order.
//
// The input is a row of steps, each a byte for what happens and what that takes; see Play::step.

#include <array>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <deque>
#include <exception>
#include <limits>
#include <string>

#include "aams/Aams.h"
#include "aams/AamsPacket.h"
#include "config/SystemDate.h"
#include "config/ZqConfig.h"
#include "core/Clock.h"
#include "core/Exception.h"
#include "core/StandardError.h"
#include "core/Text.h"
#include "core/Timer.h"
#include "fuzz/Fuzzer.h"
#include "fuzz/ParkedMachines.h"
#include "fuzz/Pieces.h"
#include "fuzz/Require.h"
#include "net/MemoryInputStream.h"
#include "packet/PacketHandle.h"
#include "support/Frame.h"
#include "support_src/ByteSink.h"
#include "support_src/FailingThreads.h"

namespace teskd::fuzz {
namespace {

constexpr std::size_t MACHINES = 3;
constexpr unsigned MOST_STEPS = 64;
constexpr std::size_t HEAD_SIZE = 8;                   // "NNN-XXXX"
constexpr std::int64_t START = 1'700'000'000'000'000;  // microseconds
constexpr std::int64_t MINUTE = 60'000'000;
constexpr std::uint8_t TYPE = 0xFE;
constexpr std::uint8_t REGULAR = 0x81;
constexpr std::uint8_t FAILED = 0xAB;
constexpr const char* MAC = "-001122AABBCC";

// The machine's clock is never set: the dates asked for are checked, and granted or refused.
int dateError = 0;

int checkDate(std::time_t seconds) {
    std::tm local{};
    require(localtime_r(&seconds, &local) != nullptr, "the date is one");
    require(local.tm_year >= 2000 - 1900, "the date is not before 2000");
    require(local.tm_year <= 2069 - 1900, "the date is one that two digits can tell");
    errno = dateError;
    return dateError == 0 ? 0 : -1;
}

// Each sleep takes as long as the input says, and after the last one the timer stops.
class HoppingClock : public Clock {
  public:
    void expect(Timer& timer, unsigned sleeps, std::int64_t length) {
        timer_ = &timer;
        sleeps_ = sleeps;
        length_ = length;
    }
    std::int64_t now() override { return wall_++; }
    std::int64_t steady() override { return 0; }
    bool wait(Synchronized&, std::int64_t) override {
        wall_ += length_;
        if (sleeps_-- == 0) timer_->stop();
        return false;
    }

  private:
    Timer* timer_ = nullptr;
    unsigned sleeps_ = 0;
    std::int64_t length_ = 0;
    std::int64_t wall_ = START;
};

struct World {
    World() {
        StandardError::inherited().redirect(-1);
        SystemDate::replace(checkDate);
        getConfig()["[INTERNAL] MAC_ADDR_eth0"] = "00:11:22:AA:BB:CC";
        getConfig()["[INTERNAL] SW_UPDATE_A"] = "210315";  // not the one of SW_UPDATE_B
    }
    ParkedMachines machines{MACHINES};
};

World& world() {
    static World instance;
    return instance;
}

test::Frame frameOf(DornPacket& packet) {
    test::ByteSink sink;
    packet.write(sink);
    const auto frame = test::parseFrame(sink.bytes);
    require(frame.has_value() && frame->checksumOk && frame->type == TYPE, "the frame is whole");
    return *frame;
}

// The body of a payload that is built as payloads are. The length field takes more than four digits
// when it has to.
std::string bodyOf(const std::string& payload, int code) {
    require(payload.size() >= 4 + HEAD_SIZE, "the payload has a head");
    const std::uint32_t length = test::big32(payload, 0);
    const std::string head = text::format("%03d-%04X", code, length);
    require(payload.compare(4, head.size(), head) == 0, "the head tells code and length");
    const std::string body = payload.substr(4 + head.size());
    require(length == body.size() + HEAD_SIZE, "the length is that of the body");
    require(body.starts_with(MAC), "the body begins with the hardware address");
    return body;
}

std::string payloadOf(unsigned code, const std::string& body) {
    const auto length = static_cast<std::uint32_t>(body.size() + HEAD_SIZE);
    return test::big32(length) + text::format("%03u-%04X", code, length) + body;
}

void readFrame(AamsPacket& packet, const std::string& payload) {
    test::Frame frame{.type = TYPE, .identifierA = 7, .identifierB = 8, .body = payload};
    const std::string bytes = frame.encode();
    MemoryInputStream in(bytes);
    packet.read(in);
}

std::string tesk(const std::string& code, const std::string& body) {
    const std::string rest = "~15.03.21~" + code + "~00~" + body;
    return text::format("113~%04zX", 8 + rest.size()) + rest;
}

// The engine runs on this thread: whenever it has answered a request, the steps up to the next one
// are taken, and behind the last step it is stopped.
class Play : public PacketEventListener {
  public:
    explicit Play(Pieces& input) : input_(input) {
        timer_.start();  // marks it as running, as the engine's start does
        engine_.start();
        ask(payloadOf(501, ""));
        engine_.run();
        require(!open_, "every request is answered");
    }
    ~Play() noexcept override {
        machines().reset();
        while (!notices_.isEmpty()) notices_.failAll(Exception("The end"));
    }
    Play(const Play&) = delete;
    Play& operator=(const Play&) = delete;

    void packetCompleted(Packet* packet) override {
        const test::Frame reply = takeReply(packet);
        require(reply.kind == REGULAR, "an answer is regular");
        checkReply(dynamic_cast<AamsPacket&>(*packet).get_code_id(), reply.body);
        proceed();
    }
    void packetFailed(Packet*) override { require(false, "no request runs out of time"); }
    void packetError(Packet* packet, const Exception&) override {
        const test::Frame reply = takeReply(packet);
        require(reply.kind == FAILED && reply.body.empty(), "a failure says no more");
        proceed();
    }

  private:
    static ParkedMachines& machines() { return world().machines; }

    void ask(const std::string& payload) {
        const PacketHandle<AamsPacket> request(new AamsPacket);
        readFrame(*request, payload);
        payload_ = payload;
        open_ = true;
        request->addListener(this);
        request->offer_to_engine(engine_);
    }

    test::Frame takeReply(Packet* packet) {
        require(open_, "a request is answered once");
        open_ = false;
        const test::Frame reply = frameOf(dynamic_cast<DornPacket&>(*packet));
        require(reply.identifierA == 7 && reply.identifierB == 8, "the identifiers are kept");
        return reply;
    }

    void checkReply(int code, const std::string& payload) const {
        if (code >= 501 && code <= 505) {
            bodyOf(payload, code);
        } else if (code == 506) {
            require(payload.empty(), "new parameters are not answered");
        } else if (code == 507) {
            const bool refused = !payload.empty();
            if (refused) require(bodyOf(payload, code) == MAC + std::string("-FF"), "a refusal");
        } else {
            require(payload == payload_, "what is not known goes back as it came");
        }
    }

    // Up to the next request or the end of the input.
    void proceed() {
        while (!open_ && !input_.atEnd() && steps_-- > 0) step(input_.byte());
        if (!open_) engine_.stop();
    }

    void step(unsigned what) {
        const std::size_t n = (what >> 4) % MACHINES;
        switch (what & 15) {
            case 0:
            case 1:
            case 2:
                return ask(payloadOf(500 + (what >> 4), input_.text()));
            case 3:
                return ask(input_.text());
            case 4:
            case 5:
                return read(tesk(ParkedMachines::nameOf(n), input_.text()));
            case 6:
                return read(tesk("ZN000000001", input_.text() + std::string(268, 'T')));
            case 7:
                return read(input_.text());
            case 8:
                return sleep((what >> 4) % 4 + 1, MINUTE);
            case 9:
                return sleep(1, MINUTE * static_cast<std::int8_t>(input_.byte()));
            case 10:
                return answerPoll(n, tesk(ParkedMachines::nameOf(n), input_.text()));
            case 11:
                return answerPoll(n, input_.text());
            case 12:
                if (machines().isAsked(n)) machines().timeOut(n);
                return;
            case 13:
                if (machines().isAsked(n)) machines().fail(n, "The link is down");
                return;
            case 14:
                return answerNotice(what >> 4, input_.text());
            default:
                dateError = what >> 4 == 0 ? 0 : EPERM;
        }
    }

    // A reading that did not come from a poll of this engine's.
    void read(const std::string& message) {
        const PacketHandle<TeskPacket> reading(new TeskPacket);
        MemoryInputStream in(message);
        try {
            reading->read(in);
        } catch (const Exception&) {
            return;
        } catch (const std::out_of_range&) {
            return;
        }
        engine_.packetCompleted(reading.pointer());
    }

    void answerPoll(std::size_t n, const std::string& message) {
        if (machines().isAsked(n)) machines().answer(n, message);
    }

    void sleep(unsigned sleeps, std::int64_t length) {
        clock_.expect(timer_, sleeps, length);
        timer_.run();
        timer_.start();
    }

    // The server answers the oldest notification, in its own words or in good ones, or does not.
    void answerNotice(unsigned how, const std::string& answer) {
        if (notices_.isEmpty()) return;
        const PacketHandle<AamsPacket> notice(&dynamic_cast<AamsPacket&>(*notices_.nextPacket()));
        notices_.removePacket(notice.pointer());
        const int code = notice->get_code_id();
        require(code >= 1 && code <= 5, "there are five notifications");
        bodyOf(frameOf(*notice).body, code);
        if (how == 0) return notice->notifyFailed();
        if (how == 1) return notice->notifyError(Exception(answer));
        const auto same = static_cast<unsigned>(code);
        readFrame(*notice, how == 2   ? answer
                           : how <= 7 ? payloadOf(how - 2, answer)
                                      : payloadOf(same, answer));
        notice->notifyCompleted();
    }

    const test::FailingThreads noThreads_{std::numeric_limits<int>::max()};
    Pieces& input_;
    PacketContainer notices_;
    HoppingClock clock_;
    Timer timer_{clock_};
    Aams engine_{machines().controller(), notices_, timer_};
    std::string payload_;  // of the request asked last
    unsigned steps_ = MOST_STEPS;
    bool open_ = false;  // that request is not answered
};

}  // namespace
}  // namespace teskd::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teskd;
    fuzz::world();
    fuzz::dateError = 0;
    const unsigned long before = packet_counter;
    {
        fuzz::Pieces input(data, size);
        const fuzz::Play play(input);
    }
    fuzz::require(packet_counter == before, "no reference on a packet is left");
    return 0;
}
