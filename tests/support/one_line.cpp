// A program of one line, linked as the product is: what it calls, the C library calls of its
// own accord. With one argument it forks; with two it also asks for the text of an error, and
// for more memory than the heap begins with.

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

int main(int count, char** /*arguments*/) {
    return (count > 1 && ::fork() < 0) ||
           (count > 2 && std::string(100'000, *std::strerror(ENOENT)).empty());
}
