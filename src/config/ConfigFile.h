// Reading and writing of whole small files, with the care that a start-up needs.
#pragma once

#include <optional>
#include <string>

namespace teskd {

// Whole files in one go. Never follows a symbolic link when it writes, never blocks on a device.
//
// Threads: any. Errors: results only, nothing is thrown but std::bad_alloc.
class ConfigFile {
  public:
    // Files beyond this size, in bytes, are no configuration.
    static constexpr std::size_t LARGEST = 1048576;

    // The content of a regular file; nothing for a missing one, a directory, a device, a file that
    // cannot be read, or one larger than LARGEST.
    static std::optional<std::string> read(const std::string& path);

    // Replaces the file by way of a temporary file beside it (synced, then renamed), so that a
    // power cut or a full disk leaves the old content or the new. Where the directory does not
    // allow that, writes in place, but never into a file that has a second name or that is somebody
    // else's in a sticky directory. False when neither worked, with the reason in errno.
    static bool replace(const std::string& path, const std::string& content);
};

}  // namespace teskd
