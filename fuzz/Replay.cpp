// Feeds files to a fuzzer's function, each once: the corpus as an ordinary test.
//   fuzz_<name> FILE|DIRECTORY...

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/Fuzzer.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> files_below(const fs::path& path) {
    if (!fs::is_directory(path)) return {path};
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const fs::path& file) {
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);  // the last one named is the one that failed
    std::ifstream stream(file, std::ios::binary);
    const std::string input(std::istreambuf_iterator<char>(stream), {});
    const std::vector<std::uint8_t> bytes(input.begin(), input.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char* argv[]) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path& file : files_below(argv[i])) {
            replay(file);
            ++count;
        }
    }
    if (count > 0) return 0;
    std::fprintf(stderr, "No input to replay.\n");
    return 1;
}
