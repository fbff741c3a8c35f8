#include <unistd.h>

// What the C library does for every program, and with an argument for every fork. Built as the
// product is, so that what the product does itself is the difference.
int main(int count, char** /*arguments*/) { return count > 1 && ::fork() < 0 ? 1 : 0; }
