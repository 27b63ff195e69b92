// recipients/keyed_hash.h - a fast hash of bytes whose key is new with every object, so that nobody
// can write a list whose lines all fall into one place. Any thread.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/random.h"

namespace vespro {

class KeyedHash {
 public:
  KeyedHash() {
    SystemRandomness randomness;
    seed_ = randomness.Next();
    factor_ = randomness.Next() | 1;
  }

  std::uint64_t operator()(std::string_view bytes) const {
    std::uint64_t hash = seed_ ^ bytes.size();
    const char* const end = bytes.data() + bytes.size();
    if (bytes.size() < 8) return Mix(Mix(hash ^ LoadShort(bytes)));
    for (const char* at = bytes.data(); at + 8 < end; at += 8) hash = Mix(hash ^ Load<8>(at));
    // The last word may overlap the one before it; a copy of a few odd bytes would take longer than
    // all the rest.
    return Mix(Mix(hash ^ Load<8>(end - 8)));
  }

 private:
  template <std::size_t kSize>
  static std::uint64_t Load(const char* at) {
    std::uint64_t word = 0;
    std::memcpy(&word, at, kSize);
    return word;
  }
  static std::uint64_t LoadShort(std::string_view bytes) {
    if (bytes.size() >= 4) {
      return Load<4>(bytes.data()) << 32 | Load<4>(bytes.data() + bytes.size() - 4);
    }
    std::uint64_t word = 0;
    for (const char c : bytes) word = word << 8 | static_cast<unsigned char>(c);
    return word;
  }
  std::uint64_t Mix(std::uint64_t hash) const {
    hash *= factor_;
    return hash ^ (hash >> 32);
  }
  std::uint64_t seed_;
  std::uint64_t factor_;
};

}  // namespace vespro
