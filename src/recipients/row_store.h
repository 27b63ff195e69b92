// recipients/row_store.h - rows in their order, and which of them have a key that an earlier one
// has. They are spread over partitions by their key's hash: looking for equal keys then stays
// within a processor's cache, however long the list is. Memory is the rows' and some ten bytes a
// row. One thread per object.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

#include "recipients/keyed_hash.h"

namespace vespro::ModRecipients {

class RowStore {
 public:
  // Copies both, each of them shorter than 2 MiB. A row that is its own key is given twice, and
  // kept once. False when the system has no memory for them.
  bool Add(std::string_view row, std::string_view key);

  // Once, after the last Add.
  struct Count {
    std::uint64_t duplicates = 0;
    std::size_t duplicate_key_bytes = 0;
  };
  Count FindDuplicates();
  std::uint64_t size() const { return partition_of_.size(); }

  // Calls `visit(row, key, is_duplicate)` for all rows in the order in which they were added, once:
  // their memory is given back on the way, since what is made of them needs as much.
  template <class Visit>
  void TakeEach(const Visit& visit) {
    std::array<Cursor, kPartitions> cursors;
    for (std::size_t i = 0; i < kPartitions; ++i) cursors[i] = Cursor(*this, partitions_[i]);
    for (const unsigned char partition : partition_of_) {
      const Row row(cursors[partition].Take());
      visit(row.row(), row.key(), row.is_duplicate());
    }
  }

 private:
  static constexpr std::size_t kPartitions = 256;
  static constexpr std::size_t kSlabBytes = 8 * 1024 * 1024;
  static constexpr std::align_val_t kSlabAlignment{2 * 1024 * 1024};  // a large page
  static constexpr std::size_t kChunkBytes = 16 * 1024;

  // A row as it lies in memory: a header, its bytes, and its key's bytes unless they are the same.
  class Row {
   public:
    static constexpr std::size_t kHeaderBytes = sizeof(std::uint64_t);
    static constexpr unsigned kSizeBits = 21;
    static constexpr unsigned kTagBits = 21;  // of the key's hash
    static std::uint64_t Header(std::size_t row_bytes, std::size_t own_key_bytes,
                                std::uint64_t tag) {
      return std::uint64_t{row_bytes} << 1 | std::uint64_t{own_key_bytes} << (1 + kSizeBits) |
             tag << (1 + 2 * kSizeBits);
    }
    static void MarkDuplicate(char* at) {
      const std::uint64_t header = Row(at).header_ | kDuplicateBit;
      std::memcpy(at, &header, kHeaderBytes);
    }

    explicit Row(const char* at) : bytes_(at + kHeaderBytes) {
      std::memcpy(&header_, at, kHeaderBytes);
    }
    std::string_view row() const { return {bytes_, Size(1)}; }
    std::string_view key() const {
      const std::size_t own = Size(1 + kSizeBits);
      return own > 0 ? std::string_view(bytes_ + Size(1), own) : row();
    }
    std::uint64_t tag() const { return header_ >> (1 + 2 * kSizeBits); }
    bool is_duplicate() const { return (header_ & kDuplicateBit) != 0; }
    std::size_t bytes() const { return kHeaderBytes + Size(1) + Size(1 + kSizeBits); }

   private:
    static constexpr unsigned kDuplicateBit = 1;
    std::size_t Size(unsigned shift) const {
      return static_cast<std::size_t>(header_ >> shift) & ((std::size_t{1} << kSizeBits) - 1);
    }
    const char* bytes_;
    std::uint64_t header_ = 0;
  };

  // Bytes of one partition that lie together.
  struct Chunk {
    std::uint64_t begin = 0;  // a place
    std::uint64_t end = 0;
  };
  struct Partition {
    char* at = nullptr;  // where the next row goes in the last chunk
    std::size_t room = 0;
    std::vector<Chunk> chunks;
  };

  // Where a partition's next row is.
  class Cursor {
   public:
    Cursor() = default;
    Cursor(RowStore& store, const Partition& partition)
        : store_(&store), next_(partition.chunks.data()) {}
    // Valid until the next call.
    const char* Take() {
      if (at_ == end_) {
        if (at_ != nullptr) store_->Release(*(next_ - 1));
        at_ = store_->At(next_->begin);
        end_ = at_ + (next_->end - next_->begin);
        ++next_;
      }
      const char* const row = at_;
      at_ += Row(row).bytes();
      return row;
    }

   private:
    RowStore* store_ = nullptr;
    const Chunk* next_ = nullptr;
    const char* at_ = nullptr;
    const char* end_ = nullptr;
  };

  struct Free {
    void operator()(char* bytes) const { ::operator delete[](bytes, kSlabAlignment); }
  };
  struct Slab {
    std::unique_ptr<char[], Free> bytes;
    std::size_t chunks = 0;  // in use
  };

  // A place is the number of a byte, counted through all slabs.
  char* At(std::uint64_t place) const {
    return slabs_[static_cast<std::size_t>(place / kSlabBytes)].bytes.get() + place % kSlabBytes;
  }
  void Release(const Chunk& chunk) {
    Slab& slab = slabs_[static_cast<std::size_t>(chunk.begin / kSlabBytes)];
    if (--slab.chunks == 0) slab.bytes.reset();
  }
  bool NewChunk(Partition& partition, std::size_t bytes);
  bool IsDuplicate(std::uint64_t place, const Row& row);
  std::size_t FirstSlot(std::uint64_t tag) const;
  void GrowTable();

  KeyedHash hash_;
  std::vector<Slab> slabs_;
  std::size_t slab_used_ = kSlabBytes;
  std::array<Partition, kPartitions> partitions_;
  std::vector<unsigned char> partition_of_;  // each row's
  // The places of one partition's first rows, each with its row's tag above it; 0 is free.
  std::vector<std::uint64_t> table_;
  unsigned table_bits_ = 10;
  std::size_t table_used_ = 0;
};

}  // namespace vespro::ModRecipients
