// A program that does nothing but load the C++ library: what any program takes.

#include <iostream>
#include <unistd.h>

int main() {
    std::cout << "idle" << std::endl;
    ::pause();
}
