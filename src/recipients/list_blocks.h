// recipients/list_blocks.h - a distribution file in large blocks of whole lines, for the operations
// that go through all of it. Bytes as they are in the file. One thread per object.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/status.h"

namespace vespro::ModRecipients {

// Called once for each line read. False: the operation is given up: kCancelled, the file as it was.
using OnLine = std::function<bool()>;

// What a file was when it was opened. Ask before it is replaced by what was made of it: lines that
// another program appended meanwhile would be lost.
struct ListStamp {
  std::filesystem::path path;
  std::uint64_t bytes = 0;
  std::filesystem::file_time_type written;

  // kResumable when the file is another now. Says that it was left alone.
  Status CheckUnchanged() const;
};

class ListBlocks {
 public:
  // `path` is UTF-8. kNotFound, or kBadInput: a folder, a device, or no text.
  static Result<ListBlocks> Open(std::string_view path);

  // The next lines, each ended by LF, with a CR before it where the file has CR LF; empty at the
  // end. The first ones are without a byte-order mark. Valid until the next call, and free to be
  // changed. kBadInput when a line is longer than ModRow::kMaxLineBytes, or no text; memory stays
  // at that.
  struct Block {
    char* data = nullptr;
    std::size_t size = 0;
    std::string_view text() const { return {data, size}; }
  };
  Result<Block> Next();

  bool has_byte_order_mark() const { return has_byte_order_mark_; }
  const ListStamp& stamp() const { return stamp_; }

 private:
  ListBlocks(std::string path, File file, ListStamp stamp);
  Status Start();
  Status Fill();
  std::size_t EndOfWholeLines() const;
  void UnifyLineEnds(std::size_t begin, std::size_t end);
  Status Overlong() const;
  Status NoText() const;

  std::string path_;
  File file_;
  ListStamp stamp_;
  std::string block_;
  std::size_t begin_ = 0;   // of what was not yet given
  std::size_t filled_ = 0;  // how much of the block was read
  bool at_end_ = false;
  bool has_byte_order_mark_ = false;
};

// How long a block's first line is, up to its LF. Of lines as short as an address all is looked at
// in one go, since a way out at each word is guessed wrong too often.
inline std::size_t LineLength(std::string_view lines) {
  static_assert(std::endian::native == std::endian::little);
  constexpr std::size_t kWords = 4;
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  if (lines.size() >= kWords * sizeof(std::uint64_t)) {
    std::uint64_t hit = 0;
    std::size_t before = 0;
    for (std::size_t i = kWords; i-- > 0;) {
      std::uint64_t word = 0;
      std::memcpy(&word, lines.data() + i * sizeof(word), sizeof(word));
      word ^= kOnes * '\n';
      // The lowest bit that is set belongs to the first LF; others above it may be wrong.
      const std::uint64_t found = (word - kOnes) & ~word & (kOnes << 7);
      before = found != 0 ? i * sizeof(word) : before;
      hit = found != 0 ? found : hit;
    }
    if (hit != 0) return before + static_cast<std::size_t>(std::countr_zero(hit)) / 8;
  }
  return std::min(lines.find('\n'), lines.size());
}

// Takes the first line off a block's text, without its line end.
inline std::string_view TakeLine(std::string_view& lines) {
  std::string_view line = lines.substr(0, LineLength(lines));
  lines.remove_prefix(line.size() + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

// How often `counts(i)` is true below `size`. Short inner rounds let the compiler count in bytes,
// sixteen at a time, as long as `counts` has no way to end early: "&", not "&&".
template <class Predicate>
std::size_t CountIf(std::size_t size, const Predicate& counts) {
  constexpr std::size_t kRound = 240;
  std::size_t total = 0;
  std::size_t i = 0;
  for (; i + kRound <= size; i += kRound) {
    unsigned char round = 0;
    for (std::size_t k = 0; k < kRound; ++k) {
      round = static_cast<unsigned char>(round + (counts(i + k) ? 1U : 0U));
    }
    total += round;
  }
  for (; i < size; ++i) total += counts(i) ? 1U : 0U;
  return total;
}

// For ASCII only: elsewhere a letter's byte may be a piece of another character.
void LowerAscii(char* data, std::size_t size);

// What an operation says that its OnLine gave up.
Status GivenUp(std::string_view path);
// What an operation says that has no memory for the list: kBadInput.
Status TooLarge(std::string_view path);

}  // namespace vespro::ModRecipients
