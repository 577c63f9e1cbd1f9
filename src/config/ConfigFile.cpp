#include "config/ConfigFile.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Descriptor.h"
#include "core/Log.h"

namespace teskd {

namespace {

constexpr mode_t FILE_MODE = 0644;

// A handler, because an ignored signal would stay ignored in the program that may take over.
void ignoreSignal(int) {}

bool isConfiguration(int fd) {
    constexpr off_t largest = ConfigFile::LARGEST;
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= largest;
}

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

// True where everybody may make files and only touch their own.
bool isSticky(const std::string& directory) {
    struct stat status {};
    return stat(directory.c_str(), &status) == 0 && (status.st_mode & S_ISVTX) != 0;
}

// True when the directory, rather than the moment, is what does not allow a new file in it.
bool isForbidden(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY ||
           error == EEXIST || error == ENAMETOOLONG;
}

Descriptor createNew(const std::string& path) {
    ::unlink(path.c_str());  // left over from a power cut
    return Descriptor(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, FILE_MODE));
}

// A file that has a second name is somebody else's too.
bool isOurs(int fd, const std::string& path) {
    struct stat status {};
    const bool known = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
    if (known && (status.st_uid == geteuid() || !isSticky(directoryOf(path)))) return true;
    errno = EEXIST;
    return false;
}

// False when the disk has no room; true as well where it cannot be told beforehand.
bool reserve(int fd, std::size_t size) {
    if (fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0) return true;
    return errno != ENOSPC && errno != EDQUOT && errno != EFBIG;
}

// The room comes first and the cut last, so that a full disk leaves the old content.
bool writeInPlace(const std::string& path, const std::string& content) {
    const Descriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, FILE_MODE));
    return file.isOpen() && isOurs(file.get(), path) && reserve(file.get(), content.size()) &&
           writeAll(file.get(), content) &&
           ftruncate(file.get(), static_cast<off_t>(content.size())) == 0 && fsync(file.get()) == 0;
}

// A path that leads to no file is as good as an empty one; what the machine could not read is worth
// a line.
std::nullopt_t unreadable(const std::string& path) {
    if (errno == EIO || errno == EMFILE || errno == ENFILE || errno == ENOMEM) {
        Log::write(Log::WARNING, "ZqConfig: Cannot read %s: %s", path.c_str(),
                   std::strerror(errno));
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> ConfigFile::read(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen()) return unreadable(path);
    if (!isConfiguration(file.get())) return std::nullopt;
    std::string content;
    char block[4096];
    for (;;) {
        const ssize_t n = ::read(file.get(), block, sizeof block);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return unreadable(path);
        if (content.size() > LARGEST) return std::nullopt;
        if (n == 0) return content;
        content.append(block, static_cast<std::size_t>(n));
    }
}

// A full disk must not cost the old content, so nothing is truncated then.
bool ConfigFile::replace(const std::string& path, const std::string& content) {
    // Where files may not grow so large, a write fails with EFBIG instead of ending the process.
    std::signal(SIGXFSZ, ignoreSignal);
    const std::string temporary = path + ".tmp";
    const Descriptor file = createNew(temporary);
    if (!file.isOpen()) return isForbidden(errno) && writeInPlace(path, content);
    const bool written = writeAll(file.get(), content) && fsync(file.get()) == 0;
    if (written && std::rename(temporary.c_str(), path.c_str()) == 0) {
        syncDirectoryOf(path);
        return true;
    }
    const int reason = errno;
    ::unlink(temporary.c_str());
    errno = reason;
    return written && isForbidden(reason) && writeInPlace(path, content);
}

}  // namespace teskd
