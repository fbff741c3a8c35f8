#include "zarnic/error/error.h"

#include <cstring>

namespace zarnic {

TError::TError(const std::string& message) : message_(message) {}

const char* TError::what() const noexcept { return message_.c_str(); }

namespace sys {

TSysErr::TSysErr(const std::string& message) : TError(message) {}

// strerror and not strerror_r: the process is single-threaded, and the text is copied at once.
TSysCallErr::TSysCallErr(int errnoValue)
    : TSysErr(std::strerror(errnoValue)), errno_(errnoValue) {}

}  // namespace sys
}  // namespace zarnic
