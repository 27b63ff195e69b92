#include "recipients/load.h"

#include <memory>
#include <new>
#include <utility>

#include "base/files.h"
#include "base/memory.h"
#include "base/text.h"
#include "recipients/line_writer.h"
#include "recipients/list_text.h"
#include "recipients/row_store.h"

namespace vespro::ModRecipients {
namespace {

class Deduplicator {
 public:
  Deduplicator(const Distribution& list, const OnLine& on_line)
      : list_(list), on_line_(on_line), is_csv_(list.kind == ListKind::kCsv) {}

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
    loaded_.distinct = rows_.size() - count.duplicates;
    duplicate_bytes_ = static_cast<std::size_t>(count.duplicate_key_bytes + count.duplicates);
    return {};
  }

  // The new file, and the duplicates' addresses on the way.
  Status Write(const ListStamp& stamp, bool keep_what_is_no_address) {
    Result<AtomicFile> file = AtomicFile::Create(stamp.path);
    if (!file.ok()) return file.status();
    if (Status written = file->Write(head_); !written.ok()) return written;
    StringSink addresses;
    addresses.text.reserve(duplicate_bytes_);
    ModMemory::PreferLargePages(addresses.text.data(), duplicate_bytes_);
    std::uint64_t no_addresses = 0;
    std::string first;
    LineWriter kept(file.value(), kLineEnd);
    LineWriter duplicates(addresses, "\n");
    rows_.TakeEach([&](std::string_view row, std::string_view key, bool is_duplicate) {
      is_duplicate ? duplicates.Write(key) : kept.Write(row);
      if (is_duplicate && keep_what_is_no_address && !ModRow::LooksLikeAddress(key)) {
        if (no_addresses++ == 0) first = ListText(key);
      }
    });
    if (no_addresses > 0) return WouldLose(no_addresses, first);
    duplicates.Finish().Ignore();  // memory takes everything
    loaded_.duplicate_addresses = std::move(addresses.text);
    if (Status written = kept.Finish(); !written.ok()) return written;
    return file->Commit([&stamp] { return stamp.CheckUnchanged(); });
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
    if (found == ModRow::Found::kAddress) return rows_.Add(line, address_);
    // Spreadsheets write rows of nothing but commas behind the last one.
    if (line.find_first_not_of(" ,\"'") != std::string_view::npos) NoteRowWithoutAddress();
    return true;
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

  Status WouldLose(std::uint64_t count, std::string_view first) const {
    return Status(Code::kBadInput,
                  "'" + list_.path + "': " + std::to_string(count) +
                      (count == 1 ? " row" : " rows") +
                      " would be taken for duplicates by something that is no address, such as '" +
                      ModText::Printable(first) +
                      "'. A comma in a cell shifts the cells after it, in quotes too; nothing was "
                      "changed");
  }

  void NoteRowWithoutAddress() {
    ++loaded_.without_address;
    if (loaded_.without_address_lines.size() < Loaded::kMaxLinesTold) {
      loaded_.without_address_lines.push_back(line_number_);
    }
  }

  const Distribution& list_;
  const OnLine& on_line_;
  const bool is_csv_;
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
  Deduplicator deduplicator(list, on_line);
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
    Status written = deduplicator.Write(stamp, guards.keep_what_is_no_address);
    if (!written.ok()) return written;
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
