#include <gtest/gtest.h>

#include "core/Exception.h"
#include "net/BufferedOutputStream.h"
#include "support/Bytes.h"
#include "support_src/RecordedOutputStream.h"

namespace teskd::test {
namespace {

using Calls = std::vector<std::string>;

TEST(BufferedOutputStream, ThreeBytesLeaveInOneWrite) {
    RecordedOutputStream inner;
    BufferedOutputStream output(inner);
    output.write('a');
    output.write('b');
    output.write('c');
    EXPECT_EQ(Calls{}, inner.calls);
    output.flush();
    EXPECT_EQ((Calls{"write abc", "flush"}), inner.calls);
}

TEST(BufferedOutputStream, BlocksAndStringsWaitWithTheBytes) {
    RecordedOutputStream inner;
    BufferedOutputStream output(inner);
    output.write(bytes("00 FF"));
    output.write("bcd", 2);
    output.write(256 + 'z');
    output.flush();
    EXPECT_BYTES(bytes("00 FF 62 63 7A"), inner.bytes);
    EXPECT_EQ(2U, inner.calls.size());
}

TEST(BufferedOutputStream, ByItselfItKnowsNoFlushWithoutWaiting) {
    RecordedOutputStream inner;
    BufferedOutputStream output(inner);
    output.write("abc");
    EXPECT_TRUE(output.flushAvailable());
    EXPECT_EQ((Calls{"write abc", "flush"}), inner.calls);
}

TEST(BufferedOutputStream, WhatWasFlushedIsNotWrittenAgain) {
    RecordedOutputStream inner;
    BufferedOutputStream output(inner);
    output.write("ab");
    output.flush();
    output.write("c");
    output.flush();
    EXPECT_EQ("abc", inner.bytes);
}

TEST(BufferedOutputStream, HoldsAsManyBytesAsItsCapacity) {
    RecordedOutputStream inner;
    BufferedOutputStream output(inner);
    const std::string many(65'535, 'x');
    output.write(many);
    output.write('y');
    EXPECT_EQ(Calls{}, inner.calls);
    output.flush();
    EXPECT_EQ((Calls{"write " + many + "y", "flush"}), inner.calls);
}

TEST(BufferedOutputStream, FlushesWhenItIsFullAndMoreComes) {
    const std::string full(65'536, 'x');
    const Calls expected{"write " + full, "flush", "write y", "flush"};
    RecordedOutputStream block;
    BufferedOutputStream output(block);
    output.write(full + 'y');
    output.flush();
    EXPECT_TRUE(expected == block.calls);
    RecordedOutputStream single;
    BufferedOutputStream another(single);
    for (const char byte : full) another.write(byte);
    another.write('y');
    another.flush();
    EXPECT_TRUE(expected == single.calls);
}

TEST(BufferedOutputStream, ABlockOfAnySizeLeavesInPiecesAndInOrder) {
    std::string many;
    for (int i = 0; i < 100'000; ++i) many += std::to_string(i) + ' ';
    RecordedOutputStream inner;
    BufferedOutputStream output(inner);
    output.write("ab");
    output.write(many);
    output.flush();
    EXPECT_TRUE("ab" + many == inner.bytes);
    for (const std::string& call : inner.calls) EXPECT_GE(65'542U, call.size());
}

TEST(BufferedOutputStream, KeepsNoMemoryOfMuchThatItHasWritten) {
    struct Shown : BufferedOutputStream {
        using BufferedOutputStream::BufferedOutputStream;
        using BufferedOutputStream::pending;
    };
    RecordedOutputStream inner;
    Shown output(inner);
    for (const std::size_t size : {4'097U, 65'536U, 1'000'000U}) {
        output.write(std::string(size, 'x'));
        output.flush();
        EXPECT_GE(4'096U, output.pending().capacity()) << size;
        output.write(std::string(size, 'x'));
        output.close();
        EXPECT_GE(4'096U, output.pending().capacity()) << size;
    }
}

TEST(BufferedOutputStream, ClosingDropsWhatWasNotFlushed) {
    RecordedOutputStream inner;
    BufferedOutputStream output(inner);
    output.write("abc");
    output.close();
    EXPECT_EQ(Calls{"close"}, inner.calls);
    output.flush();
    EXPECT_EQ("", inner.bytes);
}

TEST(BufferedOutputStream, WhatCouldNotBeWrittenStaysPending) {
    struct Failing : RecordedOutputStream {
        using RecordedOutputStream::write;
        void write(const char* buffer, std::size_t len) override {
            if (fails) throw SocketException("full");
            RecordedOutputStream::write(buffer, len);
        }
        bool fails = true;
    } inner;
    BufferedOutputStream output(inner);
    output.write("abc");
    EXPECT_THROW(output.flush(), SocketException);
    inner.fails = false;
    output.flush();
    EXPECT_EQ("abc", inner.bytes);
}

}  // namespace
}  // namespace teskd::test
