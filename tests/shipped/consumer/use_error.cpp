#include <zarnic/error/system_error.h>

#include <cerrno>
#include <cstdio>

int main() {
    try {
        zarnic::throw_system_error("open", ENOENT);
    } catch (const zarnic::ExSystemError<ENOENT>& error) {
        std::puts(error.what());
    }
}
