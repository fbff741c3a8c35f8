// The descriptor pair of a pipe, and the one call that fills it.

#pragma once

#include "zarnic/error/error.h"  // for callers of open()

namespace zarnic::sys {

// Two descriptors as pipe(2) gives them; both 0 until then. Never closed by their end: which
// process closes which end is each preparer's own rule.
struct TPipe {
    int readEnd = 0;
    int writeEnd = 0;

    // Makes a new pipe. The earlier descriptors are overwritten, not closed, and neither end
    // is close-on-exec: children inherit them. Throws TSysCallErr and keeps the old values
    // when pipe(2) fails.
    void open();
};

}  // namespace zarnic::sys
