#include <zarnic/error/system_error.h>

#include <cerrno>
#include <cstdio>

extern "C" void open_by_plugin();

int main() {
    try {
        open_by_plugin();
    } catch (const zarnic::ExSystemError<ENOENT>& error) {
        std::puts(error.what());
    }
}
