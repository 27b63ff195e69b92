#include "base/lines.h"

#include <algorithm>

namespace vespro {
namespace {

constexpr std::size_t kBlockBytes = 256 * 1024;

// Where the first CR or LF is; npos when nowhere. memchr twice beats one byte-wise loop, and
// the second search is bounded by the first's hit.
std::size_t FindLineEnd(std::string_view text) {
  const std::size_t lf = text.find('\n');
  const std::size_t cr = text.substr(0, lf).find('\r');
  return std::min(lf, cr);
}

}  // namespace

bool NextLine(std::string_view& rest, std::string_view& line) {
  if (rest.empty()) return false;
  const std::size_t end = FindLineEnd(rest);
  line = rest.substr(0, end);
  if (end == std::string_view::npos) {
    rest = {};
    return true;
  }
  const bool cr_lf = rest[end] == '\r' && end + 1 < rest.size() && rest[end + 1] == '\n';
  rest.remove_prefix(end + (cr_lf ? 2 : 1));
  return true;
}

LineReader::LineReader(File file, std::uint64_t file_bytes, std::size_t max_line_bytes)
    : file_(std::move(file)), file_bytes_(file_bytes), max_line_bytes_(max_line_bytes) {}

Result<LineReader> LineReader::Open(const std::filesystem::path& path, std::size_t max_line_bytes) {
  Result<File> file = File::Open(path, File::Mode::kRead);
  if (!file.ok()) return file.status();
  Result<std::uint64_t> size = file->Size();
  if (!size.ok()) return size.status();
  return LineReader(std::move(file).value(), size.value(), max_line_bytes);
}

bool LineReader::Fill() {
  if (!status_.ok()) return false;
  block_.resize(
      static_cast<std::size_t>(std::min<std::uint64_t>(kBlockBytes, file_bytes_ - bytes_read_)));
  Result<std::size_t> count = file_.Read(block_.data(), block_.size());
  if (!count.ok()) {
    status_ = count.status();
    return false;
  }
  bytes_read_ += count.value();
  rest_ = std::string_view(block_).substr(0, count.value());
  if (skip_lf_ && !rest_.empty()) {
    if (rest_.front() == '\n') rest_.remove_prefix(1);
    skip_lf_ = false;
  }
  return count.value() > 0;
}

bool LineReader::Next(std::string_view& line) {
  line_.clear();
  overlong_ = false;
  bool began = false;
  for (;;) {
    while (rest_.empty()) {
      if (!Fill()) {
        if (!began || !status_.ok()) return false;
        line = line_;
        ++line_number_;
        return true;
      }
    }
    const std::size_t end = FindLineEnd(rest_);
    std::string_view piece = rest_.substr(0, end);
    if (line_.size() + piece.size() > max_line_bytes_) {
      overlong_ = true;
      piece = piece.substr(0, max_line_bytes_ - line_.size());
    }
    if (end == std::string_view::npos) {
      line_.append(piece);
      rest_ = {};
      began = true;
      continue;
    }
    if (rest_[end] == '\r') {
      if (end + 1 == rest_.size()) {
        skip_lf_ = true;
        rest_.remove_prefix(end + 1);
      } else {
        rest_.remove_prefix(rest_[end + 1] == '\n' ? end + 2 : end + 1);
      }
    } else {
      rest_.remove_prefix(end + 1);
    }
    if (began) {
      line_.append(piece);
      line = line_;
    } else {
      line = piece;
    }
    ++line_number_;
    return true;
  }
}

}  // namespace vespro
