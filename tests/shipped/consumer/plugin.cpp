#include <zarnic/error/system_error.h>
#include <zarnic/sys/exec.h>

#include <cerrno>

// As good as any other use of the libraries in a shared one.
extern "C" [[gnu::visibility("default")]] void open_by_plugin() {
    zarnic::sys::TExec run(zarnic::sys::TEArgs(zarnic::sys::el) << "true");
    if (run.run().code == 0)
        zarnic::throw_system_error("open", ENOENT);
}
