// base/lines.h - lines of a byte stream. CR LF, a lone CR and a lone LF each end a line; what
// is after the last line end is a line too, unless it is empty. Bytes, never text: nothing is
// decoded.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/status.h"

namespace vespro {

// Takes the first line off `rest`. False when there is none left. Views into the same bytes.
bool NextLine(std::string_view& rest, std::string_view& line);

// Reads a file's lines in blocks, so that a file of any length takes the memory of its longest
// line. What is appended to the file after it was opened is not read.
class LineReader {
 public:
  // A line longer than `max_line_bytes` is given cut to that many bytes, with `overlong` set.
  static Result<LineReader> Open(const std::filesystem::path& path,
                                 std::size_t max_line_bytes = std::size_t{1} << 30);

  // The next line, valid until the next call. False at the end, and after a failed read, which
  // status() then tells.
  bool Next(std::string_view& line);
  bool overlong() const { return overlong_; }
  // The number of the line that Next gave last, from 1.
  std::uint64_t line_number() const { return line_number_; }
  // How many bytes of the file are behind us, line ends included; for progress.
  std::uint64_t bytes_read() const { return bytes_read_; }
  // Where in the file the next line begins.
  std::uint64_t offset() const { return bytes_read_ - rest_.size(); }
  std::uint64_t file_bytes() const { return file_bytes_; }
  const Status& status() const { return status_; }

 private:
  LineReader(File file, std::uint64_t file_bytes, std::size_t max_line_bytes);
  bool Fill();

  File file_;
  std::uint64_t file_bytes_;
  std::size_t max_line_bytes_;
  std::string block_;
  std::string_view rest_;  // what is not yet given of block_
  std::string line_;       // a line that began in an earlier block
  bool skip_lf_ = false;   // the last block ended in CR
  bool overlong_ = false;
  std::uint64_t line_number_ = 0;
  std::uint64_t bytes_read_ = 0;
  Status status_;
};

}  // namespace vespro
