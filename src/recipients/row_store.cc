#include "recipients/row_store.h"

#include <algorithm>
#include <utility>

#include "base/memory.h"
#include "recipients/line_writer.h"

namespace vespro::ModRecipients {
namespace {

// What a table's slot has besides the tag: a place, plus one.
constexpr unsigned kPlaceBits = 64 - 21;
constexpr std::uint64_t kPlaceMask = (std::uint64_t{1} << kPlaceBits) - 1;

}  // namespace

bool RowStore::Add(std::string_view row, std::string_view key) {
  static_assert(64 - kPlaceBits == Row::kTagBits);
  const std::size_t own_key_bytes = key.data() == row.data() ? 0 : key.size();
  const std::size_t bytes = Row::kHeaderBytes + row.size() + own_key_bytes;
  const std::uint64_t hash = hash_(key);
  const auto index = static_cast<unsigned char>(hash >> 56);
  Partition& partition = partitions_[index];
  if (bytes > partition.room && !NewChunk(partition, bytes)) return false;
  const std::uint64_t tag = (hash >> 32) & ((1U << Row::kTagBits) - 1);
  const std::uint64_t header = Row::Header(row.size(), own_key_bytes, tag);
  char* const at = partition.at;
  std::memcpy(at, &header, sizeof(header));
  CopyShort(at + Row::kHeaderBytes, row.data(), row.size());
  if (own_key_bytes > 0) std::memcpy(at + Row::kHeaderBytes + row.size(), key.data(), key.size());
  partition.at += bytes;
  partition.room -= bytes;
  partition_of_.push_back(index);
  return true;
}

bool RowStore::NewChunk(Partition& partition, std::size_t bytes) {
  const std::size_t size = std::max(bytes, kChunkBytes);
  if (size > kSlabBytes - slab_used_) {
    auto* const memory =
        static_cast<char*>(::operator new[](kSlabBytes, kSlabAlignment, std::nothrow));
    if (memory == nullptr) return false;
    ModMemory::PreferLargePages(memory, kSlabBytes);
    slabs_.push_back({std::unique_ptr<char[], Free>(memory), 0});
    slab_used_ = 0;
  }
  if (!partition.chunks.empty()) partition.chunks.back().end -= partition.room;
  const std::uint64_t begin = (slabs_.size() - 1) * std::uint64_t{kSlabBytes} + slab_used_;
  partition.chunks.push_back({begin, begin + size});
  partition.at = At(begin);
  partition.room = size;
  slab_used_ += size;
  ++slabs_.back().chunks;
  return true;
}

RowStore::Count RowStore::FindDuplicates() {
  Count count;
  for (Partition& partition : partitions_) {
    if (partition.chunks.empty()) continue;
    partition.chunks.back().end -= std::exchange(partition.room, 0);
    table_.assign(std::size_t{1} << table_bits_, 0);
    table_used_ = 0;
    for (const Chunk& chunk : partition.chunks) {
      for (std::uint64_t place = chunk.begin; place < chunk.end;) {
        char* const at = At(place);
        const Row row(at);
        if (IsDuplicate(place, row)) {
          Row::MarkDuplicate(at);
          ++count.duplicates;
          count.duplicate_key_bytes += row.key().size();
        }
        place += row.bytes();
      }
    }
  }
  table_ = {};
  return count;
}

// Notes the row down when it is the first one with its key.
bool RowStore::IsDuplicate(std::uint64_t place, const Row& row) {
  const std::uint64_t tag = row.tag();
  for (std::size_t i = FirstSlot(tag);; i = (i + 1) & (table_.size() - 1)) {
    const std::uint64_t slot = table_[i];
    if (slot == 0) {
      table_[i] = tag << kPlaceBits | (place + 1);
      if (++table_used_ * 2 > table_.size()) GrowTable();
      return false;
    }
    if (slot >> kPlaceBits == tag && Row(At((slot & kPlaceMask) - 1)).key() == row.key()) {
      return true;
    }
  }
}

std::size_t RowStore::FirstSlot(std::uint64_t tag) const {
  return static_cast<std::size_t>(table_bits_ <= Row::kTagBits
                                      ? tag >> (Row::kTagBits - table_bits_)
                                      : tag << (table_bits_ - Row::kTagBits));
}

void RowStore::GrowTable() {
  std::vector<std::uint64_t> old(std::size_t{1} << ++table_bits_, 0);
  old.swap(table_);
  for (const std::uint64_t slot : old) {
    if (slot == 0) continue;
    std::size_t i = FirstSlot(slot >> kPlaceBits);
    while (table_[i] != 0) i = (i + 1) & (table_.size() - 1);
    table_[i] = slot;
  }
}

}  // namespace vespro::ModRecipients
