#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "config/ConfigFile.h"
#include "support/ProcInfo.h"
#include "support/TempDir.h"
#include "support/UniqueFd.h"
#include "support_src/Unprivileged.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;

// No file of this process grows beyond a size, as on a full disk. It survives the attempt, as the
// daemon does.
class FullDisk {
  public:
    explicit FullDisk(rlim_t size) {
        EXPECT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before_));
        const rlimit limit{size, before_.rlim_max};
        EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handlerBefore_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit before_{};
    void (*handlerBefore_)(int) = std::signal(SIGXFSZ, [](int) {});
};

class ConfigFileTest : public testing::Test {
  protected:
    ConfigFileTest() { ::chmod(directory.path().c_str(), 0777); }

    std::string in(const char* name) const { return directory / name; }
    std::size_t fileCount() const {
        const fs::directory_iterator files(directory.path());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    const TempDir directory;
    const std::string path = in("file.ini");
};

TEST_F(ConfigFileTest, ReadsAWholeFile) {
    using namespace std::string_literals;
    writeFile(path, "a\r\n\0\xff"s);
    EXPECT_EQ("a\r\n\0\xff"s, ConfigFile::read(path));
    writeFile(path, "");
    EXPECT_EQ("", ConfigFile::read(path));
}

TEST_F(ConfigFileTest, ReadsAFileThatTakesManyReads) {
    const std::string content(100'001, 'x');
    writeFile(path, content);
    EXPECT_EQ(content, ConfigFile::read(path));
}

TEST_F(ConfigFileTest, ReadsThroughASymbolicLink) {
    writeFile(in("real"), "content");
    fs::create_symlink("real", path);
    EXPECT_EQ("content", ConfigFile::read(path));
}

TEST_F(ConfigFileTest, AMissingFileReadsAsNothing) {
    EXPECT_EQ(std::nullopt, ConfigFile::read(path));
    EXPECT_EQ(std::nullopt, ConfigFile::read(""));
    EXPECT_EQ(std::nullopt, ConfigFile::read(in("no/such/file")));
    fs::create_symlink("nowhere", path);
    EXPECT_EQ(std::nullopt, ConfigFile::read(path));
}

TEST_F(ConfigFileTest, ADirectoryReadsAsNothing) {
    EXPECT_EQ(std::nullopt, ConfigFile::read(directory.path()));
    EXPECT_EQ(EISDIR, errno);
    EXPECT_EQ(std::nullopt, ConfigFile::read(directory.path().string() + "/"));
}

TEST_F(ConfigFileTest, ADeviceReadsAsNothing) {
    EXPECT_EQ(std::nullopt, ConfigFile::read("/dev/null"));
    EXPECT_EQ(std::nullopt, ConfigFile::read("/dev/zero"));
}

TEST_F(ConfigFileTest, AFifoReadsAsNothingAndBlocksNobody) {
    ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
    EXPECT_EQ(std::nullopt, ConfigFile::read(path));
    const UniqueFd writer(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(3, ::write(writer.get(), "A=1", 3));
    EXPECT_EQ(std::nullopt, ConfigFile::read(path));
}

TEST_F(ConfigFileTest, AnUnreadableFileReadsAsNothing) {
    writeFile(path, "content");
    fs::permissions(path, fs::perms::none);
    const Unprivileged unprivileged;
    EXPECT_EQ(std::nullopt, ConfigFile::read(path));
}

TEST_F(ConfigFileTest, AFileBeyondTheLimitReadsAsNothing) {
    const std::string largest(1'048'576, 'x');
    writeFile(path, largest);
    EXPECT_EQ(largest, ConfigFile::read(path));
    writeFile(path, largest + "x");
    EXPECT_EQ(std::nullopt, ConfigFile::read(path));
    EXPECT_EQ(EFBIG, errno);
}

TEST_F(ConfigFileTest, AFileThatHidesItsSizeIsReadWhole) {
    const std::string limits = ConfigFile::read("/proc/self/limits").value_or("");
    EXPECT_NE(std::string::npos, limits.find("Max open files"));
}

TEST_F(ConfigFileTest, ReplaceMakesTheFile) {
    EXPECT_TRUE(ConfigFile::replace(path, "new\n"));
    EXPECT_EQ("new\n", readFile(path));
    EXPECT_EQ(1U, fileCount());
}

TEST_F(ConfigFileTest, ReplaceLeavesNothingOfALongerFile) {
    writeFile(path, "a much longer old content\n");
    EXPECT_TRUE(ConfigFile::replace(path, "new\n"));
    EXPECT_EQ("new\n", readFile(path));
    EXPECT_EQ(1U, fileCount());
}

TEST_F(ConfigFileTest, ReplaceWithNothingMakesAnEmptyFile) {
    writeFile(path, "old");
    EXPECT_TRUE(ConfigFile::replace(path, ""));
    EXPECT_EQ("", readFile(path));
}

TEST_F(ConfigFileTest, WhoHasTheOldFileOpenKeepsTheOldContent) {
    writeFile(path, "old content");
    const UniqueFd reader(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_TRUE(ConfigFile::replace(path, "new"));
    char block[64];
    EXPECT_EQ(11, ::read(reader.get(), block, sizeof block)) << "the old file was written to";
}

TEST_F(ConfigFileTest, WhatAPowerCutLeftBehindIsInNobodysWay) {
    writeFile(path, "old");
    writeFile(path + ".teskd.tmp", "half of the ne");
    EXPECT_TRUE(ConfigFile::replace(path, "new"));
    EXPECT_EQ("new", readFile(path));
    EXPECT_EQ(1U, fileCount());
}

TEST_F(ConfigFileTest, ADirectoryAtTheTemporaryNameKeepsTheOldFile) {
    writeFile(path, "a longer old content");
    fs::create_directory(path + ".teskd.tmp");
    EXPECT_FALSE(ConfigFile::replace(path, "new"));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ("a longer old content", readFile(path));
    EXPECT_TRUE(fs::is_directory(path + ".teskd.tmp"));
}

TEST_F(ConfigFileTest, ADirectoryAtTheTemporaryNameLeavesUpdatingInPlace) {
    writeFile(path, "a longer old content");
    fs::create_directory(path + ".teskd.tmp");
    EXPECT_TRUE(ConfigFile::update(path, "new"));
    EXPECT_EQ("new", readFile(path));
}

TEST_F(ConfigFileTest, AFullDiskCostsNothingOfTheOldContent) {
    writeFile(path, "old content");
    bool replaced = true;
    int reason = 0;
    {
        const FullDisk full(5);
        replaced = ConfigFile::replace(path, "new content");
        reason = errno;
    }
    EXPECT_FALSE(replaced);
    EXPECT_EQ(EFBIG, reason);
    EXPECT_EQ("old content", readFile(path));
    EXPECT_EQ(1U, fileCount());
}

TEST_F(ConfigFileTest, NoDescriptorLeftCostsNothingOfTheOldContent) {
    writeFile(path, "old content");
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &before));
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
    const bool replaced = ConfigFile::replace(path, "new content");
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_FALSE(replaced);
    EXPECT_EQ("old content", readFile(path));
}

TEST_F(ConfigFileTest, ASymbolicLinkAtTheNameIsReplacedAndNotFollowed) {
    writeFile(in("victim"), "precious");
    fs::create_symlink("victim", path);
    EXPECT_TRUE(ConfigFile::replace(path, "new"));
    EXPECT_EQ("precious", readFile(in("victim")));
    EXPECT_FALSE(fs::is_symlink(path));
    EXPECT_EQ("new", readFile(path));
}

TEST_F(ConfigFileTest, ADanglingLinkAtTheNameCreatesNothingElsewhere) {
    fs::create_symlink("elsewhere", path);
    EXPECT_TRUE(ConfigFile::replace(path, "new"));
    EXPECT_FALSE(fs::exists(in("elsewhere")));
}

TEST_F(ConfigFileTest, ASymbolicLinkAtTheTemporaryNameIsNotFollowed) {
    writeFile(in("victim"), "precious");
    fs::create_symlink("victim", path + ".teskd.tmp");
    EXPECT_TRUE(ConfigFile::replace(path, "new"));
    EXPECT_EQ("precious", readFile(in("victim")));
    EXPECT_EQ("new", readFile(path));
}

TEST_F(ConfigFileTest, AHardLinkAtTheNameDoesNotReachTheOtherFile) {
    writeFile(in("victim"), "precious");
    fs::create_hard_link(in("victim"), path);
    EXPECT_TRUE(ConfigFile::replace(path, "new"));
    EXPECT_EQ("precious", readFile(in("victim")));
}

TEST_F(ConfigFileTest, AFifoAtTheNameIsReplacedAndBlocksNobody) {
    ASSERT_EQ(0, ::mkfifo(path.c_str(), 0600));
    EXPECT_TRUE(ConfigFile::replace(path, "new"));
    EXPECT_EQ("new", readFile(path));
}

TEST_F(ConfigFileTest, ADirectoryAtTheNameStays) {
    fs::create_directory(path);
    EXPECT_FALSE(ConfigFile::replace(path, "new"));
    EXPECT_EQ(EISDIR, errno);
    EXPECT_TRUE(fs::is_directory(path));
    EXPECT_EQ(1U, fileCount());
}

TEST_F(ConfigFileTest, AMissingDirectoryIsAFailure) {
    EXPECT_FALSE(ConfigFile::replace(in("no/such/file"), "new"));
    EXPECT_EQ(ENOENT, errno);
}

// A directory in which nobody but its owner can make files.
class ConfigFileLockedDirectory : public ConfigFileTest {
  protected:
    ConfigFileLockedDirectory() {
        writeFile(path, "a longer old content");
        ::chmod(path.c_str(), 0666);
    }
    ~ConfigFileLockedDirectory() override { ::chmod(directory.path().c_str(), 0777); }

    using Write = bool (*)(const std::string&, const std::string&);
    bool writeAsNobody(Write write, mode_t mode = 0555) {
        ::chmod(directory.path().c_str(), mode);
        const Unprivileged unprivileged;
        return write(path, "new");
    }
};

TEST_F(ConfigFileLockedDirectory, AFileIsUpdatedInPlace) {
    EXPECT_TRUE(writeAsNobody(ConfigFile::update));
    EXPECT_EQ("new", readFile(path));
}

TEST_F(ConfigFileLockedDirectory, AFileIsNotReplaced) {
    EXPECT_FALSE(writeAsNobody(ConfigFile::replace));
    EXPECT_EQ(EACCES, errno);
    EXPECT_EQ("a longer old content", readFile(path));
}

TEST_F(ConfigFileLockedDirectory, AFileBeyondTheReadingLimitIsTruncatedAsWell) {
    writeFile(path, std::string(1'048'577, 'x'));
    EXPECT_TRUE(writeAsNobody(ConfigFile::update));
    EXPECT_EQ(3U, fs::file_size(path));
}

TEST_F(ConfigFileLockedDirectory, AMissingFileCannotBeMade) {
    fs::remove(path);
    EXPECT_FALSE(writeAsNobody(ConfigFile::update));
    EXPECT_EQ(EACCES, errno);
}

TEST_F(ConfigFileLockedDirectory, SomebodyElsesFileInAStickyDirectoryIsNotReplaced) {
    EXPECT_FALSE(writeAsNobody(ConfigFile::replace, 01777));
    EXPECT_EQ("a longer old content", readFile(path));
    EXPECT_EQ(1U, fileCount());
}

TEST_F(ConfigFileLockedDirectory, SomebodyElsesFilesInAStickyDirectoryAreNotWrittenTo) {
    writeFile(path + ".teskd.tmp", "precious");
    EXPECT_FALSE(writeAsNobody(ConfigFile::replace, 01777));
    EXPECT_EQ("a longer old content", readFile(path));
    EXPECT_EQ("precious", readFile(path + ".teskd.tmp"));
}

TEST_F(ConfigFileTest, AFullDiskCostsNothingOfAFileThatIsUpdated) {
    writeFile(path, "old content");
    bool updated = true;
    {
        const FullDisk full(5);
        updated = ConfigFile::update(path, "new content");
    }
    EXPECT_FALSE(updated);
    EXPECT_EQ("old content", readFile(path));
    EXPECT_EQ(1U, fileCount());
}

TEST_F(ConfigFileTest, WritingChangesNoHandlerOfASignal) {
    const auto before = std::signal(SIGXFSZ, SIG_DFL);
    ConfigFile::replace(path, "new");
    ConfigFile::update(path, "newer");
    EXPECT_EQ(SIG_DFL, std::signal(SIGXFSZ, before));
    EXPECT_EQ("newer", readFile(path));
}

TEST_F(ConfigFileTest, GivesItsDescriptorsBack) {
    const std::size_t before = openDescriptors(::getpid());
    ConfigFile::replace(path, "new");
    ConfigFile::read(path);
    ConfigFile::read(directory.path());
    ConfigFile::replace(in("no/such/file"), "new");
    ConfigFile::update(path, "newer");
    ConfigFile::update(directory.path(), "new");
    fs::create_hard_link(path, in("other"));
    ConfigFile::update(path, "newest");
    EXPECT_EQ(before, openDescriptors(::getpid()));
}

}  // namespace
}  // namespace teskd::test
