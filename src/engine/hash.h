// engine/hash.h - a keyed hash and a compact set of hashes. One thread per object.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "base/random.h"

namespace vespro::engine {

struct HashKey {
  std::uint64_t a = 0, b = 0;
};

// SipHash-2-4: without the key nobody can make up addresses that collide.
std::uint64_t SipHash(HashKey key, std::string_view bytes);

// Remembers addresses by 64 bits each: at most 14 bytes an address, while it grows too. Two
// different addresses are taken for one with odds of n * n / 2^65 in a list of n: one in 40 million
// for a million addresses.
class AddressSet {
 public:
  explicit AddressSet(Randomness& randomness);

  // False when it was there already.
  bool Insert(std::string_view address);
  bool Contains(std::string_view address) const;
  std::uint64_t size() const { return size_; }

 private:
  // One of many small open-addressing tables, so that growing copies little at a time.
  struct Shard {
    std::vector<std::uint64_t> slots;  // 0 is a free slot
    std::size_t used = 0;
  };
  static std::size_t Find(const Shard& shard, std::uint64_t hash);
  static void Grow(Shard& shard);
  std::uint64_t Hash(std::string_view address) const;

  HashKey key_;
  std::uint64_t size_ = 0;
  std::array<Shard, 256> shards_;
};

}  // namespace vespro::engine
