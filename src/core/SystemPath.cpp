#include "core/SystemPath.h"

#include <cstdlib>

namespace teskd {

std::string systemPath(const std::string& absolute) {
    const char* root = secure_getenv("TESKD_ROOT");
    return root == nullptr ? absolute : root + absolute;
}

}  // namespace teskd
