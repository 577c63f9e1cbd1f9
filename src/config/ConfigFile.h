// Reading and writing of whole small files, with the care that a start-up needs.
#pragma once

#include <optional>
#include <string>

namespace teskd {

// Whole files in one go. Never blocks on a device, never writes to one.
//
// Threads: any. Errors: results only, nothing is thrown but std::bad_alloc.
class ConfigFile {
  public:
    // Files beyond this size, in bytes, are no configuration.
    static constexpr std::size_t LARGEST = 1048576;

    // The content of a regular file. Nothing, with the reason in errno, for a missing one, a
    // directory (EISDIR), a device (EINVAL), a file that cannot be read, or one larger than LARGEST
    // (EFBIG).
    static std::optional<std::string> read(const std::string& path);

    // Replaces the file by a new one: a temporary file beside it is synced and renamed, so that a
    // power cut or a full disk leaves the old content or the new. A link at the name is replaced
    // and not followed, so that nobody who may create files in the directory redirects the write.
    // False when it failed, with the reason in errno.
    static bool replace(const std::string& path, const std::string& content);

    // Changes the content of a file that is the administrator's, and nothing else about it. A
    // symbolic link is followed and stays; owner, group and mode stay. Works like replace() on the
    // file behind the links. Written in place is a file that has several names or an access control
    // list, one whose owner this process may not set, and one in a directory that takes no new
    // file. A missing file is created. False when it could not be written, or is no regular file
    // (EISDIR, EEXIST, ELOOP), with the reason in errno.
    static bool update(const std::string& path, const std::string& content);
};

}  // namespace teskd
