// writer N: writes N bytes and ends. The program whose output the captures read.

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
    static char block[65536];
    long left = argc == 2 ? atol(argv[1]) : 0;
    memset(block, 'x', sizeof block);
    while (left > 0) {
        const size_t part = (size_t)left < sizeof block ? (size_t)left : sizeof block;
        const ssize_t written = write(STDOUT_FILENO, block, part);
        if (written <= 0) {
            return 1;
        }
        left -= written;
    }
    return 0;
}
