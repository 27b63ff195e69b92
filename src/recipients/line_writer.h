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
  // `sink` must outlive it.
  explicit LineWriter(ByteSink& sink) : sink_(sink), buffer_(new char[kWriteBytes]) {}

  // The line and CR LF. What the sink says to it is kept for Finish.
  void Write(std::string_view line) {
    if (line.size() + kLineEnd.size() > kWriteBytes - used_) Flush();
    if (line.size() + kLineEnd.size() > kWriteBytes) {
      Put(line);
      Put(kLineEnd);
      return;
    }
    CopyShort(buffer_.get() + used_, line.data(), line.size());
    used_ += line.size();
    std::memcpy(buffer_.get() + used_, kLineEnd.data(), kLineEnd.size());
    used_ += kLineEnd.size();
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
  std::unique_ptr<char[]> buffer_;
  std::size_t used_ = 0;
  Status status_;
};

}  // namespace vespro::ModRecipients
