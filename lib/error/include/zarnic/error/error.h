// The library error family. Every failure of the option and process libraries is a TError, with
// these exceptions: checkedOutput throws std::runtime_error for a child that failed, waitOnce
// and waitChild throw zarnic::SystemError for a wait that failed, and a lack of memory is
// std::bad_alloc.
//
//   try {
//       parser.check();
//   } catch (const zarnic::TError& error) {
//       std::puts(error.message().c_str());
//   }
//
// Errors are thrown by value and caught by reference. Making or copying one throws
// std::bad_alloc where there is no memory for its message. Option errors and argument-list
// errors are declared with the class that raises them ("zarnic/opt/options.h",
// "zarnic/opt/parsing.h", "zarnic/sys/exec_args.h").

#pragma once

#include <exception>
#include <string>

#include "zarnic/error/shared_handle.h"

namespace zarnic {

// Root of the family: a message that is complete when the error is made.
class TError : public std::exception {
  public:
    // Copies the message.
    explicit TError(const std::string& message);

    // Copies the message and shares the nested slot.
    TError(const TError&) = default;
    TError& operator=(const TError&) = default;
    ~TError() override = default;

    // The message as a C string, which ends at the message's first NUL byte. Valid as long as
    // this error.
    const char* what() const noexcept override;

    // The message in its full length, NUL bytes included. Valid as long as this error.
    const std::string& message() const noexcept { return message_; }

    // The slot for an error that caused this one; the copies of this error share it. Nothing in
    // the libraries fills it.
    const SharedHandle<std::exception>& nested() const noexcept { return nested_; }

  private:
    std::string message_;
    SharedHandle<std::exception> nested_;
};

namespace sys {

// Base of all process-library errors.
class TSysErr : public TError {
  public:
    // As TError.
    explicit TSysErr(const std::string& message);
};

// A failed system call: the message is the system's bare text for the error number.
class TSysCallErr : public TSysErr {
  public:
    // errno as the failing call left it. The caller copies it first thing after the call, since
    // anything else may change it.
    explicit TSysCallErr(int errnoValue);
    int error() const noexcept { return errno_; }

  private:
    int errno_;
};

}  // namespace sys
}  // namespace zarnic
