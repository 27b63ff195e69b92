#include "recipients/load.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/files.h"
#include "base/memory.h"
#include "base/random.h"
#include "base/text.h"

namespace vespro::ModRecipients {
namespace {

void ReserveLarge(std::string& text, std::uint64_t size) {
  text.reserve(static_cast<std::size_t>(size));
  ModMemory::PreferLargePages(text.data(), text.capacity());
}

// A keyed hash: the key is new in every run, so that nobody can write a list whose addresses all
// fall into one place.
class Hasher {
 public:
  Hasher() {
    SystemRandomness randomness;
    seed_ = randomness.Next();
    factor_ = randomness.Next() | 1;
  }

  std::uint64_t operator()(std::string_view key) const {
    std::uint64_t hash = seed_ ^ key.size();
    const char* at = key.data();
    std::size_t left = key.size();
    for (; left >= 8; at += 8, left -= 8) hash = Mix(hash ^ Load(at, 8));
    if (left > 0) hash = Mix(hash ^ Load(at, left));
    return Mix(hash);
  }

 private:
  static std::uint64_t Load(const char* at, std::size_t size) {
    std::uint64_t word = 0;
    std::memcpy(&word, at, size);
    return word;
  }
  std::uint64_t Mix(std::uint64_t hash) const {
    hash *= factor_;
    return hash ^ (hash >> 32);
  }
  std::uint64_t seed_;
  std::uint64_t factor_;
};

// The set of addresses: open addressing, eight bytes a place. A place holds where the address's
// line begins among the kept ones, plus one, and sixteen bits of its hash; 0 is free.
class Places {
 public:
  // Room for `count` addresses without growing. False when the system has no such memory.
  bool Reserve(std::uint64_t count) {
    if (count > kMaxCount) return false;
    size_ = static_cast<std::size_t>(count + count / 4 + 16);
    room_ = static_cast<std::size_t>(count);
    // Zeroed pages that nobody touches cost nothing, as when most lines are duplicates.
    places_.reset(static_cast<std::uint64_t*>(std::calloc(size_, sizeof(std::uint64_t))));
    if (places_ == nullptr) return false;
    ModMemory::PreferLargePages(places_.get(), size_ * sizeof(std::uint64_t));
    return true;
  }
  std::size_t room() const { return room_; }

  void Prefetch(std::uint64_t hash) const { __builtin_prefetch(&places_[First(hash)]); }

  // Where the kept line begins that a look-up will be compared with first; false when with none.
  bool Likely(std::uint64_t hash, std::size_t& begin) const {
    const std::uint64_t place = places_[First(hash)];
    begin = static_cast<std::size_t>((place >> 16) - 1);
    return place != 0 && (place & 0xFFFF) == (hash & 0xFFFF);
  }

  // True when no kept line `is_same(begin)`; then `begin` has been noted down for this one.
  template <class IsSame>
  bool Insert(std::uint64_t hash, std::uint64_t begin, const IsSame& is_same) {
    const std::uint64_t tag = hash & 0xFFFF;
    for (std::size_t i = First(hash);; i = i + 1 < size_ ? i + 1 : 0) {
      std::uint64_t& place = places_[i];
      if (place == 0) {
        place = (begin + 1) << 16 | tag;
        return true;
      }
      if ((place & 0xFFFF) == tag && is_same(static_cast<std::size_t>((place >> 16) - 1))) {
        return false;
      }
    }
  }

 private:
  // First() spreads over at most 2^32 places.
  static constexpr std::uint64_t kMaxCount = 3'000'000'000;
  std::size_t First(std::uint64_t hash) const {
    return static_cast<std::size_t>(((hash >> 32) * std::uint64_t{size_}) >> 32);
  }

  struct Free {
    void operator()(std::uint64_t* places) const { std::free(places); }
  };
  std::unique_ptr<std::uint64_t[], Free> places_;
  std::size_t size_ = 0;
  std::size_t room_ = 0;
};

// Lines go through in small groups, so that the memory that a line's look-up needs is on its way
// while the next ones are split and hashed.
class Deduplicator {
 public:
  Deduplicator(const Distribution& list, const OnLine& on_line)
      : list_(list), on_line_(on_line), is_csv_(list.kind == ListKind::kCsv) {}

  Status Run(ListBlocks& blocks) {
    if (blocks.has_byte_order_mark()) head_ = ModRow::kByteOrderMark;
    for (bool first = true;; first = false) {
      Result<ListBlocks::Block> block = blocks.Next();
      if (!block.ok()) return block.status();
      std::string_view lines = block->text();
      if (lines.empty()) break;
      if (!is_csv_) LowerAscii(block->data, block->size);
      if (first) {
        if (Status started = Start(lines, blocks.file_bytes()); !started.ok()) return started;
      }
      while (!lines.empty()) {
        if (Status taken = Take(TakeLine(lines)); !taken.ok()) return taken;
      }
      if (Status finished = FinishGroup(); !finished.ok()) return finished;
    }
    return {};
  }

  Status Write(const std::filesystem::path& path) const {
    Result<AtomicFile> file = AtomicFile::Create(path);
    if (!file.ok()) return file.status();
    if (Status status = file->Write(head_); !status.ok()) return status;
    if (Status status = file->Write(kept_); !status.ok()) return status;
    return file->Commit();
  }

  Loaded& loaded() { return loaded_; }

 private:
  static constexpr std::string_view kLineEnd = "\r\n";

  struct Pending {
    std::string_view line;  // what is kept: the address of a TEXT list, a CSV table's row
    std::string_view key;
    std::string address;  // where `key` points unless it is a piece of the block
    std::uint64_t hash = 0;
  };

  // Memory for as many lines as the first block promises. Memory that is only reserved and never
  // touched costs nothing.
  Status Start(std::string_view lines, std::uint64_t file_bytes) {
    const char* const data = lines.data();
    const std::size_t count =
        CountIf(lines.size(), [data](std::size_t i) { return data[i] == '\n'; });
    const double share = static_cast<double>(file_bytes) / static_cast<double>(lines.size());
    const auto promised =
        static_cast<std::uint64_t>(static_cast<double>(count) * share * 1.05) + 16;
    if (file_bytes + promised > kept_.max_size() || !places_.Reserve(promised)) return TooLarge();
    ReserveLarge(kept_, file_bytes + promised);
    ReserveLarge(loaded_.duplicate_addresses, file_bytes);
    return {};
  }

  Status TooLarge() const {
    return Status(Code::kBadInput, "'" + list_.path + "' has too many lines for this machine");
  }

  Status Take(std::string_view line) {
    if (on_line_ && !on_line_()) return GivenUp(list_.path);
    if (++line_number_ == 1 && is_csv_ && list_.header) {
      if (!line.empty()) head_.append(line).append(kLineEnd);
      return {};
    }
    Pending& pending = group_[group_size_];
    if (is_csv_ ? !FindCsvKey(line, pending) : !FindTextKey(line, pending)) return {};
    pending.hash = hasher_(pending.key);
    places_.Prefetch(pending.hash);
    return ++group_size_ == group_.size() ? FinishGroup() : Status();
  }

  static bool FindTextKey(std::string_view line, Pending& pending) {
    line = ModText::Trim(line);
    if (!ModText::IsAscii(line)) {
      pending.address.assign(line);
      ModRow::LowerAddress(pending.address);
      line = pending.address;
    }
    pending.line = pending.key = line;
    return !line.empty();
  }

  bool FindCsvKey(std::string_view line, Pending& pending) {
    const ModRow::Found found = ModRow::AddressOf(line, list_.kind, list_.column, pending.address);
    if (found == ModRow::Found::kShortRow) NoteShortRow();
    pending.line = line;
    pending.key = pending.address;
    return found == ModRow::Found::kAddress;
  }

  void NoteShortRow() {
    ++loaded_.short_rows;
    if (loaded_.short_row_lines.size() < Loaded::kMaxShortRowLines) {
      loaded_.short_row_lines.push_back(line_number_);
    }
  }

  Status FinishGroup() {
    while (loaded_.distinct + group_size_ > places_.room()) {
      if (!Grow()) return TooLarge();
    }
    for (std::size_t i = 0; i < group_size_; ++i) {
      std::size_t begin = 0;
      if (places_.Likely(group_[i].hash, begin)) __builtin_prefetch(kept_.data() + begin);
    }
    for (std::size_t i = 0; i < group_size_; ++i) Finish(group_[i]);
    group_size_ = 0;
    return {};
  }

  void Finish(const Pending& pending) {
    const std::string_view key = pending.key;
    const auto is_same = [this, key](std::size_t begin) { return KeptKeyIs(begin, key); };
    if (places_.Insert(pending.hash, kept_.size(), is_same)) {
      ++loaded_.distinct;
      kept_.append(pending.line).append(kLineEnd);
    } else {
      ++loaded_.duplicates;
      loaded_.duplicate_addresses.append(key).append(1, '\n');
    }
  }

  bool KeptKeyIs(std::size_t begin, std::string_view key) {
    if (!is_csv_) {
      return key.size() < kept_.size() - begin && kept_[begin + key.size()] == '\r' &&
             std::memcmp(kept_.data() + begin, key.data(), key.size()) == 0;
    }
    // Asked only when the hashes agree, so nearly every time this row is the one.
    return KeptKey(begin) == key;
  }

  std::string_view KeptKey(std::size_t begin) {
    const std::string_view line =
        std::string_view(kept_).substr(begin, kept_.find('\r', begin) - begin);
    if (!is_csv_) return line;
    ModRow::AddressOf(line, list_.kind, list_.column, kept_address_);
    return kept_address_;
  }

  // The lines grew shorter than they began, so there are more of them than promised.
  bool Grow() {
    if (!places_.Reserve(std::uint64_t{places_.room()} * 2)) return false;
    const auto never = [](std::size_t) { return false; };
    for (std::size_t begin = 0; begin < kept_.size();) {
      places_.Insert(hasher_(KeptKey(begin)), begin, never);
      begin = kept_.find('\n', begin) + 1;
    }
    return true;
  }

  const Distribution& list_;
  const OnLine& on_line_;
  const bool is_csv_;
  std::string head_;  // the byte-order mark and the header row
  std::string kept_;  // the lines of a rewritten file
  std::uint64_t line_number_ = 0;
  Hasher hasher_;
  Places places_;
  std::array<Pending, 32> group_;
  std::size_t group_size_ = 0;
  std::string kept_address_;
  Loaded loaded_;
};

}  // namespace

Result<Loaded> LoadAndDeduplicate(const Distribution& list, const OnLine& on_line) {
  Deduplicator deduplicator(list, on_line);
  {
    // Closed before it is replaced: Windows does not replace an open file.
    Result<ListBlocks> blocks = ListBlocks::Open(list.path);
    if (!blocks.ok()) return blocks.status();
    if (blocks->file_bytes() == 0) return Status(Code::kBadInput, std::string(kBlankFile));
    if (Status run = deduplicator.Run(blocks.value()); !run.ok()) return run;
  }
  Loaded& loaded = deduplicator.loaded();
  if (loaded.duplicates > 0) {
    Status written = deduplicator.Write(ModFiles::FromUtf8(list.path));
    if (!written.ok()) return written;
    loaded.rewritten = true;
  }
  return std::move(loaded);
}

}  // namespace vespro::ModRecipients
