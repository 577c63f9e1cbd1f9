// The base classes of the streams, and the filters that forward.

#include <gtest/gtest.h>

#include "net/FilterInputStream.h"
#include "net/FilterOutputStream.h"
#include "net/MemoryInputStream.h"
#include "support/Bytes.h"
#include "support_src/RecordedOutputStream.h"
#include "support_src/ScriptedInputStream.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

struct NoInput : InputStream {};

// Has a read() and nothing else.
struct Digits : InputStream {
    explicit Digits(int count) : left(count) {}
    using InputStream::read;
    int read() override { return left == 0 ? -1 : '0' + left--; }
    int left;
};

TEST(InputStream, IsEmptyByItself) {
    NoInput input;
    char byte = 0;
    EXPECT_EQ(0U, input.available());
    EXPECT_EQ(-1, input.read());
    EXPECT_EQ(-1, input.read(&byte, 1));
    EXPECT_EQ(0, input.skip(3));
    input.setTimeout(500);
    EXPECT_EQ(0, input.getTimeout());
    input.close();
}

TEST(InputStream, HasNoMarkByItself) {
    NoInput input;
    input.mark(1);
    EXPECT_FALSE(input.markSupported());
    EXPECT_EQ("IOException: MARK is not supported by this stream.",
              messageOf<IOException>([&] { input.reset(); }));
}

TEST(InputStream, ABlockIsMadeOfSingleBytes) {
    Digits input(5);
    std::string buffer(8, '.');
    EXPECT_EQ(3, input.read(buffer.data(), 3));
    EXPECT_EQ("543.....", buffer);
    EXPECT_EQ(2, input.read(buffer.data(), 8));
    EXPECT_EQ("213.....", buffer);
    EXPECT_EQ(-1, input.read(buffer.data(), 8));
}

TEST(InputStream, SkipCountsWhatItRead) {
    Digits input(5);
    EXPECT_EQ(2, input.skip(2));
    EXPECT_EQ('3', input.read());
    EXPECT_EQ(2, input.skip(10));
    EXPECT_EQ(0, input.skip(10));
}

TEST(InputStream, ReadFullyGathersOverAsManyReadsAsItTakes) {
    ScriptedInputStream input{"ab", Pause{}, "c", Pause{}, "defg"};
    std::string buffer(5, '.');
    EXPECT_EQ(5, input.readFully(buffer.data(), 5));
    EXPECT_EQ("abcde", buffer);
    EXPECT_EQ(2, input.readFully(buffer.data(), 5));
}

struct Recorder : OutputStream {
    using OutputStream::write;
    void write(int b) override { written.push_back(b); }
    std::vector<int> written;
};

TEST(OutputStream, DropsEverythingByItself) {
    OutputStream output;
    output.write(1);
    output.write("abc");
    output.flush();
    output.close();
}

TEST(OutputStream, BlocksAndStringsAreWrittenByteByByte) {
    Recorder output;
    output.write("ab", 2);
    output.write(bytes("00 FF"));
    EXPECT_EQ((std::vector<int>{'a', 'b', 0, 255}), output.written);
}

TEST(FilterInputStream, ForwardsEverything) {
    ScriptedInputStream inner{"abcdefgh"};
    FilterInputStream filter(inner);
    char buffer[3];
    EXPECT_EQ(8U, filter.available());
    EXPECT_EQ('a', filter.read());
    EXPECT_EQ(3, filter.read(buffer, 3));
    EXPECT_EQ(2, filter.skip(2));
    EXPECT_EQ('g', filter.read());
    filter.setTimeout(12);
    EXPECT_EQ(12, inner.getTimeout());
    EXPECT_EQ(12, filter.getTimeout());
    EXPECT_FALSE(filter.markSupported());
    EXPECT_THROW(filter.reset(), IOException);
    filter.close();
    EXPECT_TRUE(inner.closed);
}

TEST(FilterInputStream, ForwardsTheMark) {
    MemoryInputStream inner("abc");
    FilterInputStream filter(inner);
    EXPECT_TRUE(filter.markSupported());
    filter.read();
    filter.mark(10);
    EXPECT_EQ('b', filter.read());
    filter.reset();
    EXPECT_EQ('b', filter.read());
}

TEST(FilterOutputStream, ForwardsEverything) {
    RecordedOutputStream inner;
    FilterOutputStream filter(inner);
    filter.write('a');
    filter.write("bc", 2);
    filter.write("de");
    filter.flush();
    EXPECT_TRUE(filter.flushAvailable());
    filter.close();
    EXPECT_EQ(
        (std::vector<std::string>{"write a", "write bc", "write de", "flush", "flush", "close"}),
        inner.calls);
}

TEST(MemoryInputStream, EndsBehindTheLastByte) {
    MemoryInputStream input("a\xFF");
    EXPECT_EQ(2U, input.available());
    EXPECT_EQ('a', input.read());
    EXPECT_EQ(255, input.read());
    EXPECT_EQ(0U, input.available());
    EXPECT_EQ(-1, input.read());
    EXPECT_EQ(-1, input.read());
}

}  // namespace
}  // namespace teskd::test
