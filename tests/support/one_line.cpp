// A program of few lines, linked as the product is: what it calls, the C and C++ libraries call
// of their own accord. With one argument it forks; with two it also asks for the text of an
// error, and for more memory than the heap begins with; with three it throws and catches, too.

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

bool throws() {
    try {
        throw 1;
    } catch (int) {
        return true;
    }
}

}  // namespace

int main(int count, char** /*arguments*/) {
    return (count > 1 && ::fork() < 0) ||
           (count > 2 && std::string(100'000, *std::strerror(ENOENT)).empty()) ||
           (count > 3 && !throws());
}
