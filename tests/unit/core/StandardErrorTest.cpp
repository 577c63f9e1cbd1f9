#include <array>
#include <atomic>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "core/StandardError.h"
#include "support/Deadline.h"
#include "support/TempDir.h"
#include "support/UniqueFd.h"
#include "support_src/Unprivileged.h"

namespace teskd::test {
namespace {

struct Ends {
    UniqueFd reader;
    UniqueFd writer;
};

Ends makePipe() {
    int fds[2];
    EXPECT_EQ(0, ::pipe2(fds, O_CLOEXEC));
    return {UniqueFd(fds[0]), UniqueFd(fds[1])};
}

Ends makeSocketPair() {
    int fds[2];
    EXPECT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds));
    return {UniqueFd(fds[0]), UniqueFd(fds[1])};
}

Ends makeTerminal() {
    UniqueFd master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(0, ::grantpt(master.get()));
    EXPECT_EQ(0, ::unlockpt(master.get()));
    std::array<char, 64> name{};
    EXPECT_EQ(0, ::ptsname_r(master.get(), name.data(), name.size()));
    UniqueFd terminal(::open(name.data(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
    return {std::move(master), std::move(terminal)};
}

std::string readAll(const UniqueFd& fd) {
    EXPECT_EQ(0, ::fcntl(fd.get(), F_SETFL, O_NONBLOCK));
    std::string all;
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t count = ::read(fd.get(), buffer.data(), buffer.size());
        if (count <= 0) return all;
        all.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

// What is enough for any pipe, socket or terminal of this machine to be full.
constexpr int kEnough = 20'000;

// False when the writer still waits at the deadline; it is let go then.
bool writesWithoutWaiting(const Ends& ends) {
    StandardError error(ends.writer.get());
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int i = 0; i < kEnough; ++i) error.write("head: ", "a line of some length");
        done = true;
    });
    const bool inTime = eventually([&] { return done.load(); });
    while (!done) readAll(ends.reader);
    writer.join();
    return inTime;
}

TEST(StandardError, ALineHasHeadTextAndEnd) {
    const Ends ends = makePipe();
    StandardError error(ends.writer.get());
    error.write("gateway[1]: ", "100%s");
    error.write("", "bare");
    EXPECT_EQ("gateway[1]: 100%s\nbare\n", readAll(ends.reader));
}

TEST(StandardError, AFullPipeIsNotWaitedFor) {
    EXPECT_TRUE(writesWithoutWaiting(makePipe()));
}

TEST(StandardError, AFullSocketIsNotWaitedFor) {
    EXPECT_TRUE(writesWithoutWaiting(makeSocketPair()));
}

TEST(StandardError, AFullTerminalIsNotWaitedFor) {
    EXPECT_TRUE(writesWithoutWaiting(makeTerminal()));
}

// Nobody without privileges may open it again, as one of another user.
Ends makeForeignTerminal() {
    Ends ends = makeTerminal();
    EXPECT_EQ(0, ::fchmod(ends.writer.get(), 0));
    return ends;
}

TEST(StandardError, AFullTerminalThatCannotBeOpenedAgainIsNotWaitedForEither) {
    const Unprivileged unprivileged;
    EXPECT_TRUE(writesWithoutWaiting(makeForeignTerminal()));
}

TEST(StandardError, LinesToATerminalThatCannotBeOpenedAgainAreCounted) {
    const Ends ends = makeForeignTerminal();
    StandardError error(ends.writer.get());
    {
        const Unprivileged unprivileged;
        error.write("", "line");
        error.write("", "line");
    }
    EXPECT_EQ("", readAll(ends.reader));
    EXPECT_EQ(0, ::fchmod(ends.writer.get(), 0600));
    error.write("", "last");
    EXPECT_EQ("2 lines were lost: standard error took none\r\nlast\r\n", readAll(ends.reader));
}

TEST(StandardError, APipeThatCannotBeOpenedAgainIsWrittenToWhileItTakesLines) {
    Ends ends = makePipe();
    EXPECT_EQ(0, ::fchmod(ends.writer.get(), 0));
    const Unprivileged unprivileged;
    StandardError error(ends.writer.get());
    error.write("", "line");
    EXPECT_EQ("line\n", readAll(ends.reader));
    EXPECT_TRUE(writesWithoutWaiting(std::move(ends)));
}

TEST(StandardError, LinesThatWereNotTakenAreCountedOnceOthersAre) {
    const Ends ends = makePipe();
    StandardError error(ends.writer.get());
    for (int i = 0; i < kEnough; ++i) error.write("", "line");
    const std::string taken = readAll(ends.reader);
    ASSERT_EQ(0U, taken.size() % 5) << "every line is whole";
    error.write("", "after");
    error.write("", "last");
    EXPECT_EQ(std::to_string(kEnough - taken.size() / 5) +
                  " lines were lost: standard error took none\nafter\nlast\n",
              readAll(ends.reader));
}

TEST(StandardError, OthersWhoShareItGoOnBlocking) {
    const Ends ends = makePipe();
    StandardError error(ends.writer.get());
    error.write("", "line");
    EXPECT_EQ(0, ::fcntl(ends.writer.get(), F_GETFL) & O_NONBLOCK);
}

TEST(StandardError, NoDescriptorStaysOpen) {
    const Ends ends = makePipe();
    StandardError error(ends.writer.get());
    const UniqueFd before(::dup(STDIN_FILENO));
    error.write("", "line");
    const UniqueFd after(::dup(STDIN_FILENO));
    EXPECT_EQ(before.get() + 1, after.get());
}

TEST(StandardError, ALongLineIsCutToWhatAPipeTakesWhole) {
    const Ends ends = makePipe();
    StandardError error(ends.writer.get());
    error.write("head: ", std::string(100'000, 'x'));
    EXPECT_EQ("head: " + std::string(PIPE_BUF - 7, 'x') + "\n", readAll(ends.reader));
    error.write(std::string(100'000, 'h'), "text");
    EXPECT_EQ(std::string(PIPE_BUF - 1, 'h') + "\n", readAll(ends.reader));
}

TEST(StandardError, AFileIsContinuedWhereItStands) {
    const TempDir directory;
    const std::string path = directory.path() / "errors";
    const UniqueFd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(6, ::write(file.get(), "before", 6));
    StandardError error(file.get());
    error.write("", "line");
    ASSERT_EQ(5, ::write(file.get(), "after", 5));
    std::ifstream written(path);
    EXPECT_EQ("beforeline\nafter", std::string(std::istreambuf_iterator<char>(written), {}));
}

TEST(StandardError, AReaderThatHasGoneEndsNothing) {
    Ends ends = makePipe();
    std::signal(SIGPIPE, SIG_DFL);
    StandardError error(ends.writer.get());
    ends.reader.reset();
    error.write("", "line");
}

TEST(StandardError, CanBeLedElsewhere) {
    const Ends ends = makePipe();
    StandardError error(-1);
    error.write("", "line");
    error.redirect(ends.writer.get());
    error.write("", "line");
    EXPECT_EQ("1 lines were lost: standard error took none\nline\n", readAll(ends.reader));
}

TEST(StandardError, WithoutOneNothingHappens) {
    StandardError error(-1);
    error.write("", "line");
}

}  // namespace
}  // namespace teskd::test
