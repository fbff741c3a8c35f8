#include "zarnic/sys/pipe.h"

#include <unistd.h>

#include <cerrno>

namespace zarnic::sys {

void TPipe::open() {
    // Aside, so that a failed pipe(2) leaves the members as they were.
    int ends[2];
    if (::pipe(ends) < 0) {
        const int error = errno;
        throw TSysCallErr(error);
    }
    readEnd = ends[0];
    writeEnd = ends[1];
}

}  // namespace zarnic::sys
