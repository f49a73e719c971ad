// Exception types of the vector layer, and ondrix::Exception, the root of every exception the
// library raises (the framework's errors derive from it too). Keep the root inline: the
// framework includes this header without linking the vector library.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace ondrix {

/// The library's general exception and the root of all of its exceptions: one catch of
/// ondrix::Exception catches every error of every layer. what() is the fixed message, unchanged.
class Exception : public std::exception {
public:
  explicit Exception(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }
  const std::string& Message() const noexcept { return message_; }

private:
  std::string message_;
};

/// Raised by the vector library and the calculation base (through ERaise).
class EVecError : public Exception {
public:
  using Exception::Exception;
};

/// Raised when an operation is not supported by a class (for example writing a list item).
class ENoOperation : public Exception {
public:
  ENoOperation() : Exception("Operation not supported") {}
  using Exception::Exception;
};

/// Raises EVecError with the given message; the calculation base's way of failing.
[[noreturn]] void ERaise(const std::string& message);

}  // namespace ondrix
