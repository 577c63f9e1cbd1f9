#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "net/BufferedInputStream.h"
#include "support_src/FailingNew.h"
#include "support_src/ScriptedInputStream.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

using Requests = std::vector<int>;

const std::string kNoMark =
    "IOException: This stream has not been marked or the mark has been invalidated.";

// The next n bytes, over as many reads as they need; fewer at the end of the stream.
std::string take(InputStream& input, int n) {
    std::string taken(static_cast<std::size_t>(n), '?');
    taken.resize(static_cast<std::size_t>(input.readFully(taken.data(), n)));
    return taken;
}

TEST(BufferedInputStream, HandsOneBlockOutInPieces) {
    ScriptedInputStream inner{"abcdef"};
    BufferedInputStream input(inner);
    EXPECT_EQ('a', input.read());
    char buffer[3];
    EXPECT_EQ(3, input.read(buffer, 3));
    EXPECT_EQ("bcd", std::string(buffer, 3));
    EXPECT_EQ('e', input.read());
    EXPECT_EQ(Requests{2048}, inner.requests);
}

TEST(BufferedInputStream, BytesAreNumbersFromZeroTo255) {
    ScriptedInputStream inner{"\x7F\x80\xFF"};
    BufferedInputStream input(inner);
    EXPECT_EQ(127, input.read());
    EXPECT_EQ(128, input.read());
    EXPECT_EQ(255, input.read());
}

TEST(BufferedInputStream, AReadYieldsNoMoreThanIsHeldAndClearsTheRest) {
    ScriptedInputStream inner{"abc", Pause{}, "def"};
    BufferedInputStream input(inner);
    std::string buffer(5, '?');
    EXPECT_EQ(3, input.read(buffer.data(), 5));
    EXPECT_EQ(std::string("abc\0\0", 5), buffer);
    EXPECT_EQ(3, input.read(buffer.data(), 5));
    EXPECT_EQ(std::string("def\0\0", 5), buffer);
}

TEST(BufferedInputStream, ReadingNothingAsksNobody) {
    ScriptedInputStream inner{"abc"};
    BufferedInputStream input(inner);
    char byte = '?';
    EXPECT_EQ(0, input.read(&byte, 0));
    EXPECT_EQ(0, input.read(&byte, -1));
    EXPECT_EQ('?', byte);
    EXPECT_EQ(Requests{}, inner.requests);
}

TEST(BufferedInputStream, RefillsAsLongAsTheInnerStreamHasMore) {
    ScriptedInputStream inner{"ab", "cd", "e", Pause{}, "f"};
    BufferedInputStream input(inner, 10);
    EXPECT_EQ('a', input.read());
    EXPECT_EQ((Requests{10, 8, 6}), inner.requests);
    EXPECT_EQ(4, input.held());
}

TEST(BufferedInputStream, RefillsNoFurtherThanItsSize) {
    ScriptedInputStream inner{"abc", "defg"};
    BufferedInputStream input(inner, 5);
    EXPECT_EQ('a', input.read());
    EXPECT_EQ((Requests{5, 2}), inner.requests);
    EXPECT_EQ("bcdefg", take(input, 6));
}

TEST(BufferedInputStream, TheEndIsMinusOneForAByteAndZeroForABlock) {
    ScriptedInputStream inner{"a"};
    BufferedInputStream input(inner);
    EXPECT_EQ('a', input.read());
    EXPECT_EQ(-1, input.read());
    char byte = '?';
    EXPECT_EQ(0, input.read(&byte, 1));
    EXPECT_EQ(0, input.skip(3));
}

TEST(BufferedInputStream, AvailableIsWhatIsHeldAndWhatTheInnerStreamHas) {
    ScriptedInputStream inner{"abcdef"};
    BufferedInputStream input(inner, 4);
    EXPECT_EQ(6U, input.available());
    input.read();
    EXPECT_EQ(3, input.held());
    EXPECT_EQ(5U, input.available());
}

TEST(BufferedInputStream, SkipReadsAndDrops) {
    ScriptedInputStream inner{"abcdef"};
    BufferedInputStream input(inner);
    EXPECT_EQ(2, input.skip(2));
    EXPECT_EQ(0, input.skip(0));
    EXPECT_EQ(0, input.skip(-1));
    EXPECT_EQ('c', input.read());
    EXPECT_EQ(3, input.skip(100));
}

TEST(BufferedInputStream, SkipIsOneReadAndWaitsForNoSecondOne) {
    ScriptedInputStream inner{"abcde", Pause{}, "fg", TimeOut{}};
    BufferedInputStream input(inner, 4);
    EXPECT_EQ(4, input.skip(6));
    EXPECT_EQ(1, input.skip(6));
    EXPECT_EQ(1, input.skip(1));
    EXPECT_EQ(1, input.skip(6));
    EXPECT_THROW(input.skip(6), SocketTimeoutException);
}

TEST(BufferedInputStream, SkippedBytesComeAgainAfterAReset) {
    ScriptedInputStream inner{"abcdef"};
    BufferedInputStream input(inner);
    input.mark(10);
    EXPECT_EQ(3, input.skip(3));
    input.reset();
    EXPECT_EQ("abcdef", take(input, 6));
}

TEST(BufferedInputStream, TimeoutsAreTheInnerStreams) {
    ScriptedInputStream inner{"ab", TimeOut{}, "c"};
    BufferedInputStream input(inner, 2);
    input.setTimeout(500);
    EXPECT_EQ(500, inner.getTimeout());
    EXPECT_EQ(500, input.getTimeout());
    EXPECT_EQ("ab", take(input, 2));
    EXPECT_THROW(input.read(), SocketTimeoutException);
    EXPECT_EQ('c', input.read());
}

TEST(BufferedInputStream, AfterItsCloseNothingIsReadWhateverTheInnerStreamHas) {
    ScriptedInputStream inner{"ab", "cd"};
    BufferedInputStream input(inner, 2);
    EXPECT_EQ('a', input.read());
    input.close();
    char byte = 'x';
    EXPECT_EQ(-1, input.read());
    EXPECT_EQ(0, input.read(&byte, 1));
    EXPECT_EQ(0, input.skip(1));
    EXPECT_EQ('x', byte);
}

TEST(BufferedInputStream, ClosingClosesTheInnerStreamAndDropsTheBytes) {
    ScriptedInputStream inner{"abc"};
    BufferedInputStream input(inner);
    input.read();
    input.mark(2);
    input.close();
    EXPECT_TRUE(inner.closed);
    EXPECT_EQ(0, input.held());
    EXPECT_EQ(-1, input.read());
    EXPECT_EQ(0, input.skip(1));
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { input.reset(); }));
}

TEST(BufferedInputStream, ACopyHasTheBytesAndTheMark) {
    ScriptedInputStream inner{"abcd"};
    BufferedInputStream input(inner);
    input.read();
    input.mark(5);
    input.read();
    BufferedInputStream copy(input);
    EXPECT_EQ("cd", take(copy, 2));
    EXPECT_EQ("cd", take(input, 2));
    copy.reset();
    EXPECT_EQ("bcd", take(copy, 3));
}

TEST(BufferedInputStreamMark, TheBytesSinceTheMarkComeAgain) {
    ScriptedInputStream inner{"abcdefgh"};
    BufferedInputStream input(inner);
    EXPECT_TRUE(input.markSupported());
    input.read();
    input.mark(10);
    EXPECT_EQ("bcdef", take(input, 5));
    input.reset();
    EXPECT_EQ("bcdefgh", take(input, 7));
}

TEST(BufferedInputStreamMark, ServesOneReset) {
    ScriptedInputStream inner{"abcdefgh"};
    BufferedInputStream input(inner);
    input.mark(10);
    EXPECT_EQ("abcde", take(input, 5));
    input.reset();
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { input.reset(); }));
    EXPECT_EQ("abcde", take(input, 5));
}

TEST(BufferedInputStreamMark, WithoutAMarkThereIsNoReset) {
    ScriptedInputStream inner{"abc"};
    BufferedInputStream input(inner);
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { input.reset(); }));
    input.read();
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { input.reset(); }));
    EXPECT_EQ('b', input.read());
}

TEST(BufferedInputStreamMark, ALimitOfZeroOrLessActsAsReset) {
    for (const int limit : {0, -1}) {
        ScriptedInputStream inner{"abc"};
        BufferedInputStream input(inner);
        EXPECT_EQ(kNoMark, messageOf<IOException>([&] { input.mark(limit); }));
        input.mark(2);
        EXPECT_EQ('a', input.read());
        input.mark(limit);
        EXPECT_EQ('a', input.read());
        EXPECT_EQ(kNoMark, messageOf<IOException>([&] { input.mark(limit); }));
    }
}

TEST(BufferedInputStreamMark, TheLastMarkCounts) {
    ScriptedInputStream inner{"abcdef"};
    BufferedInputStream input(inner);
    input.mark(10);
    input.read();
    input.mark(10);
    EXPECT_EQ('b', input.read());
    input.reset();
    EXPECT_EQ('b', input.read());
}

TEST(BufferedInputStreamMark, BytesBeyondTheLimitThatAreHeldDoNotEndIt) {
    ScriptedInputStream inner{"abcdef"};
    BufferedInputStream input(inner);
    input.mark(2);
    EXPECT_EQ("abcdef", take(input, 6));
    input.reset();
    EXPECT_EQ("abcdef", take(input, 6));
}

TEST(BufferedInputStreamMark, ARefillBeyondTheLimitEndsIt) {
    ScriptedInputStream inner{"abc", Pause{}, "def"};
    BufferedInputStream input(inner);
    input.mark(2);
    EXPECT_EQ("abcd", take(input, 4));
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { input.reset(); }));
    EXPECT_EQ("ef", take(input, 2));
}

TEST(BufferedInputStreamMark, ARefillAtTheLimitDoesNotEndIt) {
    ScriptedInputStream inner{"abc", Pause{}, "def"};
    BufferedInputStream input(inner);
    input.mark(3);
    EXPECT_EQ("abcd", take(input, 4));
    input.reset();
    EXPECT_EQ("abcdef", take(input, 6));
}

TEST(BufferedInputStreamMark, TheEndOfTheStreamDoesNotEndIt) {
    ScriptedInputStream inner{"ab"};
    BufferedInputStream input(inner);
    input.mark(5);
    EXPECT_EQ("ab", take(input, 3));
    EXPECT_EQ(-1, input.read());
    input.reset();
    EXPECT_EQ("ab", take(input, 3));
}

TEST(BufferedInputStreamMark, ATimeoutDoesNotEndIt) {
    ScriptedInputStream inner{"a", TimeOut{}, "b"};
    BufferedInputStream input(inner);
    input.mark(5);
    input.read();
    EXPECT_THROW(input.read(), SocketTimeoutException);
    input.reset();
    EXPECT_EQ("ab", take(input, 2));
}

// 4 bytes of 10 are left behind the mark, and 5 are wanted: what is unread moves to the front.
TEST(BufferedInputStreamMark, MovesUnreadBytesWhenTheBufferIsLargeEnough) {
    ScriptedInputStream inner{"abcdefghij", Pause{}, "klmnop"};
    BufferedInputStream input(inner, 10);
    EXPECT_EQ("abcdef", take(input, 6));
    input.mark(5);
    EXPECT_EQ("ghijk", take(input, 5));
    EXPECT_EQ((Requests{10, 6}), inner.requests);
    input.reset();
    EXPECT_EQ("ghijklmnop", take(input, 10));
}

// Twice the limit does not fit into 10 bytes.
TEST(BufferedInputStreamMark, GrowsToTwiceTheLimit) {
    ScriptedInputStream inner{"abcdefghij", Pause{}, "klmnop"};
    BufferedInputStream input(inner, 10);
    EXPECT_EQ("abcdef", take(input, 6));
    input.mark(6);
    EXPECT_EQ("ghijkl", take(input, 6));
    EXPECT_EQ((Requests{10, 8}), inner.requests);
    input.reset();
    EXPECT_EQ("ghijklmnop", take(input, 10));
}

TEST(BufferedInputStreamMark, DoesNotGrowWhereTheLimitFits) {
    ScriptedInputStream inner{"abcdefghij", Pause{}, "k"};
    BufferedInputStream input(inner, 10);
    EXPECT_EQ("abcd", take(input, 4));
    input.mark(6);
    EXPECT_EQ("efghij", take(input, 6));
    input.reset();
    EXPECT_EQ("efghijk", take(input, 7));
    EXPECT_EQ((Requests{10, 10}), inner.requests);
}

// The limit's last byte is the buffer's last byte.
TEST(BufferedInputStreamMark, AFullBufferIsNotTheEndOfTheStream) {
    ScriptedInputStream inner{"abcdefgh", Pause{}, "ij"};
    BufferedInputStream input(inner, 8);
    EXPECT_EQ("abcd", take(input, 4));
    input.mark(4);
    EXPECT_EQ("efgh", take(input, 4));
    EXPECT_EQ('i', input.read());
    EXPECT_EQ(kNoMark, messageOf<IOException>([&] { input.reset(); }));
    EXPECT_EQ('j', input.read());
}

// Marks everywhere in buffers of every small size: the bytes within the limit come again, and none
// is lost, doubled or out of order.
TEST(BufferedInputStreamMark, NoPositionSizeOrLimitLosesBytes) {
    const std::string all = "abcdefghijklmnopqrstuvwxyz";
    for (int size = 1; size <= 9; ++size) {
        for (int chunk = 1; chunk <= 7; ++chunk) {
            for (int before = 0; before <= 9; ++before) {
                for (int limit = 1; limit <= 12; ++limit) {
                    std::vector<ScriptedInputStream::Event> script;
                    for (std::size_t at = 0; at < all.size();
                         at += static_cast<std::size_t>(chunk)) {
                        script.emplace_back(all.substr(at, static_cast<std::size_t>(chunk)));
                        script.emplace_back(Pause{});
                    }
                    ScriptedInputStream inner(script);
                    BufferedInputStream input(inner, size);
                    SCOPED_TRACE(testing::Message()
                                 << size << ' ' << chunk << ' ' << before << ' ' << limit);
                    const auto from = static_cast<std::size_t>(before);
                    ASSERT_EQ(all.substr(0, from), take(input, before));
                    input.mark(limit);
                    ASSERT_EQ(all.substr(from, static_cast<std::size_t>(limit)),
                              take(input, limit));
                    input.reset();
                    ASSERT_EQ(all.substr(from), take(input, 26));
                }
            }
        }
    }
}

TEST(BufferedInputStreamMemory, ADefaultBufferThatCannotBeHadIsAnError) {
    ScriptedInputStream inner{};
    const FailingNew fails(1);
    EXPECT_EQ("Out-Of-Memory: Could not allocate memory integer array",
              messageOf<OutOfMemoryException>([&] { BufferedInputStream{inner}; }));
}

TEST(BufferedInputStreamMemory, ASizedBufferThatCannotBeHadIsAnError) {
    ScriptedInputStream inner{};
    const FailingNew fails(1);
    EXPECT_EQ("Out-Of-Memory: Could not allocate memory for char array",
              messageOf<OutOfMemoryException>([&] { BufferedInputStream(inner, 10); }));
}

TEST(BufferedInputStreamMemory, ACopyThatCannotBeHadIsAnError) {
    ScriptedInputStream inner{};
    const BufferedInputStream input(inner);
    const FailingNew fails(1);
    EXPECT_EQ("Out-Of-Memory: Could not allocate memory for char array",
              messageOf<OutOfMemoryException>([&] { BufferedInputStream{input}; }));
}

TEST(BufferedInputStreamMemory, GrowthThatCannotBeHadIsAnErrorAndLosesNothing) {
    ScriptedInputStream inner{"abc"};
    BufferedInputStream input(inner, 4);
    input.read();
    const std::string error = "Out-Of-Memory: Could not allocate memory integer array";
    {
        const FailingNew fails(1);
        EXPECT_EQ(error, messageOf<OutOfMemoryException>([&] { input.mark(100); }));
    }
    EXPECT_EQ(error, messageOf<OutOfMemoryException>(
                         [&] { input.mark(std::numeric_limits<int>::max()); }));
    EXPECT_EQ("bc", take(input, 2));
}

}  // namespace
}  // namespace teskd::test
