// The library error family: the failures of the option and process libraries are TErrors,
// except what checkedOutput and waitChild of the process library say about a child.
//
//   try {
//       ...
//   } catch (const zarnic::TError& error) {
//       std::cout << error.message() << std::endl;
//   }
//
// Errors are thrown by value and caught by reference. The option errors stand with the class
// that raises them (lib/opt), the argument-list errors likewise (lib/sys).

#pragma once

#include <exception>
#include <string>

#include "zarnic/error/shared_handle.h"

namespace zarnic {

// Root of the family: a message that is complete when the error is made.
class TError : public std::exception {
  public:
    // Throws std::bad_alloc when the message cannot be copied.
    explicit TError(const std::string& message);

    // Shares the nested slot (count + 1) and copies the message.
    TError(const TError&) = default;
    TError& operator=(const TError&) = default;
    ~TError() override = default;

    // The message's own characters, up to a NUL byte if it holds one; valid as long as this
    // error. Never composes anything.
    const char* what() const noexcept override;

    // The message in its full length, NUL bytes included: an option name may be any bytes.
    const std::string& message() const noexcept { return message_; }

    // The slot for an error that caused this one. Nothing in the libraries fills it; it is
    // held shared so that the copies that a throw makes stay cheap.
    const SharedHandle<std::exception>& nested() const noexcept { return nested_; }

  private:
    std::string message_;
    SharedHandle<std::exception> nested_;
};

namespace sys {

// Base of all process-library errors.
class TSysErr : public TError {
  public:
    // Throws std::bad_alloc, as TError.
    explicit TSysErr(const std::string& message);
};

// A failed system call: the message is the system's bare text for the error number.
class TSysCallErr : public TSysErr {
  public:
    // `errnoValue` is errno as it was right after the failing call; the caller takes it, by
    // value, before anything else can change it. Throws std::bad_alloc.
    explicit TSysCallErr(int errnoValue);

    // The error number given at construction.
    int error() const noexcept { return errno_; }

  private:
    int errno_;
};

}  // namespace sys
}  // namespace zarnic
