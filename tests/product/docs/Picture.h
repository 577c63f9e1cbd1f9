// The words in a picture: what its nodes, edges and frames are called and labelled.
//
// Ownership: plain values. Threads: no state. Errors: std::runtime_error for a file that cannot be
// read.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace teskd::test {

// Those of an SVG text, in their order.
std::vector<std::string> wordsOf(const std::string& svg);

// The SVG that Graphviz makes of a picture's text now.
std::string render(const std::filesystem::path& dot);

}  // namespace teskd::test
