#include "recipients/load.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/code_page.h"
#include "base/files.h"
#include "base/random.h"
#include "base/text.h"

namespace vespro::ModRecipients {
namespace {

constexpr std::size_t kReadBytes = 1024 * 1024;
constexpr std::size_t kWriteBytes = 256 * 1024;
constexpr std::size_t kTextProbeBytes = 64 * 1024;

Result<std::string> ReadList(const std::filesystem::path& path) {
  Result<File> file = File::Open(path, File::Mode::kRead);
  if (!file.ok()) return file.status();
  Result<std::uint64_t> size = file->Size();
  if (!size.ok()) return size.status();
  std::string bytes;
  if (size.value() >= bytes.max_size()) {
    return Status(Code::kBadInput, "'" + ModFiles::ToUtf8(path) + "' is too large");
  }
  // Room for the line end that the last line may lack.
  bytes.reserve(static_cast<std::size_t>(size.value()) + 1);
  const auto block = std::make_unique_for_overwrite<char[]>(kReadBytes);
  for (;;) {
    Result<std::size_t> count = file->Read(block.get(), kReadBytes);
    if (!count.ok()) return count.status();
    if (count.value() == 0) return bytes;
    bytes.append(block.get(), count.value());
  }
}

// How often `counts(i)` is true below `size`. Short inner rounds let the compiler count in bytes,
// sixteen at a time.
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

// Makes every line end in LF, with a CR before it where the file has CR LF. Returns the lines.
std::size_t UnifyLineEnds(std::string& bytes) {
  if (bytes.back() != '\n') bytes += '\n';
  const char* const data = bytes.data();
  const std::size_t last = bytes.size() - 1;
  const auto is_lone_cr = [data](std::size_t i) { return data[i] == '\r' && data[i + 1] != '\n'; };
  if (CountIf(last, is_lone_cr) > 0) {
    for (std::size_t i = 0; i < last; ++i) {
      if (is_lone_cr(i)) bytes[i] = '\n';
    }
  }
  return CountIf(bytes.size(), [data](std::size_t i) { return data[i] == '\n'; });
}

std::size_t LineEnd(const std::string& bytes, std::size_t begin) {
  const void* const end = std::memchr(bytes.data() + begin, '\n', bytes.size() - begin);
  return static_cast<std::size_t>(static_cast<const char*>(end) - bytes.data());
}

// Lower-cases the lines that are not pure ASCII, by the same rules as a single address. A letter's
// other case may have more bytes, or fewer; from the first such line on the text is built anew.
void LowerBeyondAscii(std::string& bytes) {
  std::string rebuilt;
  std::string line;
  for (std::size_t begin = 0; begin < bytes.size();) {
    const std::size_t end = LineEnd(bytes, begin);
    const std::string_view old = std::string_view(bytes).substr(begin, end - begin);
    line.assign(old);
    if (!ModText::IsAscii(line)) ModRow::LowerAddress(line);
    if (rebuilt.empty() && line.size() == old.size()) {
      std::copy(line.begin(), line.end(), bytes.begin() + static_cast<std::ptrdiff_t>(begin));
    } else {
      if (rebuilt.empty()) {
        rebuilt.reserve(bytes.size() + bytes.size() / 16);
        rebuilt.assign(bytes, 0, begin);
      }
      rebuilt.append(line).append(1, '\n');
    }
    begin = end + 1;
  }
  if (!rebuilt.empty()) bytes = std::move(rebuilt);
}

void LowerAll(std::string& bytes) {
  unsigned char all = 0;
  for (char& c : bytes) {
    c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    all = static_cast<unsigned char>(all | static_cast<unsigned char>(c));
  }
  if ((all & 0x80) != 0) LowerBeyondAscii(bytes);
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

// The set of addresses: open addressing, eight bytes a place. A place holds the beginning of the
// address's line among the kept ones, plus one, and sixteen bits of its hash; 0 is free.
class Places {
 public:
  // Never full: a quarter more places than lines. False when the system has no such memory.
  bool Make(std::size_t lines) {
    if (lines > kMaxLines) return false;
    count_ = lines + lines / 4 + 16;
    // Zeroed pages that nobody touches cost nothing, as when most lines are duplicates.
    places_.reset(static_cast<std::uint64_t*>(std::calloc(count_, sizeof(std::uint64_t))));
    return places_ != nullptr;
  }

  void Prefetch(std::uint64_t hash) const { __builtin_prefetch(&places_[First(hash)]); }

  // True when no kept line `is_same(begin)`; then `begin` has been noted down for this one.
  template <class IsSame>
  bool Insert(std::uint64_t hash, std::uint64_t begin, const IsSame& is_same) {
    const std::uint64_t tag = hash & 0xFFFF;
    for (std::size_t i = First(hash);; i = i + 1 < count_ ? i + 1 : 0) {
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
  static constexpr std::uint64_t kMaxLines = 3'000'000'000;
  std::size_t First(std::uint64_t hash) const {
    return static_cast<std::size_t>(((hash >> 32) * std::uint64_t{count_}) >> 32);
  }

  struct Free {
    void operator()(std::uint64_t* places) const { std::free(places); }
  };
  std::unique_ptr<std::uint64_t[], Free> places_;
  std::size_t count_ = 0;
};

// What is kept moves to the front of the buffer, each line ended by LF; it never overtakes what is
// still to be read. Lines go through in small groups, so that the memory that a line's look-up
// needs is on its way while the next ones are split and hashed.
class Deduplicator {
 public:
  Deduplicator(const Distribution& list, const std::function<void()>& do_events, std::string bytes)
      : list_(list), do_events_(do_events), bytes_(std::move(bytes)) {}

  Status Run() {
    const std::size_t lines = UnifyLineEnds(bytes_);
    if (list_.kind != ListKind::kCsv) LowerAll(bytes_);
    if (!places_.Make(lines)) {
      return Status(Code::kBadInput, "'" + list_.path + "' has too many lines for this machine");
    }
    std::size_t begin = 0;
    if (bytes_.starts_with(ModRow::kByteOrderMark)) {
      head_ = ModRow::kByteOrderMark;
      begin = head_.size();
    }
    if (list_.kind == ListKind::kCsv && list_.header) begin = TakeHeader(begin);
    while (begin < bytes_.size()) begin = TakeLine(begin);
    FinishGroup();
    return {};
  }

  Status Write(const std::filesystem::path& path) {
    Result<AtomicFile> file = AtomicFile::Create(path);
    if (!file.ok()) return file.status();
    std::string block = head_;
    for (std::size_t begin = 0; begin < kept_;) {
      const std::size_t end = LineEnd(bytes_, begin);
      block.append(bytes_, begin, end - begin).append("\r\n");
      begin = end + 1;
      if (block.size() < kWriteBytes) continue;
      if (Status status = file->Write(block); !status.ok()) return status;
      block.clear();
    }
    if (Status status = file->Write(block); !status.ok()) return status;
    return file->Commit();
  }

  Loaded& loaded() { return loaded_; }

 private:
  struct Pending {
    std::string_view line;  // what is kept: the address of a TEXT list, a CSV table's row
    std::string_view key;
    std::string address;  // where `key` points for a CSV table
    std::uint64_t hash = 0;
  };

  std::string_view Line(std::size_t begin, std::size_t end) const {
    if (end > begin && bytes_[end - 1] == '\r') --end;
    return std::string_view(bytes_.data() + begin, end - begin);
  }

  std::size_t TakeHeader(std::size_t begin) {
    ++line_number_;
    const std::size_t end = LineEnd(bytes_, begin);
    if (const std::string_view header = Line(begin, end); !header.empty()) {
      head_.append(header).append("\r\n");
    }
    return end + 1;
  }

  // Returns where the next line begins.
  std::size_t TakeLine(std::size_t begin) {
    ++line_number_;
    if (do_events_) do_events_();
    const std::size_t end = LineEnd(bytes_, begin);
    Pending& pending = group_[group_size_];
    pending.line = Line(begin, end);
    if (FindKey(pending)) {
      pending.hash = hasher_(pending.key);
      places_.Prefetch(pending.hash);
      if (++group_size_ == group_.size()) FinishGroup();
    }
    return end + 1;
  }

  bool FindKey(Pending& pending) {
    if (list_.kind != ListKind::kCsv) {
      pending.line = ModText::Trim(pending.line);
      pending.key = pending.line;
      return !pending.key.empty();
    }
    const ModRow::Found found =
        ModRow::AddressOf(pending.line, list_.kind, list_.column, pending.address);
    if (found == ModRow::Found::kShortRow) NoteShortRow();
    pending.key = pending.address;
    return found == ModRow::Found::kAddress;
  }

  void NoteShortRow() {
    ++loaded_.short_rows;
    if (loaded_.short_row_lines.size() < Loaded::kMaxShortRowLines) {
      loaded_.short_row_lines.push_back(line_number_);
    }
  }

  void FinishGroup() {
    for (std::size_t i = 0; i < group_size_; ++i) Finish(group_[i]);
    group_size_ = 0;
  }

  void Finish(const Pending& pending) {
    const std::string_view key = pending.key;
    const auto is_same = [this, key](std::size_t begin) { return KeptKeyIs(begin, key); };
    if (!places_.Insert(pending.hash, kept_, is_same)) {
      ++loaded_.duplicates;
      loaded_.duplicate_addresses.append(key).append(1, '\n');
      return;
    }
    ++loaded_.distinct;
    std::memmove(bytes_.data() + kept_, pending.line.data(), pending.line.size());
    kept_ += pending.line.size();
    bytes_[kept_++] = '\n';
  }

  bool KeptKeyIs(std::size_t begin, std::string_view key) {
    if (list_.kind != ListKind::kCsv) {
      return key.size() < kept_ - begin && bytes_[begin + key.size()] == '\n' &&
             std::memcmp(bytes_.data() + begin, key.data(), key.size()) == 0;
    }
    // Asked only when the hashes agree, so nearly every time this row is the one.
    const std::string_view row(bytes_.data() + begin, LineEnd(bytes_, begin) - begin);
    return ModRow::AddressOf(row, list_.kind, list_.column, kept_address_) ==
               ModRow::Found::kAddress &&
           kept_address_ == key;
  }

  const Distribution& list_;
  const std::function<void()>& do_events_;
  std::string bytes_;
  std::string head_;  // the byte-order mark and the header row
  std::size_t kept_ = 0;
  std::uint64_t line_number_ = 0;
  Hasher hasher_;
  Places places_;
  std::array<Pending, 16> group_;
  std::size_t group_size_ = 0;
  std::string kept_address_;
  Loaded loaded_;
};

}  // namespace

Result<Loaded> LoadAndDeduplicate(const Distribution& list,
                                  const std::function<void()>& do_events) {
  const std::filesystem::path path = ModFiles::FromUtf8(list.path);
  Result<std::string> bytes = ReadList(path);
  if (!bytes.ok()) return bytes.status();
  if (bytes->empty()) return Status(Code::kBadInput, std::string(kBlankFile));
  const std::string_view start = std::string_view(bytes.value()).substr(0, kTextProbeBytes);
  if (Status text = ModDistribution::CheckIsText(list.path, start); !text.ok()) return text;

  Deduplicator deduplicator(list, do_events, std::move(bytes).value());
  if (Status run = deduplicator.Run(); !run.ok()) return run;
  Loaded& loaded = deduplicator.loaded();
  if (loaded.duplicates > 0) {
    if (Status written = deduplicator.Write(path); !written.ok()) return written;
    loaded.rewritten = true;
  }
  return std::move(loaded);
}

}  // namespace vespro::ModRecipients
