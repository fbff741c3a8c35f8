// A program that exports its symbols loads and leaves a library with the same archives in it.

#include <dlfcn.h>
#include <zarnic/sys/exec_args.h>

#include <cstdio>

int main(int /*argc*/, char** argv) {
    ::dlclose(::dlopen(argv[1], RTLD_NOW));
    std::puts((zarnic::sys::el + "still a list").at(0).c_str());
}
