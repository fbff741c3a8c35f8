// Does nothing; with an argument, what may make the C library call for more than its own start:
// a fork, the text of an error, and more memory than the heap begins with. See library.py.

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

int main(int argc, char**) {
    return argc > 1 && (::fork() < 0 || std::string(100'000, *std::strerror(ENOENT)).empty());
}
