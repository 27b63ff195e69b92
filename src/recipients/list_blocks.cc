#include "recipients/list_blocks.h"

#include <algorithm>
#include <cstring>
#include <system_error>
#include <utility>

#include "base/lines.h"
#include "recipients/distribution.h"
#include "recipients/row.h"

namespace vespro::ModRecipients {
namespace {

constexpr std::size_t kBlockBytes = 256 * 1024;
// The longest line, its CR LF, and one byte that stays free.
constexpr std::size_t kMaxBlockBytes = ModRow::kMaxLineBytes + 3;
static_assert(kBlockBytes > ModDistribution::kTextProbeBytes);

}  // namespace

Status ListStamp::CheckUnchanged() const {
  std::error_code error;
  if (std::filesystem::file_size(path, error) == bytes && !error &&
      std::filesystem::last_write_time(path, error) == written && !error) {
    return {};
  }
  return Status(Code::kResumable, "another program wrote to '" + ModFiles::ToUtf8(path) +
                                      "' meanwhile; it was left alone, try again");
}

ListBlocks::ListBlocks(std::string path, File file, ListStamp stamp)
    : path_(std::move(path)),
      file_(std::move(file)),
      stamp_(std::move(stamp)),
      block_(kBlockBytes, '\0') {}

Result<ListBlocks> ListBlocks::Open(std::string_view path) {
  ListStamp stamp{ModFiles::FromUtf8(path), 0, {}};
  Result<File> file = File::Open(stamp.path, File::Mode::kRead);
  if (!file.ok()) return file.status();
  Result<std::uint64_t> size = file->Size();
  if (!size.ok()) return size.status();
  stamp.bytes = size.value();
  std::error_code error;  // shows again in CheckUnchanged
  stamp.written = std::filesystem::last_write_time(stamp.path, error);
  ListBlocks blocks(std::string(path), std::move(file).value(), std::move(stamp));
  if (Status started = blocks.Start(); !started.ok()) return started;
  return blocks;
}

Status ListBlocks::Start() {
  while (!at_end_ && filled_ < ModDistribution::kTextProbeBytes) {
    if (Status filled = Fill(); !filled.ok()) return filled;
  }
  const std::string_view start = std::string_view(block_).substr(0, filled_);
  has_byte_order_mark_ = start.starts_with(ModRow::kByteOrderMark);
  if (has_byte_order_mark_) begin_ = ModRow::kByteOrderMark.size();
  return ModDistribution::CheckIsText(path_, start.substr(0, ModDistribution::kTextProbeBytes));
}

Status ListBlocks::Fill() {
  // The last byte stays free for the line end that the last line may lack.
  Result<std::size_t> count = file_.Read(block_.data() + filled_, block_.size() - 1 - filled_);
  if (!count.ok()) return count.status();
  filled_ += count.value();
  at_end_ = count.value() == 0;
  return {};
}

Result<ListBlocks::Block> ListBlocks::Next() {
  std::size_t end = EndOfWholeLines();
  if (end == begin_ && !at_end_) {
    std::memmove(block_.data(), block_.data() + begin_, filled_ - begin_);
    filled_ -= begin_;
    begin_ = 0;
    do {
      if (filled_ + 1 == block_.size()) {
        if (block_.size() == kMaxBlockBytes) return Overlong();
        block_.resize(std::min(2 * block_.size(), kMaxBlockBytes));
      }
      if (Status filled = Fill(); !filled.ok()) return filled;
      end = EndOfWholeLines();
    } while (end == 0 && !at_end_);
  }
  if (at_end_ && end < filled_) {
    if (block_[filled_ - 1] != '\n') block_[filled_++] = '\n';
    end = filled_;
  }
  const Block block{block_.data() + begin_, end - begin_};
  if (block.size > ModRow::kMaxLineBytes &&
      block.text().find_first_of("\r\n") > ModRow::kMaxLineBytes) {
    return Overlong();
  }
  if (std::memchr(block.data, '\0', block.size) != nullptr) return NoText();
  UnifyLineEnds(begin_, end);
  begin_ = end;
  return block;
}

// A CR in the last place may have its LF in the next block.
std::size_t ListBlocks::EndOfWholeLines() const {
  if (filled_ == begin_) return begin_;
  if (block_[filled_ - 1] == '\n') return filled_;
  const std::string_view sure(block_.data() + begin_, filled_ - 1 - begin_);
  const std::size_t end = sure.find_last_of("\r\n");
  return end == std::string_view::npos ? begin_ : begin_ + end + 1;
}

void ListBlocks::UnifyLineEnds(std::size_t begin, std::size_t end) {
  char* const data = block_.data() + begin;
  if (std::memchr(data, '\r', end - begin) == nullptr) return;
  const auto is_lone_cr = [data](std::size_t i) {
    return (data[i] == '\r') & (data[i + 1] != '\n');
  };
  if (CountIf(end - begin, is_lone_cr) == 0) return;
  for (std::size_t i = 0; i < end - begin; ++i) {
    if (is_lone_cr(i)) data[i] = '\n';
  }
}

// Only when something is wrong with a line it is worth knowing which one.
Status ListBlocks::Overlong() const {
  Result<LineReader> lines = LineReader::Open(ModFiles::FromUtf8(path_), ModRow::kMaxLineBytes);
  if (!lines.ok()) return lines.status();
  for (std::string_view line; lines->Next(line) && !lines->overlong();) {
  }
  return ModDistribution::OverlongLine(path_, lines->line_number());
}

Status ListBlocks::NoText() const {
  Result<LineReader> lines = LineReader::Open(ModFiles::FromUtf8(path_), ModRow::kMaxLineBytes);
  if (!lines.ok()) return lines.status();
  for (std::string_view line; lines->Next(line) && line.find('\0') == line.npos;) {
  }
  return ModDistribution::NoTextLine(path_, lines->line_number());
}

void LowerAscii(char* data, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    const char c = data[i];
    data[i] = static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
  }
}

Status GivenUp(std::string_view path) {
  return Status(Code::kCancelled, "stopped; '" + std::string(path) + "' is as it was");
}

Status TooLarge(std::string_view path) {
  return Status(Code::kBadInput,
                "'" + std::string(path) + "' is too large for this machine's memory");
}

}  // namespace vespro::ModRecipients
