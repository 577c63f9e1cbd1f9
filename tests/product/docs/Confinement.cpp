#include "docs/Confinement.h"

namespace teskd::test {

std::vector<std::string> confined(const std::vector<std::string>& command,
                                  const std::string& writable) {
    std::vector<std::string> words = {
        "bwrap",         "--unshare-user", "--cap-drop", "ALL",  "--die-with-parent",
        "--unshare-net", "--unshare-pid",  "--ro-bind",  "/",    "/",
        "--dev",         "/dev",           "--proc",     "/proc"};
    if (!writable.empty()) words.insert(words.end(), {"--bind", writable, writable});
    words.push_back("--");
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

}  // namespace teskd::test
