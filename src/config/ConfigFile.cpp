#include "config/ConfigFile.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "core/Descriptor.h"

namespace teskd {

namespace {

constexpr mode_t FILE_MODE = 0644;
constexpr mode_t PRIVATE_MODE = 0600;

bool writeAll(int fd, const std::string& content) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

std::string directoryOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

void syncDirectoryOf(const std::string& path) {
    const Descriptor directory(
        ::open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.isOpen()) fsync(directory.get());
}

// The end of a chain of symbolic links, which need not exist. The path itself if it is no link.
std::string behindLinks(std::string path) {
    constexpr int MOST_LINKS = 40;  // the system's own limit
    char link[PATH_MAX];
    for (int followed = 0; followed < MOST_LINKS; ++followed) {
        const ssize_t size = ::readlink(path.c_str(), link, sizeof link);
        if (size <= 0) return path;
        const std::string next(link, static_cast<std::size_t>(size));
        path = next.front() == '/' ? next : directoryOf(path) + next;
    }
    return path;
}

// A file beside the path that is to replace it; removed on destruction unless it was moved into
// place. An existing file of its name is removed first: it is left over from a power cut, since
// nobody else gives files that name.
class TemporaryFile {
  public:
    TemporaryFile(const std::string& path, mode_t mode)
        : path_(path), temporary_(path + ".teskd.tmp") {
        ::unlink(temporary_.c_str());
        file_.reset(
            ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!file_.isOpen() || moved_) return;
        const int reason = errno;
        ::unlink(temporary_.c_str());
        errno = reason;
    }

    bool isOpen() const { return file_.isOpen(); }

    // Copies the other file's owner, group and mode. False if the daemon may not give files to that
    // owner.
    bool copyOwnership(const struct stat& other) {
        return fchown(file_.get(), other.st_uid, other.st_gid) == 0 &&
               fchmod(file_.get(), other.st_mode & ALL_PERMISSIONS) == 0;
    }

    bool write(const std::string& content) {
        return writeAll(file_.get(), content) && fsync(file_.get()) == 0;
    }

    bool moveIntoPlace() {
        if (std::rename(temporary_.c_str(), path_.c_str()) != 0) return false;
        moved_ = true;
        syncDirectoryOf(path_);
        return true;
    }

  private:
    static constexpr mode_t ALL_PERMISSIONS = 07777;

    const std::string path_;
    const std::string temporary_;
    Descriptor file_;
    bool moved_ = false;
};

// False if the disk has no room. True also where that cannot be determined beforehand.
bool reserve(int fd, std::size_t size) {
    if (fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0) return true;
    return errno != ENOSPC && errno != EDQUOT && errno != EFBIG;
}

// Reserves the space first and truncates last, so that a full disk leaves the old content.
bool writeInPlace(const std::string& path, const std::string& content) {
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    return file.isOpen() && reserve(file.get(), content.size()) && writeAll(file.get(), content) &&
           ftruncate(file.get(), static_cast<off_t>(content.size())) == 0 && fsync(file.get()) == 0;
}

// Only regular files are opened for writing: opening a device may have side effects (a watchdog
// starts).
bool isFile(const struct stat& status) {
    if (S_ISREG(status.st_mode)) return true;
    errno = S_ISDIR(status.st_mode) ? EISDIR : S_ISLNK(status.st_mode) ? ELOOP : EEXIST;
    return false;
}

// Whether the file has something that a new file would lose: other names, an access control list.
bool hasMoreThanOwnership(const std::string& path, const struct stat& status) {
    return status.st_nlink > 1 || getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

// A write that fails, for example on a full disk, is not retried in place, where it could destroy
// the old content.
bool rewrite(const std::string& path, const struct stat& old, const std::string& content) {
    if (hasMoreThanOwnership(path, old)) return writeInPlace(path, content);
    TemporaryFile file(path, PRIVATE_MODE);
    if (!file.isOpen() || !file.copyOwnership(old)) return writeInPlace(path, content);
    return file.write(content) && (file.moveIntoPlace() || writeInPlace(path, content));
}

std::nullopt_t failed(int reason) {
    errno = reason;
    return std::nullopt;
}

}  // namespace

// The size that the system reports may be wrong (0 in /proc), so the limit is checked against what
// was read.
std::optional<std::string> ConfigFile::read(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen()) return std::nullopt;
    struct stat status {};
    if (fstat(file.get(), &status) != 0) return std::nullopt;
    if (!S_ISREG(status.st_mode)) return failed(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    std::string content;
    char block[4096];
    for (;;) {
        const ssize_t n = ::read(file.get(), block, sizeof block);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::nullopt;
        if (n == 0) return content;
        content.append(block, static_cast<std::size_t>(n));
        if (content.size() > LARGEST) return failed(EFBIG);
    }
}

bool ConfigFile::replace(const std::string& path, const std::string& content) {
    TemporaryFile file(path, FILE_MODE);
    return file.isOpen() && file.write(content) && file.moveIntoPlace();
}

bool ConfigFile::update(const std::string& path, const std::string& content) {
    const std::string target = behindLinks(path);
    struct stat old {};
    if (lstat(target.c_str(), &old) != 0) return replace(target, content);
    return isFile(old) && rewrite(target, old, content);
}

}  // namespace teskd
