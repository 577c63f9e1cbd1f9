#include "config/ConfigFile.h"

#include <cerrno>
#include <climits>
#include <csignal>
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

// A handler, because an ignored signal would stay ignored in the program that may take over.
void ignoreSignal(int) {}

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

// Where a chain of symbolic links leads to; there need be nothing. The path itself when it is none.
std::string behindLinks(std::string path) {
    constexpr int MOST_LINKS = 40;  // as many as the system follows
    char link[PATH_MAX];
    for (int followed = 0; followed < MOST_LINKS; ++followed) {
        const ssize_t size = ::readlink(path.c_str(), link, sizeof link);
        if (size <= 0) return path;
        const std::string next(link, static_cast<std::size_t>(size));
        path = next.front() == '/' ? next : directoryOf(path) + next;
    }
    return path;
}

// A file beside the path that is to take its place; removed when it does not. What has its name
// already is left over from a power cut: the name is such as nobody else gives.
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

    // Takes over the other file's owner, group and mode. False when the daemon may not give files
    // to that owner.
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

// False when the disk has no room; true as well where it cannot be told beforehand.
bool reserve(int fd, std::size_t size) {
    if (fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0) return true;
    return errno != ENOSPC && errno != EDQUOT && errno != EFBIG;
}

// The room comes first and the cut last, so that a full disk leaves the old content.
bool writeInPlace(const std::string& path, const std::string& content) {
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    return file.isOpen() && reserve(file.get(), content.size()) && writeAll(file.get(), content) &&
           ftruncate(file.get(), static_cast<off_t>(content.size())) == 0 && fsync(file.get()) == 0;
}

// Opening a device to write may have effects of its own (a watchdog starts), so only files are.
bool isFile(const struct stat& status) {
    if (S_ISREG(status.st_mode)) return true;
    errno = S_ISDIR(status.st_mode) ? EISDIR : S_ISLNK(status.st_mode) ? ELOOP : EEXIST;
    return false;
}

// What a new file would not keep: other names, an access control list.
bool hasMoreThanOwnership(const std::string& path, const struct stat& status) {
    return status.st_nlink > 1 || getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

// A write that fails, as on a full disk, is not tried again in place: there it could cost the old
// content.
bool rewrite(const std::string& path, const struct stat& old, const std::string& content) {
    if (hasMoreThanOwnership(path, old)) return writeInPlace(path, content);
    TemporaryFile file(path, PRIVATE_MODE);
    if (!file.isOpen() || !file.copyOwnership(old)) return writeInPlace(path, content);
    return file.write(content) && (file.moveIntoPlace() || writeInPlace(path, content));
}

// From now on a write beyond the limit of file sizes fails with EFBIG and does not end the process.
void catchSizeLimit() {
    std::signal(SIGXFSZ, ignoreSignal);
}

std::nullopt_t failed(int reason) {
    errno = reason;
    return std::nullopt;
}

}  // namespace

// The size that is told beforehand may be wrong (0 in /proc), so what is read counts.
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
    catchSizeLimit();
    TemporaryFile file(path, FILE_MODE);
    return file.isOpen() && file.write(content) && file.moveIntoPlace();
}

bool ConfigFile::update(const std::string& path, const std::string& content) {
    const std::string target = behindLinks(path);
    struct stat old {};
    if (lstat(target.c_str(), &old) != 0) return replace(target, content);
    catchSizeLimit();
    return isFile(old) && rewrite(target, old, content);
}

}  // namespace teskd
