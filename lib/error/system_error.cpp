#include "zarnic/error/system_error.h"

#include <cerrno>
#include <cstring>

namespace zarnic {

SystemError::SystemError(const std::string& message, int errnoValue)
    : std::runtime_error(message), errno_(errnoValue) {}

const char* SystemError::what() const noexcept {
    const char* const base = std::runtime_error::what();
    // Once composed, the text stays where it is: earlier results of this call point at it.
    if (!composed_.empty()) {
        return composed_.c_str();
    }
    try {
        // Composed aside: a half-made text must not be taken for the finished one next time.
        std::string text(base);
        if (!text.empty()) {
            text += ": ";
        }
        text += std::strerror(errno_);
        composed_.swap(text);
    } catch (...) {
        // No memory: half an answer is better than std::terminate out of a noexcept function.
        return base;
    }
    return composed_.c_str();
}

void throw_system_error(const std::string& message, int errnoValue) {
    // Before all else: what a throw asks of the heap may change it.
    const int error = errnoValue != 0 ? errnoValue : errno;
    switch (errnoValue) {
        case EPERM:
            throw ExSystemError<EPERM>(message);
        case ENOENT:
            throw ExSystemError<ENOENT>(message);
        case EINTR:
            throw ExSystemError<EINTR>(message);
        case EAGAIN:
            throw ExSystemError<EAGAIN>(message);
        case ECHILD:
            throw ExSystemError<ECHILD>(message);
        default:
            // Deliberate: the errno fallback is not dispatched again, so a caller that passes 0
            // always gets the plain class and its handlers by number never see a guess.
            throw SystemError(message, error);
    }
}

}  // namespace zarnic
