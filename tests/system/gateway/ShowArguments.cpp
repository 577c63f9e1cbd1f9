// Prints what it was called with, one argument a line, the program's own name included.

#include <cstdio>

int main(int argc, char* argv[]) {
    for (int i = 0; i < argc; ++i) std::printf("%d: %s\n", i, argv[i]);
    return 7;
}
