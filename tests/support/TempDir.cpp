#include "support/TempDir.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace teskd::test {

namespace fs = std::filesystem;

TempDir::TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string name = (base != nullptr && *base != '\0' ? base : "/tmp");
    name += "/teskd-test-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp " + name);
    }
    path_ = name;
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void writeFile(const fs::path& file, std::string_view content) {
    fs::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    if (!out) throw std::runtime_error("cannot write " + file.string());
}

std::string readFile(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + file.string());
    return {std::istreambuf_iterator<char>(in), {}};
}

void writeScript(const fs::path& file, std::string_view body) {
    writeFile(file, "#!/bin/sh\n" + std::string(body));
    fs::permissions(file, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                              fs::perms::others_read | fs::perms::others_exec);
}

}  // namespace teskd::test
