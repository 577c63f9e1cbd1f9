// The software-update file is the administrator's: a start changes its content and nothing else.

#include <array>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <vector>

#include "config/ZqConfig.h"
#include "support/TempDir.h"
#include "support/UniqueFd.h"
#include "support_src/LogRecorder.h"
#include "support_src/UnitEnvironment.h"
#include "support_src/Unprivileged.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<LogEntry>;

constexpr char kOld[] = "SW_UPDATE_A=240101000000\nSW_UPDATE_B=240202000000\n";
constexpr char kNew[] =
    "\n[INTERNAL]\n\t SW_UPDATE_A=240202000000\n\t SW_UPDATE_B=240202000000\n\n";

struct stat statusOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(0, ::stat(path.c_str(), &status)) << path;
    return status;
}

mode_t modeOf(const fs::path& path) {
    return statusOf(path).st_mode & 07777;
}

class SoftwareUpdateFile : public testing::Test {
  protected:
    SoftwareUpdateFile() {
        fs::create_directory(elsewhere);
        // Permissions are what each test says, not what keeps nobody out of a temporary directory.
        fs::permissions(elsewhere.parent_path(), fs::perms(0755));
    }
    ~SoftwareUpdateFile() override {
        for (const fs::path& folder : {config, elsewhere}) fs::permissions(folder, fs::perms(0755));
    }

    static void start() { const ZqConfig config; }
    void startAsNobody() {
        for (const char* name : {"tmp", "etc"}) fs::permissions(root / name, fs::perms(0777));
        const Unprivileged nobody;
        start();
    }

    void linkTo(const fs::path& where) const { fs::create_symlink(where, file); }
    Lines notWritten(const std::string& reason) const {
        return {{180, "ZqConfig: Cannot write " + file.string() + ": " + reason}};
    }

    // The file is there and neither read nor written.
    Lines notUsed(const std::string& unread, const std::string& unwritten) const {
        Lines lines = notWritten(unwritten);
        lines.insert(lines.begin(),
                     {180, "ZqConfig: Cannot read " + file.string() + ": " + unread});
        return lines;
    }

    const PrivateRoot root;
    const fs::path config = root / "config";
    const fs::path elsewhere = root / "elsewhere";
    const fs::path file = config / ".sw_update.ini";
    const fs::path target = elsewhere / "stamps";
    const LogRecorder log;
};

TEST_F(SoftwareUpdateFile, ASymbolicLinkStaysAndItsTargetIsReplaced) {
    writeFile(target, kOld);
    linkTo(target);
    const UniqueFd reader(::open(target.c_str(), O_RDONLY | O_CLOEXEC));
    start();
    EXPECT_EQ(target, fs::read_symlink(file));
    EXPECT_EQ(kNew, readFile(target));
    EXPECT_TRUE(log.lines().empty());
    std::array<char, 256> block{};
    const ssize_t size = ::read(reader.get(), block.data(), block.size());
    EXPECT_EQ(kOld, std::string(block.data(), static_cast<std::size_t>(size)))
        << "not replaced as a whole";
    EXPECT_FALSE(fs::exists(target.string() + ".teskd.tmp"));
}

TEST_F(SoftwareUpdateFile, AChainOfRelativeLinksIsFollowed) {
    writeFile(target, kOld);
    linkTo("second");
    fs::create_symlink("../elsewhere/third", config / "second");
    fs::create_symlink("stamps", elsewhere / "third");
    start();
    EXPECT_EQ(kNew, readFile(target));
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_TRUE(fs::is_symlink(config / "second"));
    EXPECT_TRUE(fs::is_symlink(elsewhere / "third"));
}

TEST_F(SoftwareUpdateFile, ALinkToAFileThatIsYetToComeMakesIt) {
    linkTo("../elsewhere/stamps");
    start();
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(target)));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SoftwareUpdateFile, AFileOfSomebodyElseBesideItStays) {
    const std::string other = target.string() + ".tmp";
    linkTo(target);
    writeFile(other, "precious");
    start();
    EXPECT_TRUE(fs::exists(target));
    EXPECT_EQ("precious", readFile(other));
    writeFile(target, kOld);
    start();
    EXPECT_EQ(kNew, readFile(target));
    EXPECT_EQ("precious", readFile(other));
}

TEST_F(SoftwareUpdateFile, ALinkToItselfStays) {
    linkTo(".sw_update.ini");
    start();
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_EQ(notUsed("Too many levels of symbolic links", "Too many levels of symbolic links"),
              log.lines());
}

TEST_F(SoftwareUpdateFile, ALinkToADeviceStaysAndTheDeviceIsNotWrittenTo) {
    linkTo("/dev/null");
    start();
    EXPECT_EQ("/dev/null", fs::read_symlink(file));
    EXPECT_EQ(notUsed("Invalid argument", "File exists"), log.lines());
}

TEST_F(SoftwareUpdateFile, AFifoStaysAndBlocksNobody) {
    ASSERT_EQ(0, ::mkfifo(file.c_str(), 0666));
    start();
    EXPECT_TRUE(fs::is_fifo(file));
    EXPECT_EQ(notUsed("Invalid argument", "File exists"), log.lines());
}

TEST_F(SoftwareUpdateFile, AHardLinkIsWrittenInPlace) {
    writeFile(file, kOld);
    fs::create_hard_link(file, target);
    start();
    EXPECT_EQ(kNew, readFile(target));
    EXPECT_EQ(2U, fs::hard_link_count(file));
}

TEST_F(SoftwareUpdateFile, AHardLinkBehindASymbolicOneIsWrittenInPlace) {
    writeFile(target, kOld);
    fs::create_hard_link(target, elsewhere / "other");
    linkTo(target);
    start();
    EXPECT_EQ(kNew, readFile(elsewhere / "other"));
    EXPECT_TRUE(fs::is_symlink(file));
}

TEST_F(SoftwareUpdateFile, TheModeStays) {
    for (const mode_t mode : {0600U, 0640U, 0666U, 0444U, 0764U}) {
        writeFile(file, kOld);
        ASSERT_EQ(0, ::chmod(file.c_str(), mode));
        start();
        EXPECT_EQ(mode, modeOf(file));
        EXPECT_EQ(kNew, readFile(file));
        fs::remove(file);
    }
}

TEST_F(SoftwareUpdateFile, TheModeOfALinksTargetStays) {
    writeFile(target, kOld);
    ASSERT_EQ(0, ::chmod(target.c_str(), 0660));
    linkTo(target);
    start();
    EXPECT_EQ(0660U, modeOf(target));
    EXPECT_EQ(kNew, readFile(target));
}

TEST_F(SoftwareUpdateFile, OwnerAndGroupStay) {
    ASSERT_EQ(0U, ::geteuid()) << "only root can give a file away";
    writeFile(file, kOld);
    ASSERT_EQ(0, ::chown(file.c_str(), 1234, 5678));
    start();
    EXPECT_EQ(1234U, statusOf(file).st_uid);
    EXPECT_EQ(5678U, statusOf(file).st_gid);
    EXPECT_EQ(kNew, readFile(file));
}

// A list that lets user 1234 read and write, too.
TEST_F(SoftwareUpdateFile, AnAccessControlListStays) {
    constexpr const char* kName = "system.posix_acl_access";
    static constexpr std::string_view kList(
        "\2\0\0\0"
        "\1\0\6\0\xff\xff\xff\xff"
        "\2\0\6\0\xd2\4\0\0"
        "\4\0\4\0\xff\xff\xff\xff"
        "\20\0\6\0\xff\xff\xff\xff"
        "\40\0\4\0\xff\xff\xff\xff",
        44);
    writeFile(file, kOld);
    ASSERT_EQ(0, ::setxattr(file.c_str(), kName, kList.data(), kList.size(), 0))
        << "no access control lists in the temporary directory";
    start();
    std::array<char, 256> list{};
    const ssize_t size = ::getxattr(file.c_str(), kName, list.data(), list.size());
    ASSERT_EQ(44, size);
    EXPECT_EQ(kList, std::string_view(list.data(), 44));
    EXPECT_EQ(kNew, readFile(file));
}

TEST_F(SoftwareUpdateFile, AnOwnerThatTheDaemonMayNotGiveAFileToStays) {
    ASSERT_EQ(0U, ::geteuid()) << "only root can be somebody else";
    fs::permissions(config, fs::perms(0777));
    writeFile(file, kOld);
    ASSERT_EQ(0, ::chmod(file.c_str(), 0666));
    startAsNobody();
    EXPECT_EQ(0U, statusOf(file).st_uid);
    EXPECT_EQ(0666U, modeOf(file));
    EXPECT_EQ(kNew, readFile(file));
    EXPECT_FALSE(fs::exists(file.string() + ".teskd.tmp"));
}

TEST_F(SoftwareUpdateFile, WhatSomebodyElseWriteProtectedStaysHis) {
    ASSERT_EQ(0U, ::geteuid()) << "only root can be somebody else";
    fs::permissions(config, fs::perms(0777));
    writeFile(file, kOld);
    ASSERT_EQ(0, ::chmod(file.c_str(), 0644));
    startAsNobody();
    EXPECT_EQ(0U, statusOf(file).st_uid);
    EXPECT_EQ(kOld, readFile(file));
    EXPECT_FALSE(fs::exists(file.string() + ".teskd.tmp"));
    EXPECT_EQ(notWritten("Permission denied"), log.lines());
}

TEST_F(SoftwareUpdateFile, ALinkWorksWhereTheTargetMayBeWrittenButNotItsFolder) {
    writeFile(target, kOld);
    ASSERT_EQ(0, ::chmod(target.c_str(), 0666));
    linkTo(target);
    fs::permissions(elsewhere, fs::perms(0555));
    startAsNobody();
    EXPECT_EQ(kNew, readFile(target));
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SoftwareUpdateFile, ALinkWorksWhereNoFolderMayBeWritten) {
    writeFile(target, kOld);
    ASSERT_EQ(0, ::chmod(target.c_str(), 0666));
    linkTo(target);
    for (const fs::path& folder : {config, elsewhere}) fs::permissions(folder, fs::perms(0555));
    startAsNobody();
    EXPECT_EQ(kNew, readFile(target));
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SoftwareUpdateFile, NothingWorksWhereNeitherFileNorFolderMayBeWritten) {
    writeFile(target, kOld);
    linkTo(target);
    fs::permissions(elsewhere, fs::perms(0555));
    startAsNobody();
    EXPECT_EQ(kOld, readFile(target));
    EXPECT_EQ(notWritten("Permission denied"), log.lines());
}

}  // namespace
}  // namespace teskd::test
