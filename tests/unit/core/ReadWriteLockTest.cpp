#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "core/ReadWriteLock.h"
#include "support_src/BlockedCall.h"

namespace teskd::test {
namespace {

class ReadWriteLockTest : public testing::Test {
  protected:
    std::string read() {
        const ReadLock held(lock_);
        return "read";
    }
    std::string write() {
        const WriteLock held(lock_);
        return "written";
    }

    ReadWriteLock lock_;
};

TEST_F(ReadWriteLockTest, ReadersDoNotExcludeEachOther) {
    const ReadLock held(lock_);
    EXPECT_EQ("read", BlockedCall([this] { return read(); }).result());
}

TEST_F(ReadWriteLockTest, AWriterWaitsForTheLastReader) {
    std::optional<ReadLock> first(std::in_place, lock_);
    std::optional<ReadLock> second(std::in_place, lock_);
    BlockedCall writer([this] { return write(); });
    EXPECT_FALSE(writer.ended());
    first.reset();
    EXPECT_FALSE(writer.ended());
    second.reset();
    EXPECT_EQ("written", writer.result());
}

TEST_F(ReadWriteLockTest, AWriterExcludesReadersAndWriters) {
    std::optional<WriteLock> held(std::in_place, lock_);
    BlockedCall reader([this] { return read(); });
    BlockedCall writer([this] { return write(); });
    EXPECT_FALSE(reader.ended());
    EXPECT_FALSE(writer.ended());
    held.reset();
    EXPECT_EQ("read", reader.result());
    EXPECT_EQ("written", writer.result());
}

TEST_F(ReadWriteLockTest, AReaderDoesNotPassAWriterWhoWaits) {
    std::optional<ReadLock> held(std::in_place, lock_);
    BlockedCall writer([this] { return write(); });
    BlockedCall reader([this] { return read(); });
    EXPECT_FALSE(reader.ended());
    held.reset();
    EXPECT_EQ("written", writer.result());
    EXPECT_EQ("read", reader.result());
}

}  // namespace
}  // namespace teskd::test
