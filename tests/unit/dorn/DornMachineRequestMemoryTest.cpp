// Requests to machines when memory ends: the Nth allocation fails, N = 1, 2, 3 and so on until a
// run passes untouched. Whatever fails, nobody who waits for an answer is left without one.

#include <deque>
#include <gtest/gtest.h>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "core/Exception.h"
#include "dorn/DornPacketType1.h"
#include "dorn/DornPacketType2.h"
#include "dorn/DornPacketType4.h"
#include "dorn/DornPacketType6.h"
#include "net/MemoryInputStream.h"
#include "packet/PacketHandle.h"
#include "support/Bytes.h"
#include "support/Deadline.h"
#include "support/Frame.h"
#include "support/Hex.h"
#include "support_src/ByteSink.h"
#include "support_src/FailingNew.h"
#include "support_src/MachinePark.h"
#include "tesk/TeskPacket.h"

namespace teskd::test {
namespace {

using Lasting = FailingNew::Lasting;

constexpr std::size_t kHeader = 42;
constexpr std::size_t kPageTotal = kHeader + 8;
constexpr std::size_t kPageNumber = kHeader + 9;
constexpr int kNoMoreThan = 10'000;  // allocations of what is tried

// Stands for the connection: takes one frame whenever it is told that there is one. Where there is
// no memory for that, a connection ends.
class FrameTaker : public PacketEventListener {
  public:
    void packetCompleted(Packet* packet) override { take(packet); }
    void packetFailed(Packet* packet) override { take(packet); }
    void packetError(Packet* packet, const Exception&) override { take(packet); }

    // Kind, page total and page number of each frame, "AB" for one without a body.
    std::vector<std::string> frames() const {
        const std::scoped_lock lock(mutex_);
        std::vector<std::string> shown;
        for (const std::string& frame : frames_) shown.push_back(show(frame));
        return shown;
    }
    std::size_t count() const {
        const std::scoped_lock lock(mutex_);
        return frames_.size();
    }
    bool hasEnded() const {
        const std::scoped_lock lock(mutex_);
        return ended_;
    }

  private:
    void take(Packet* packet) {
        const std::scoped_lock lock(mutex_);
        try {
            ByteSink sink;
            dynamic_cast<DornPacket&>(*packet).write(sink);
            frames_.push_back(std::move(sink.bytes));
        } catch (const std::bad_alloc&) {
            ended_ = true;
        }
    }
    static std::string show(const std::string& frame) {
        std::string shown = hex(frame.substr(1, 1));
        if (frame.size() > kPageNumber) {
            shown +=
                " " + hex(frame.substr(kPageTotal, 1)) + " " + hex(frame.substr(kPageNumber, 1));
        }
        return shown;
    }

    mutable std::mutex mutex_;
    std::deque<std::string> frames_;
    bool ended_ = false;
};

// 600 pairs: three pages.
std::string threePages() {
    std::string payload = "METER001~01=7";
    for (int i = 1; i < 600; ++i) payload += "~METER001~01=7";
    return payload;
}

using Frames = std::vector<std::string>;

// What a host gets for a machine's answer of three pages, and for the next machine's one, when the
// Nth allocation fails while the first is laid down.
struct Attempt {
    FrameTaker first;
    FrameTaker second;
    bool failed = false;
};

template <class Request>
void attempt(Attempt& outcome, std::size_t number, Lasting lasting) {
    const PacketHandle<Request> request(new Request);
    const PacketHandle<TeskPacket> answer(new TeskPacket);
    answer->set_body(threePages());
    request->addListener(&outcome.first);
    {
        const FailingNew fail(number, lasting);
        request->packetCompleted(answer.pointer());
        outcome.failed = FailingNew::hasFailed();
    }
    request->removeListener(&outcome.first);
    request->addListener(&outcome.second);
    request->packetCompleted(answer.pointer());
}

// Every answer is whole or says that it failed, unless the connection ends.
template <class Request>
void expectPagesWholeOrFailed(const Frames& whole, Lasting lasting) {
    for (int number = 1; number < kNoMoreThan; ++number) {
        Attempt outcome;
        attempt<Request>(outcome, static_cast<std::size_t>(number), lasting);
        const Frames first = outcome.first.frames();
        if (!outcome.failed) {
            EXPECT_EQ(whole, first);
            return;
        }
        const bool failedAlone = first == Frames{"AB"};
        EXPECT_TRUE(outcome.first.hasEnded() || failedAlone || first == whole)
            << "allocation " << number << ": " << testing::PrintToString(first);
        if (!failedAlone) continue;
        EXPECT_EQ(whole, outcome.second.frames()) << "allocation " << number;
    }
    FAIL() << "it never ends";
}

TEST(DornMachineRequestMemoryTest, AnAnswerOfSeveralPagesComesWholeOrIsFailed) {
    expectPagesWholeOrFailed<DornPacketType2>({"81 03 01", "81 03 02", "81 03 03"}, Lasting::once);
    expectPagesWholeOrFailed<DornPacketType2>({"81 03 01", "81 03 02", "81 03 03"},
                                              Lasting::forGood);
}

TEST(DornMachineRequestMemoryTest, AnAnswerThatFailedCountsNoPagesOfItsOwn) {
    expectPagesWholeOrFailed<DornPacketType4>({"81 02 01", "81 02 02", "81 02 03"}, Lasting::once);
    expectPagesWholeOrFailed<DornPacketType4>({"81 02 01", "81 02 02", "81 02 03"},
                                              Lasting::forGood);
}

// The kind of the answer to a text, when the machine's answer has a body of that many bytes.
Frames framesOf(std::size_t size) {
    FrameTaker taker;
    const PacketHandle<DornPacketType6> request(new DornPacketType6);
    const PacketHandle<TeskPacket> answer(new TeskPacket);
    answer->set_body(std::string(size, 'x'));
    request->addListener(&taker);
    request->packetCompleted(answer.pointer());
    return taker.frames();
}

// Of the 16 MiB that a length field may say, 14 are the message's header, 4 its length, and 1 is
// the checksum.
TEST(DornMachineRequestMemoryTest, AnAnswerThatDoesNotFitAFrameIsFailed) {
    constexpr std::size_t kLargest = 16'777'216 - 14 - 4 - 1;
    EXPECT_EQ(Frames{"81 46 46"}, framesOf(kLargest));
    EXPECT_EQ(Frames{"AB"}, framesOf(kLargest + 1));
}

// 60 entries with 65,535 values each, of five bytes.
TEST(DornMachineRequestMemoryTest, APageThatDoesNotFitAFrameFailsItsAnswer) {
    std::string entry = "METER001~";
    for (int i = 0; i < 65'535; ++i) entry += '!';
    std::string payload = "~~" + entry;  // behind an entry without a name
    for (int i = 1; i < 60; ++i) payload += "~" + entry;
    FrameTaker taker;
    const PacketHandle<DornPacketType2> request(new DornPacketType2);
    const PacketHandle<TeskPacket> answer(new TeskPacket);
    answer->set_body(payload);
    request->addListener(&taker);
    request->packetCompleted(answer.pointer());
    EXPECT_EQ(Frames{"AB"}, taker.frames());
}

// Two machines time out without memory for a frame, between the pages of a third one's answer.
TEST(DornMachineRequestMemoryTest, AnAnswerWithoutMemoryForItsFrameKeepsItsKind) {
    const PacketHandle<DornPacketType2> request(new DornPacketType2);
    FrameTaker taker;
    const PacketHandle<TeskPacket> answer(new TeskPacket);
    answer->set_body(threePages());
    {
        const FailingNew fail(1, Lasting::forGood);
        request->notifyFailed();
        request->notifyError(Exception("broken"));
    }
    request->addListener(&taker);
    request->packetCompleted(answer.pointer());
    ByteSink timedOut;
    request->write(timedOut);
    ByteSink failed;
    request->write(failed);
    EXPECT_EQ((Frames{"81 03 01", "81 03 02", "81 03 03"}), taker.frames());
    EXPECT_EQ("FE", hex(timedOut.bytes.substr(1, 1)));
    EXPECT_EQ(kHeader + 1, timedOut.bytes.size());
    EXPECT_EQ("AB", hex(failed.bytes.substr(1, 1)));
    EXPECT_EQ(kHeader + 1, failed.bytes.size());
}

// A request to five known machines, as a connection offers it; how many answers it is owed.
std::size_t offer(DornPacketType1& request, TeskController& controller) {
    try {
        request.offer_to_controller(controller);
        return 5;
    } catch (const Exception& e) {
        request.notifyError(e);
    } catch (const std::exception& e) {
        request.notifyError(Exception(e.what()));
    }
    return 1;
}

// The body of a request to every machine.
void readFrame(DornPacketType1& request) {
    Frame frame{.type = 1, .body = bytes("00")};
    const std::string encoded = frame.encode();
    MemoryInputStream stream(encoded);
    request.read(stream);
}

TEST(DornMachineRequestMemoryTest, WhateverFailsEachOfFiveMachinesHasItsAnswer) {
    MachinePark park(5);
    park.makeAllKnown();
    bool failed = true;
    for (int number = 1; failed && number < kNoMoreThan; ++number) {
        FrameTaker taker;
        const PacketHandle<DornPacketType1> request(new DornPacketType1);
        readFrame(*request);
        request->addListener(&taker);
        std::size_t owed = 0;
        {
            const FailingNew fail(static_cast<std::size_t>(number));
            owed = offer(*request, park.controller());
            failed = FailingNew::hasFailed();
        }
        EXPECT_TRUE(taker.hasEnded() || eventually([&] { return taker.count() == owed; }))
            << "allocation " << number << ": " << testing::PrintToString(taker.frames());
        if (HasFailure()) return;
    }
    EXPECT_FALSE(failed);
}

}  // namespace
}  // namespace teskd::test
