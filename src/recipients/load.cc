#include "recipients/load.h"

#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "base/files.h"
#include "base/memory.h"
#include "base/text.h"
#include "recipients/line_writer.h"
#include "recipients/row_store.h"

namespace vespro::ModRecipients {
namespace {

class Deduplicator {
 public:
  Deduplicator(const Distribution& list, const OnLine& on_line, bool keep_odd_rows)
      : list_(list),
        on_line_(on_line),
        is_csv_(list.kind == ListKind::kCsv),
        keep_odd_rows_(keep_odd_rows) {}

  Status Read(ListBlocks& blocks) {
    if (blocks.has_byte_order_mark()) head_ = ModRow::kByteOrderMark;
    for (;;) {
      Result<ListBlocks::Block> block = blocks.Next();
      if (!block.ok()) return block.status();
      if (block->size == 0) break;
      if (!is_csv_) {
        block_is_ascii_ = ModText::IsAscii(block->text());
        if (block_is_ascii_) LowerAscii(block->data, block->size);
      }
      for (std::string_view lines = block->text(); !lines.empty();) {
        if (on_line_ && !on_line_()) return GivenUp(list_.path);
        ++line_number_;
        if (!Take(TakeLine(lines))) return TooLarge(list_.path);
      }
    }
    const RowStore::Count count = rows_.FindDuplicates();
    loaded_.duplicates = count.duplicates;
    const std::uint64_t kept = keep_odd_rows_ ? loaded_.without_address.count : 0;
    loaded_.distinct = rows_.size() - count.duplicates - kept;
    duplicate_bytes_ = static_cast<std::size_t>(count.duplicate_key_bytes + count.duplicates);
    return {};
  }

  // The new file, and the duplicates' addresses on the way.
  Status Write(const ListStamp& stamp, const LoadGuards& guards) {
    Result<AtomicFile> file = AtomicFile::Create(stamp.path);
    if (!file.ok()) return file.status();
    if (Status written = file->Write(head_); !written.ok()) return written;
    StringSink addresses;
    addresses.text.reserve(duplicate_bytes_);
    ModMemory::PreferLargePages(addresses.text.data(), duplicate_bytes_);
    LineWriter kept(file.value(), kLineEnd);
    LineWriter duplicates(addresses, "\n");
    std::optional<LineWriter> removed;
    if (guards.removed_rows != nullptr) {
      if (Status written = guards.removed_rows->Write(head_); !written.ok()) return written;
      removed.emplace(*guards.removed_rows, kLineEnd);
    }
    rows_.TakeEach([&](std::string_view row, std::string_view key, bool is_duplicate) {
      if (!is_duplicate) return kept.Write(row);
      duplicates.Write(key);
      if (removed) removed->Write(row);
    });
    duplicates.Finish().Ignore();  // memory takes everything
    loaded_.duplicate_addresses = std::move(addresses.text);
    if (Status written = kept.Finish(); !written.ok()) return written;
    if (Status written = removed ? removed->Finish() : Status(); !written.ok()) return written;
    return file->Commit([&]() -> Status {
      Status unchanged = stamp.CheckUnchanged();
      if (!unchanged.ok() || !guards.before_rows_go) return unchanged;
      return guards.before_rows_go(loaded_.duplicate_addresses);
    });
  }

  Loaded& loaded() { return loaded_; }

 private:
  // False when there is no memory for the line.
  bool Take(std::string_view line) {
    if (!is_csv_) return TakeText(ModText::Trim(line));
    if (line_number_ == 1 && list_.header) {
      if (!line.empty()) head_.append(line).append(kLineEnd);
      return true;
    }
    const ModRow::Found found = ModRow::AddressOf(line, list_.kind, list_.column, address_);
    if (found != ModRow::Found::kAddress) {
      address_.clear();
      if (!ModRow::HoldsSomething(line)) return true;
    } else if (!keep_odd_rows_ || ModRow::LooksLikeAddress(address_)) {
      return rows_.Add(line, address_);
    }
    loaded_.without_address.Add(line_number_, address_);
    if (!keep_odd_rows_) return true;
    address_ = std::to_string(line_number_);  // nobody else's: there is no "@" in it
    return rows_.Add(line, address_);
  }

  bool TakeText(std::string_view address) {
    if (address.empty()) return true;
    if (!block_is_ascii_) {
      address_.assign(address);
      ModRow::LowerAddress(address_);
      address = address_;
    }
    return rows_.Add(address, address);
  }

  const Distribution& list_;
  const OnLine& on_line_;
  const bool is_csv_;
  const bool keep_odd_rows_;
  std::string head_;  // the byte-order mark and the header row
  std::uint64_t line_number_ = 0;
  bool block_is_ascii_ = false;  // and in lower case then
  std::string address_;
  RowStore rows_;
  std::size_t duplicate_bytes_ = 0;
  Loaded loaded_;
};

Result<Loaded> Deduplicate(const Distribution& list, const OnLine& on_line,
                           const LoadGuards& guards) {
  Deduplicator deduplicator(list, on_line, guards.keep_odd_rows);
  ListStamp stamp;
  {
    // Closed before it is replaced: Windows does not replace an open file.
    Result<ListBlocks> blocks = ListBlocks::Open(list.path);
    if (!blocks.ok()) return blocks.status();
    stamp = blocks->stamp();
    if (stamp.bytes == 0) return Status(Code::kBadInput, std::string(kBlankFile));
    if (Status read = deduplicator.Read(blocks.value()); !read.ok()) return read;
  }
  Loaded& loaded = deduplicator.loaded();
  if (loaded.duplicates > 0) {
    if (guards.confirm) {
      if (Status confirmed = guards.confirm(loaded); !confirmed.ok()) return confirmed;
    }
    if (Status written = deduplicator.Write(stamp, guards); !written.ok()) return written;
    loaded.rewritten = true;
  }
  return std::move(loaded);
}

}  // namespace

Result<Loaded> LoadAndDeduplicate(const Distribution& list, const OnLine& on_line,
                                  const LoadGuards& guards) {
  try {
    return Deduplicate(list, on_line, guards);
  } catch (const std::bad_alloc&) {
    return TooLarge(list.path);
  }
}

}  // namespace vespro::ModRecipients
