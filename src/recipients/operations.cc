#include "recipients/operations.h"

#include <algorithm>
#include <bit>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "recipients/keyed_hash.h"
#include "recipients/line_writer.h"
#include "recipients/load.h"
#include "recipients/row.h"

namespace vespro::ModRecipients {
namespace {

namespace fs = std::filesystem;

bool IsSameFile(std::string_view a, std::string_view b) {
  if (a == b) return true;
  std::error_code error;
  return fs::equivalent(ModFiles::FromUtf8(a), ModFiles::FromUtf8(b), error) && !error;
}

// Appends to the current list; can roll back.
class Appender {
 public:
  static Result<Appender> Open(std::string_view path) {
    Result<File> file = File::Open(ModFiles::FromUtf8(path), File::Mode::kAppend);
    if (!file.ok()) return file.status();
    Result<std::uint64_t> size = file->Size();
    if (!size.ok()) return size.status();
    return Appender(ModFiles::FromUtf8(path), std::move(file).value(), size.value());
  }

  // Whole lines. Of lines that do not fit on the disk, the whole ones that did stay: half an
  // address may be somebody else's.
  Status Write(std::string_view lines) {
    Status written = file_.Write(lines);
    if (written.ok()) {
      size_ += lines.size();
      return written;
    }
    std::error_code error;
    const std::uint64_t size = fs::file_size(path_, error);
    if (error || size <= size_ || size > size_ + lines.size()) return written;
    const std::size_t whole =
        lines.substr(0, static_cast<std::size_t>(size - size_)).rfind(kLineEnd);
    const std::uint64_t kept = whole == std::string_view::npos ? 0 : whole + kLineEnd.size();
    Shorten(size, size_ + kept).Ignore();  // the disk's failure is what counts
    return written;
  }

  Status Close() {
    const bool in_place = file_.IsInPlace();
    if (Status closed = file_.Close(); !closed.ok() || in_place) return closed;
    return Status(Code::kResumable, "another program replaced '" + ModFiles::ToUtf8(path_) +
                                        "' meanwhile, and some of what was appended may be lost; "
                                        "see what is in it, and merge again");
  }

  // `why`, with the file as long as it was. Says so when that could not be done.
  Status Rollback(Status why) {
    const Status shortened = Shorten(size_, size_before_);
    if (shortened.ok()) return why;
    return Status(why.code(), why.text() + "; what was appended stays: " + shortened.text());
  }

 private:
  Appender(fs::path path, File file, std::uint64_t size)
      : path_(std::move(path)), file_(std::move(file)), size_before_(size), size_(size) {}

  // Only while nobody else has appended something.
  Status Shorten(std::uint64_t from, std::uint64_t to) {
    if (Status closed = file_.Close(); !closed.ok()) return closed;
    std::error_code error;
    const bool is_ours = fs::file_size(path_, error) == from;
    if (!error && !is_ours) {
      return Status(Code::kCannotWrite, "another program wrote to it as well");
    }
    if (!error) fs::resize_file(path_, to, error);
    return error ? Status(Code::kCannotWrite, error.message()) : Status();
  }

  fs::path path_;
  File file_;
  std::uint64_t size_before_;
  std::uint64_t size_;  // all of it ours after size_before_
};

// How many lines the block has, if all of them end in CR LF; otherwise 0.
std::size_t CountOfCrLf(std::string_view block) {
  if (block.find('\r') == std::string_view::npos) return 0;
  const char* const data = block.data();
  const std::size_t lines =
      CountIf(block.size(), [data](std::size_t i) { return data[i] == '\n'; });
  const std::size_t cr_lf = CountIf(block.size() - 1, [data](std::size_t i) {
    return (data[i] == '\r') & (data[i + 1] == '\n');
  });
  return cr_lf == lines ? lines : 0;
}

// The block's lines, each ended by CR LF; `copy` is where they lie unless that is so already.
// `next_line` is asked for each: nothing when it says no.
template <class NextLine>
std::optional<std::string_view> WithCrLf(std::string_view block, std::string& copy,
                                         const NextLine& next_line) {
  if (std::size_t lines = CountOfCrLf(block); lines > 0) {
    while (lines > 0 && next_line()) --lines;
    return lines == 0 ? std::optional(block) : std::nullopt;
  }
  if (copy.size() < 2 * block.size()) copy.resize(2 * std::bit_ceil(block.size()));
  char* at = copy.data();
  while (!block.empty()) {
    if (!next_line()) return std::nullopt;
    const std::string_view line = TakeLine(block);
    CopyShort(at, line.data(), line.size());
    CopyShort(at + line.size(), kLineEnd.data(), kLineEnd.size());
    at += line.size() + kLineEnd.size();
  }
  return std::string_view(copy).substr(0, static_cast<std::size_t>(at - copy.data()));
}

Status AppendLines(ListBlocks& second, Appender& current, std::string_view current_path,
                   const OnLine& on_line) {
  const auto next_line = [&on_line] { return !on_line || on_line(); };
  std::string copy;
  for (;;) {
    Result<ListBlocks::Block> block = second.Next();
    if (!block.ok()) return block.status();
    if (block->size == 0) return {};
    const std::optional<std::string_view> lines = WithCrLf(block->text(), copy, next_line);
    if (!lines.has_value()) return GivenUp(current_path);
    if (Status written = current.Write(*lines); !written.ok()) return written;
  }
}

// Addresses or lines that shall go, as views into the file's bytes.
class Unwanted {
 public:
  Status Load(std::string_view path, const OnLine& on_line, std::string_view current) {
    Result<std::string> bytes = ModFiles::ReadAll(ModFiles::FromUtf8(path));
    if (!bytes.ok()) return bytes.status();
    bytes_ = std::move(bytes).value();
    std::string_view rest = ModRow::StripByteOrderMark(bytes_);
    for (std::string_view line; NextLine(rest, line);) {
      if (on_line && !on_line()) return GivenUp(current);
      if (line.empty()) continue;
      lines_.insert(line);
      if (!IsKey(line) && unmatchable_++ == 0) first_unmatchable_ = line;
    }
    return {};
  }
  void Tell(Filtered& filtered) const {
    filtered.unmatchable = unmatchable_;
    filtered.first_unmatchable = first_unmatchable_;
  }
  bool Has(std::string_view key) const { return lines_.contains(key); }

 private:
  // Whether a row's key can look like this.
  static bool IsKey(std::string_view line) {
    if (ModText::Trim(line).size() != line.size()) return false;
    if (ModText::IsAscii(line)) {
      return std::none_of(line.begin(), line.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    }
    std::string lower(line);
    ModRow::LowerAddress(lower);
    return lower == line;
  }

  std::string bytes_;
  std::unordered_set<std::string_view, KeyedHash> lines_;
  std::uint64_t unmatchable_ = 0;
  std::string_view first_unmatchable_;
};

// The key of a row that is trimmed and in lower case; empty when it has none.
std::string_view KeyOf(std::string_view row, const Distribution& list, std::string& bare) {
  if (list.kind != ListKind::kCsv) return row;
  std::string_view field;
  if (list.column < 0 || !ModRow::FieldAt(row, static_cast<std::size_t>(list.column), field)) {
    return {};
  }
  if (field.find_first_of("\"'") == std::string_view::npos) return field;
  bare.assign(field);
  std::erase_if(bare, [](char c) { return c == '"' || c == '\''; });
  return bare;
}

// The rows that go, as they were read, after their table's header row.
class RemovedRows {
 public:
  // `sink` may be null: nobody wants them. `has_header`: it has the header row already.
  RemovedRows(ByteSink* sink, bool has_header) : has_header_(has_header) {
    if (sink != nullptr) writer_.emplace(*sink, kLineEnd);
  }
  bool wanted() const { return writer_.has_value(); }
  void OnHeader(std::string_view row) {
    if (!has_header_) header_ = row;
  }
  void Write(std::string_view row) {
    if (!writer_) return;
    if (!header_.empty()) writer_->Write(std::exchange(header_, {}));
    writer_->Write(row);
  }
  Status Finish() { return writer_ ? writer_->Finish() : Status(); }

 private:
  const bool has_header_;
  std::string header_;
  std::optional<LineWriter> writer_;
};

// Takes the list, so that it is closed when it is replaced: Windows does not replace an open file.
Result<Filtered> FilterOut(ListBlocks blocks, const Distribution& list, const Unwanted& unwanted,
                           bool keep_odd_rows, ByteSink& out, RemovedRows removed,
                           const OnLine& on_line) {
  Filtered filtered;
  std::string original, lower, bare;
  if (blocks.has_byte_order_mark()) {
    if (Status marked = out.Write(ModRow::kByteOrderMark); !marked.ok()) return marked;
  }
  bool is_header = list.kind == ListKind::kCsv && list.header;
  std::uint64_t line_number = 0;
  LineWriter kept(out, kLineEnd);
  for (;;) {
    Result<ListBlocks::Block> block = blocks.Next();
    if (!block.ok()) return block.status();
    if (block->size == 0) break;
    const bool is_ascii = ModText::IsAscii(block->text());
    if (is_ascii && removed.wanted()) original = block->text();
    if (is_ascii) LowerAscii(block->data, block->size);
    const auto as_read = [&](std::string_view line) {
      if (!is_ascii || !removed.wanted()) return line;
      const auto offset = static_cast<std::size_t>(line.data() - block->data);
      return std::string_view(original).substr(offset, line.size());
    };
    for (std::string_view lines = block->text(); !lines.empty();) {
      if (on_line && !on_line()) return GivenUp(list.path);
      ++line_number;
      const std::string_view line = TakeLine(lines);
      std::string_view row = ModText::Trim(line);
      bool stays = std::exchange(is_header, false);
      if (stays) removed.OnHeader(as_read(line));
      if (row.empty()) continue;
      if (!is_ascii) {
        lower.assign(row);
        ModRow::LowerRow(lower, list.kind);
        row = lower;
      }
      const std::string_view key = KeyOf(row, list, bare);
      if (list.kind == ListKind::kCsv && !stays && !ModRow::LooksLikeAddress(ModText::Trim(key))) {
        if (ModRow::HoldsSomething(row)) filtered.odd_rows.Add(line_number, ModText::Trim(key));
        stays = keep_odd_rows;
      }
      if (!key.empty() && !stays && unwanted.Has(key)) {
        ++filtered.removed;
        filtered.removed_addresses.append(key).push_back('\n');
        removed.Write(as_read(line));
        continue;
      }
      kept.Write(row);
    }
  }
  if (Status written = kept.Finish(); !written.ok()) return written;
  if (Status written = removed.Finish(); !written.ok()) return written;
  return filtered;
}

}  // namespace

Status CheckMerge(std::string_view current, std::string_view second) {
  if (IsSameFile(current, second)) return Status(Code::kUsage, std::string(kSameFile));
  if (ModDistribution::KindOf(current) == ModDistribution::KindOf(second)) return {};
  return Status(Code::kBadInput, std::string(kDifferentFormats));
}

Status Merge(std::string_view current, std::string_view second, const OnLine& on_line) {
  if (Status fits = CheckMerge(current, second); !fits.ok()) return fits;
  if (Status text = ModDistribution::ProbeText(current); !text.ok()) return text;
  Result<ListBlocks> blocks = ListBlocks::Open(second);
  if (!blocks.ok()) return blocks.status();
  Result<Appender> appender = Appender::Open(current);
  if (!appender.ok()) return appender.status();
  // Ends a last line that lacks its end, and parts old from new.
  Status merged = appender->Write("\r\n\r\n");
  if (merged.ok()) merged = AppendLines(blocks.value(), appender.value(), current, on_line);
  if (merged.ok()) return appender->Close();
  const bool disk_failed = merged.code() == Code::kCannotWrite || merged.code() == Code::kNotFound;
  return disk_failed ? merged : appender->Rollback(std::move(merged));
}

Status CheckFilter(std::string_view current, std::string_view unwanted) {
  if (IsSameFile(current, unwanted)) return Status(Code::kUsage, std::string(kSameFile));
  // To its end: a line that is too long may be anywhere.
  Result<ListBlocks> blocks = ListBlocks::Open(unwanted);
  if (!blocks.ok()) return blocks.status();
  for (;;) {
    Result<ListBlocks::Block> block = blocks->Next();
    if (!block.ok() || block->size == 0) return block.status();
  }
}

namespace {

// What `current` and `unwanted` are fit for was asked. `some_are_gone`: duplicates, before.
Result<Filtered> TakeOut(const Distribution& current, std::string_view unwanted,
                         const LoadGuards& guards, bool some_are_gone, const OnLine& on_line) {
  Result<ListBlocks> blocks = ListBlocks::Open(current.path);
  if (!blocks.ok()) return blocks.status();
  const ListStamp stamp = blocks->stamp();
  if (stamp.bytes == 0) return Status(Code::kBadInput, std::string(kBlankFile));
  Unwanted lines;
  if (Status loaded = lines.Load(unwanted, on_line, current.path); !loaded.ok()) return loaded;
  Result<AtomicFile> file = AtomicFile::Create(stamp.path);
  if (!file.ok()) return file.status();
  Result<Filtered> filtered =
      FilterOut(std::move(blocks).value(), current, lines, guards.keep_odd_rows, file.value(),
                RemovedRows(guards.removed_rows, some_are_gone), on_line);
  if (!filtered.ok()) return filtered;
  lines.Tell(filtered.value());
  const Status committed = file->Commit([&]() -> Status {
    Status unchanged = stamp.CheckUnchanged();
    const bool told = guards.before_rows_go && filtered->removed > 0;
    return unchanged.ok() && told ? guards.before_rows_go(filtered->removed_addresses) : unchanged;
  });
  if (!committed.ok()) return committed;
  return filtered;
}

Result<Filtered> TakeOutSafely(const Distribution& current, std::string_view unwanted,
                               const LoadGuards& guards, bool some_are_gone,
                               const OnLine& on_line) {
  try {
    return TakeOut(current, unwanted, guards, some_are_gone, on_line);
  } catch (const std::bad_alloc&) {
    return TooLarge(current.path);
  }
}

}  // namespace

Result<Filtered> Filter(const Distribution& current, std::string_view unwanted,
                        const OnLine& on_line) {
  if (Status fits = CheckFilter(current.path, unwanted); !fits.ok()) return fits;
  return TakeOutSafely(current, unwanted, {}, false, on_line);
}

Result<Filtered> PreviewFilter(const Distribution& current, std::string_view unwanted,
                               bool keep_odd_rows, const OnLine& on_line) {
  class Nowhere final : public ByteSink {
    Status Write(std::string_view) override { return {}; }
  };
  if (Status fits = CheckFilter(current.path, unwanted); !fits.ok()) return fits;
  Result<ListBlocks> blocks = ListBlocks::Open(current.path);
  if (!blocks.ok()) return blocks.status();
  Unwanted lines;
  if (Status loaded = lines.Load(unwanted, on_line, current.path); !loaded.ok()) return loaded;
  Nowhere nowhere;
  Result<Filtered> filtered = FilterOut(std::move(blocks).value(), current, lines, keep_odd_rows,
                                        nowhere, RemovedRows(nullptr, false), on_line);
  if (filtered.ok()) lines.Tell(filtered.value());
  return filtered;
}

Result<Cleared> DeduplicateAndFilter(const Distribution& current, std::string_view unwanted,
                                     const OnLine& on_line, const LoadGuards& guards) {
  if (Status fits = CheckFilter(current.path, unwanted); !fits.ok()) return fits;
  Result<Loaded> loaded = LoadAndDeduplicate(current, on_line, guards);
  if (!loaded.ok()) return loaded.status();
  Result<Filtered> filtered = TakeOutSafely(current, unwanted, guards, loaded->rewritten, on_line);
  if (filtered.ok()) return Cleared{std::move(loaded).value(), std::move(filtered).value()};
  const Status& why = filtered.status();
  if (!loaded->rewritten) return why;
  return Status(why.code(),
                why.text() + "; before that, " + std::to_string(loaded->duplicates) +
                    " email duplicates were removed",
                why.native());
}

}  // namespace vespro::ModRecipients
