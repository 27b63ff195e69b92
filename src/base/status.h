// base/status.h - how every module reports failure. A Status is small and by value; our code throws
// nothing. Any thread.
#pragma once

#include <cassert>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace vespro {

// What went wrong, as far as a caller may branch on it. The command line turns a code into its exit
// code, so a new kind of failure that a script should tell apart gets a code of its own here.
enum class Code {
  kOk,
  kUsage,        // the caller asked for something that makes no sense
  kBadInput,     // a file or value is there but can't be used
  kNotFound,     // a file is missing or can't be read
  kCannotWrite,  // a file or folder can't be made or written; a full disk is one cause
  kResumable,    // stopped half-way, nothing lost, may be run again
  kLogin,        // a server refused who we are
  kConfig,       // a setting or account is missing
  kCancelled,    // a person stopped it
  kTimedOut,     // the other side did not answer in time
  kUnavailable,  // a server or program can't be reached or started
  kInternal,     // a fault of ours
};

class [[nodiscard]] Status {
 public:
  Status() = default;
  Status(Code code, std::string text, std::uint32_t native = 0)
      : code_(code), native_(native), text_(std::move(text)) {}

  bool ok() const { return code_ == Code::kOk; }
  Code code() const { return code_; }
  // errno, GetLastError or HRESULT; 0 when the system had no part in it. For logs.
  std::uint32_t native() const { return native_; }
  // UTF-8, one line, for a person: what failed, on what, what to try. Holds no secret.
  const std::string& text() const { return text_; }

  // For the places where a failure is to have no effect. Say why at the call.
  void Ignore() const {}

 private:
  Code code_ = Code::kOk;
  std::uint32_t native_ = 0;
  std::string text_;
};

// A T, or a Status that is not ok.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value_(std::move(value)) {}         // NOLINT: implicit on purpose
  Result(Status status) : status_(std::move(status)) {  // NOLINT: implicit on purpose
    assert(!status_.ok() && "a Result without a value needs a reason");
  }

  bool ok() const { return value_.has_value(); }
  const Status& status() const { return status_; }
  T& value() & {
    assert(ok());
    return *value_;
  }
  const T& value() const& {
    assert(ok());
    return *value_;
  }
  T&& value() && {
    assert(ok());
    return *std::move(value_);
  }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }

 private:
  std::optional<T> value_;
  Status status_;
};

// The name of a code for logs and tests, such as "kBadInput".
const char* CodeName(Code code);

}  // namespace vespro
