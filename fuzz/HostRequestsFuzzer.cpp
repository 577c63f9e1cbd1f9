// Any request of a host to one, two or three machines, and whatever these answer to it, in any
// order.
//
//     1  type of the request, the number of machines asked
//     n  body of the request, behind its length in one byte
//     for each message to a machine:
//     1  what becomes of it, whose turn it is, how often the text is repeated
//     n  text of the answer, behind its length in two bytes

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "aams/Aams.h"
#include "config/ZqConfig.h"
#include "core/Event.h"
#include "core/Exception.h"
#include "core/LogSource.h"
#include "core/Text.h"
#include "core/Timer.h"
#include "core/app/PacketTypes.h"
#include "dorn/Dorn.h"
#include "dorn/DornPacket.h"
#include "dorn/HostMemory.h"
#include "fuzz/Fuzzer.h"
#include "fuzz/ParkedMachines.h"
#include "fuzz/Pieces.h"
#include "fuzz/Require.h"
#include "net/MemoryInputStream.h"
#include "packet/PacketHandle.h"
#include "support/Frame.h"
#include "support_src/ByteSink.h"

namespace teskd::fuzz {
namespace {

constexpr std::uint32_t IDENTIFIER_A = 0x01020304;
constexpr std::uint32_t IDENTIFIER_B = 0xF1F2F3F4;
constexpr std::size_t MOST_MACHINES = 3;
constexpr std::size_t LONGEST_ANSWER = 8192;
constexpr std::size_t MOST_ITEMS = 132000;  // a little more than 256 pages
constexpr std::size_t ITEMS_PER_PAGE = 510;
constexpr int TYPES = 8;
constexpr const char* DATE = "15.03.21";

// The kinds of a frame.
constexpr std::uint8_t REGULAR = 0x81;
constexpr std::uint8_t FAILED = 0xAB;
constexpr std::uint8_t UNKNOWN = 0xFD;
constexpr std::uint8_t TIMED_OUT = 0xFE;

// Machines by their number, and a connection for the one request that it answers itself.
struct World {
    std::array<std::unique_ptr<ParkedMachines>, MOST_MACHINES> parks{
        std::make_unique<ParkedMachines>(1), std::make_unique<ParkedMachines>(2),
        std::make_unique<ParkedMachines>(3)};
    PacketContainer notifier;
    Timer timer;
    Aams engine{parks[0]->controller(), notifier, timer};
    Event stop;
    ConnectionCount connections;
    HostMemory memory{HostLimits(MOST_MACHINES)};
    Dorn connection{Socket(AF_INET, SOCK_STREAM, 0),
                    {parks[0]->controller(), engine, createPacket, stop, connections,
                     LogSource::unlimited(), memory}};
};

World& world() {
    static World instance;
    return instance;
}

// The host: takes one frame each time that it is told of one.
class Host : public PacketEventListener {
  public:
    explicit Host(std::uint8_t type) : type_(type) {}

    void packetCompleted(Packet* packet) override { take(packet); }
    void packetFailed(Packet* packet) override { take(packet); }
    void packetError(Packet* packet, const Exception&) override { take(packet); }

    const std::vector<test::Frame>& frames() const { return frames_; }

  private:
    void take(Packet* packet) {
        test::ByteSink sink;
        dynamic_cast<DornPacket&>(*packet).write(sink);
        const auto frame = test::parseFrame(sink.bytes);
        require(frame.has_value(), "the frame is as long as it says");
        require(frame->checksumOk, "the checksum is right");
        require(frame->start == 0xFF && frame->constant == 0x02, "the frame starts as frames do");
        require(frame->type == type_, "the type is the request's");
        require(frame->identifierA == IDENTIFIER_A && frame->identifierB == IDENTIFIER_B,
                "the identifiers are the request's");
        const bool bare =
            frame->kind == FAILED || frame->kind == UNKNOWN || frame->kind == TIMED_OUT;
        require(bare || frame->kind == REGULAR, "the kind is one of the four");
        require(!bare || frame->body.empty(), "a frame without an answer has no body");
        frames_.push_back(*frame);
    }

    std::uint8_t type_;
    std::vector<test::Frame> frames_;
};

// One request with everything that comes of it.
class Exchange {
  public:
    Exchange(ParkedMachines& machines, int type, const std::string& body)
        : machines_(machines),
          type_(type),
          host_(static_cast<std::uint8_t>(type)),
          request_(std::in_place, createPacket(type)) {
        read(body);
        (*request_)->addListener(&host_);
        (*request_)->hold_until_freed(pending_);
        offer();
        for (std::size_t n = 0; n < machines_.count(); ++n) targets_ += machines_.isAsked(n);
        checkFirstFrames();
    }

    bool isAsked(std::size_t n) { return machines_.isAsked(n); }
    int idAsked(std::size_t n) { return machines_.question(n).get_id(); }

    void answer(std::size_t n, const std::string& message) {
        const PacketHandle<TeskPacket> question(&machines_.question(n));
        const std::size_t before = host_.frames().size();
        machines_.answer(n, message);
        require(host_.frames().size() > before, "an answer brings a frame");
        if (host_.frames()[before].kind == FAILED) return expectBare(before, FAILED);
        expectRegular(before, *question);
    }
    void timeOut(std::size_t n) {
        const std::size_t before = host_.frames().size();
        machines_.timeOut(n);
        expectBare(before, TIMED_OUT);
    }
    void fail(std::size_t n, const std::string& what) {
        const std::size_t before = host_.frames().size();
        machines_.fail(n, what);
        expectBare(before, FAILED);
    }

    // Nobody holds the request any more but this object, which lets go of it.
    void finish() {
        const std::size_t before = host_.frames().size();
        machines_.reset();
        require(host_.frames().size() == before, "nothing comes after the last answer");
        request_.reset();
        require(pending_.noneOrArm(), "the request is freed with its last answer");
    }

  private:
    void read(const std::string& body) {
        test::Frame frame{.type = static_cast<std::uint8_t>(type_),
                          .identifierA = IDENTIFIER_A,
                          .identifierB = IDENTIFIER_B,
                          .body = body};
        const std::string bytes = frame.encode();
        MemoryInputStream in(bytes);
        (*request_)->read(in);
    }

    void offer() {
        try {
            (*request_)->offer_to_controller(machines_.controller());
            (*request_)->offer_to_engine(world().engine);
            (*request_)->offer_to_connection(world().connection);
        } catch (const Exception& e) {
            (*request_)->notifyError(e);
        } catch (const std::exception& e) {
            (*request_)->notifyError(Exception(e.what()));
        }
    }

    // Before any machine answers there is one frame, or none when machines are asked.
    void checkFirstFrames() const {
        const std::vector<test::Frame>& frames = host_.frames();
        if (targets_ > 0) return require(frames.empty(), "nobody has answered yet");
        require(frames.size() == 1, "a request that asks nobody is answered once");
        const bool own = type_ == 7 || type_ == 8;
        require((frames[0].kind == REGULAR) == own, "only the gateway's own answers are regular");
    }

    void expectBare(std::size_t before, std::uint8_t kind) const {
        require(host_.frames().size() == before + 1, "one frame for each machine without answer");
        require(host_.frames().back().kind == kind, "the frame says why there is no answer");
    }

    void expectRegular(std::size_t before, const TeskPacket& answer) {
        const std::size_t count = host_.frames().size() - before;
        const bool paged = type_ >= 2 && type_ <= 4;
        const std::string body = answer.get_body();
        const std::size_t items = text::splitFields(body, '~').size();
        const std::size_t pages = paged ? items / ITEMS_PER_PAGE + 1 : 1;
        require(count == pages, "one frame for each page");
        pagesBeyondFirst_ += pages - 1;
        for (std::size_t page = 0; page < pages; ++page) {
            const test::Frame& frame = host_.frames()[before + page];
            require(frame.kind == REGULAR, "every page is regular");
            checkBody(frame.body, page, pages, answer);
        }
    }

    void checkBody(const std::string& body, std::size_t page, std::size_t pages,
                   const TeskPacket& answer) {
        const auto at = [&body](std::size_t i) { return static_cast<std::uint8_t>(body.at(i)); };
        const auto low = [](std::size_t value) { return static_cast<std::uint8_t>(value); };
        switch (type_) {
            case 1:
            case 5:
                require(body.size() == (type_ == 1 ? 43U : 35U), "the body has its size");
                require(at(8) == low(targets_) && at(9) == low(++answers_), "answers are numbered");
                return;
            case 2:
            case 3:
                require(at(8) == low(pages) && at(9) == low(page + 1), "pages are numbered");
                return checkEntries(body.substr(22), 5);
            case 4:
                require(at(8) == low(targets_ + pagesBeyondFirst_) && at(9) == low(++answers_),
                        "pages are numbered over all machines");
                return checkEntries(body.substr(23), 3);
            default:
                require(test::big32(body, 0) == body.size() - 4, "the text has the length given");
                require(body.substr(4) == answer.to_string(), "the text is the whole answer");
        }
    }

    // The entries fill the rest of the page exactly.
    static void checkEntries(const std::string& bytes, std::size_t valueSize) {
        std::size_t position = 1;
        for (int left = static_cast<std::uint8_t>(bytes.at(0)); left > 0; --left) {
            require(position + 10 <= bytes.size(), "every entry is there");
            position += 10 + valueSize * test::big16(bytes, position + 8);
        }
        require(position == bytes.size(), "the entries end where the page ends");
    }

    ParkedMachines& machines_;
    int type_;
    Host host_;
    PendingAnswers pending_{world().stop};
    std::optional<PacketHandle<DornPacket>> request_;
    std::size_t targets_ = 0;
    std::size_t answers_ = 0;
    std::size_t pagesBeyondFirst_ = 0;
};

// "ID~LEN~DATE~CODE~00~BODY", as a machine answers that is well.
std::string wellFormed(int id, const std::string& code, const std::string& body) {
    const std::string rest = std::string("~") + DATE + "~" + code + "~00~" + body;
    return text::format("%03d~%04zX", id, 8 + rest.size()) + rest;
}

// Only a single character is repeated often enough for more pages than their count can tell.
std::string repeated(const std::string& text, unsigned steps) {
    if (steps == 7 && text.size() == 1) return std::string(MOST_ITEMS, text[0]);
    std::string all = text;
    for (std::size_t n = std::size_t{1} << 2 * steps; n > 1; --n) {
        if (all.size() + text.size() > LONGEST_ANSWER || text.empty()) break;
        all += text;
    }
    return all;
}

// What becomes of the message: the low three bits of the byte, whose turn it is the next two, and
// how often the text is repeated the rest.
void serve(Exchange& exchange, std::size_t n, unsigned how, Pieces& input) {
    const std::string body = repeated(input.text(), how >> 5);
    std::string code = ParkedMachines::nameOf(n);
    switch (how & 7) {
        case 0:
        case 1:
            return exchange.answer(n, wellFormed(exchange.idAsked(n), code, body));
        case 2:
            code[1] = 'N';  // a machine that signs its answers
            return exchange.answer(n, wellFormed(exchange.idAsked(n), code, body));
        case 3:
            return exchange.answer(n, wellFormed(118, code, body));
        case 4:
        case 5:
            return exchange.answer(n, body);
        case 6:
            return exchange.timeOut(n);
        default:
            return exchange.fail(n, body);
    }
}

void run(Pieces& input) {
    const unsigned head = input.byte();
    ParkedMachines& machines = *world().parks[head / TYPES % MOST_MACHINES];
    Exchange exchange(machines, static_cast<int>(head % TYPES) + 1, input.shortText());
    while (!input.atEnd()) {
        const unsigned how = input.byte();
        std::size_t n = (how >> 3 & 3) % machines.count();
        for (std::size_t i = 0; i < machines.count() && !exchange.isAsked(n); ++i) {
            n = (n + 1) % machines.count();
        }
        if (!exchange.isAsked(n)) break;
        serve(exchange, n, how, input);
    }
    for (std::size_t n = 0; n < machines.count(); ++n) {
        if (exchange.isAsked(n)) exchange.timeOut(n);
    }
    exchange.finish();
}

}  // namespace
}  // namespace teskd::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teskd;
    fuzz::world();
    const unsigned long before = packet_counter;
    fuzz::Pieces input(data, size);
    fuzz::run(input);
    fuzz::require(packet_counter == before, "no reference on a packet is left");
    return 0;
}
