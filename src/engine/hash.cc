#include "engine/hash.h"

#include <bit>

namespace vespro::engine {
namespace {

std::uint64_t LittleEndian(std::string_view bytes) {
  std::uint64_t word = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) {
    word = word << 8 | static_cast<unsigned char>(bytes[i]);
  }
  return word;
}

struct SipState {
  std::uint64_t v0, v1, v2, v3;

  void Round() {
    v0 += v1;
    v1 = std::rotl(v1, 13) ^ v0;
    v0 = std::rotl(v0, 32);
    v2 += v3;
    v3 = std::rotl(v3, 16) ^ v2;
    v0 += v3;
    v3 = std::rotl(v3, 21) ^ v0;
    v2 += v1;
    v1 = std::rotl(v1, 17) ^ v2;
    v2 = std::rotl(v2, 32);
  }
  void Take(std::uint64_t word) {
    v3 ^= word;
    Round();
    Round();
    v0 ^= word;
  }
};

// The high half of a product spreads a hash over any number of slots without a division.
std::size_t Scale(std::uint64_t hash, std::size_t slots) {
  const std::uint64_t mixed = (hash * 0x9E3779B97F4A7C15u) >> 32;
  return static_cast<std::size_t>((mixed * static_cast<std::uint64_t>(slots)) >> 32);
}

}  // namespace

std::uint64_t SipHash(HashKey key, std::string_view bytes) {
  SipState state{key.a ^ 0x736f6d6570736575u, key.b ^ 0x646f72616e646f6du,
                 key.a ^ 0x6c7967656e657261u, key.b ^ 0x7465646279746573u};
  const std::uint64_t length = static_cast<std::uint64_t>(bytes.size()) << 56;
  for (; bytes.size() >= 8; bytes.remove_prefix(8)) state.Take(LittleEndian(bytes.substr(0, 8)));
  state.Take(length | LittleEndian(bytes));
  state.v2 ^= 0xFF;
  for (int i = 0; i < 4; ++i) state.Round();
  return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

AddressSet::AddressSet(Randomness& randomness) : key_{randomness.Next(), randomness.Next()} {}

std::uint64_t AddressSet::Hash(std::string_view address) const {
  const std::uint64_t hash = SipHash(key_, address);
  return hash == 0 ? 1 : hash;
}

std::size_t AddressSet::Find(const Shard& shard, std::uint64_t hash) {
  std::size_t at = Scale(hash, shard.slots.size());
  while (shard.slots[at] != 0 && shard.slots[at] != hash) {
    if (++at == shard.slots.size()) at = 0;
  }
  return at;
}

void AddressSet::Grow(Shard& shard) {
  Shard larger;
  larger.slots.resize(shard.slots.empty() ? 8 : shard.slots.size() + shard.slots.size() / 2);
  larger.used = shard.used;
  for (std::uint64_t hash : shard.slots) {
    if (hash != 0) larger.slots[Find(larger, hash)] = hash;
  }
  shard = std::move(larger);
}

bool AddressSet::Insert(std::string_view address) {
  const std::uint64_t hash = Hash(address);
  Shard& shard = shards_[static_cast<std::size_t>(hash >> 56)];
  // 6 of 7 full at most: 8 / (6/7) * 1.5 bytes an address just after growing.
  if ((shard.used + 1) * 7 > shard.slots.size() * 6) Grow(shard);
  std::uint64_t& slot = shard.slots[Find(shard, hash)];
  if (slot == hash) return false;
  slot = hash;
  ++shard.used;
  ++size_;
  return true;
}

bool AddressSet::Contains(std::string_view address) const {
  const std::uint64_t hash = Hash(address);
  const Shard& shard = shards_[static_cast<std::size_t>(hash >> 56)];
  return !shard.slots.empty() && shard.slots[Find(shard, hash)] == hash;
}

}  // namespace vespro::engine
