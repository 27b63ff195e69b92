// recipients/line_writer.h - a list's lines on their way into its new file. One thread per object.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "base/files.h"
#include "base/status.h"

namespace vespro::ModRecipients {

inline constexpr std::string_view kLineEnd = "\r\n";

// memcpy for what is mostly as long as an address: a call for each takes longer than the copy.
inline void CopyShort(char* to, const char* from, std::size_t size) {
  constexpr std::size_t kWord = 16;
  if (size < kWord || size > 2 * kWord) {
    std::memcpy(to, from, size);
  } else {
    std::memcpy(to, from, kWord);
    std::memcpy(to + size - kWord, from + size - kWord, kWord);
  }
}

// Lines on their way into a file.
class LineWriter {
 public:
  // Both must outlive it.
  LineWriter(ByteSink& sink, std::string_view line_end)
      : sink_(sink), line_end_(line_end), buffer_(new char[kWriteBytes]) {}

  // The line and its end. What the sink says to it is kept for Finish.
  void Write(std::string_view line) {
    const std::size_t bytes = line.size() + line_end_.size();
    if (bytes > kWriteBytes - used_) Flush();
    if (bytes > kWriteBytes) {
      Put(line);
      Put(line_end_);
      return;
    }
    char* const at = buffer_.get() + used_;
    CopyShort(at, line.data(), line.size());
    std::memcpy(at + line.size(), line_end_.data(), line_end_.size());
    used_ += bytes;
  }
  // Hands over the rest. The sink's first failure, if there was one.
  Status Finish() {
    Flush();
    return status_;
  }

 private:
  void Flush() { Put({buffer_.get(), std::exchange(used_, 0)}); }
  void Put(std::string_view bytes) {
    if (status_.ok()) status_ = sink_.Write(bytes);
  }

  static constexpr std::size_t kWriteBytes = 256 * 1024;
  ByteSink& sink_;
  std::string_view line_end_;
  std::unique_ptr<char[]> buffer_;
  std::size_t used_ = 0;
  Status status_;
};

}  // namespace vespro::ModRecipients
