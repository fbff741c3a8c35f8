// The errno error family, for code that checks a system call itself. Callers can single out an
// errno value by type.
//
//   try {
//       zarnic::throw_system_error("open() failed", errno);
//   } catch (const zarnic::ExSystemError<EINTR>&) {
//       again = true;                  // interrupted
//   } catch (const zarnic::SystemError& error) {
//       std::puts(error.what());       // any other errno: error.error()
//   }
//
// Deliberately not a zarnic::TError: a handler for library errors does not catch these. The
// manager's front end prints the single word "Error" for them.

#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>

#include "zarnic/error/language.h"

namespace zarnic {

// A failed system call with the caller's message; what() adds the system's text.
class SystemError : public std::runtime_error {
  public:
    // `errnoValue` is errno as the failing call set it. Making or copying an error throws
    // std::bad_alloc where there is no memory for its message.
    SystemError(const std::string& message, int errnoValue);
    int error() const noexcept { return errno_; }

    // "message: text of errno", or the bare text when the message is empty. Composed on the
    // first call and kept; while memory for that is refused, the bare message is returned.
    // Valid as long as this error. A message with a NUL byte is cut there; the system's text
    // follows all the same.
    const char* what() const noexcept override;

  private:
    int errno_;
    mutable std::string composed_;
};

// The five errno values that callers may single out by type, by their Linux numbers: EPERM (1),
// ENOENT (2), EINTR (4), ECHILD (10) and EAGAIN (11).
template <int N>
concept SingledOutErrno = N == EPERM || N == ENOENT || N == EINTR || N == ECHILD || N == EAGAIN;

// A SystemError whose errno is always N. Any other N does not compile: nothing would ever throw
// it, and a handler for it would wait in vain.
template <int N>
requires SingledOutErrno<N>
class ExSystemError : public SystemError {
  public:
    // A SystemError of errno N.
    explicit ExSystemError(const std::string& message) : SystemError(message, N) {}
};

// Throws ExSystemError<errnoValue> for the five numbers above and a plain SystemError for any
// other. An `errnoValue` of 0 stands for the current errno, which always gives the plain class,
// whatever its value. Throws std::bad_alloc instead when the error cannot be made.
[[noreturn]] void throw_system_error(const std::string& message, int errnoValue);

}  // namespace zarnic
