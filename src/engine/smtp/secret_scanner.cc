#include "engine/smtp/secret_scanner.h"

#include <algorithm>
#include <cstring>

namespace vespro::engine {
namespace {

constexpr std::size_t kPiece = sizeof(std::uint64_t), kStep = kPiece / 2, kLeast = 4;

std::string Bare(std::string_view text) {
  std::string bare(text);
  std::erase_if(bare, [](char c) { return c == '\n' || c == ' '; });
  return bare;
}

std::uint64_t PieceAt(const std::string& text, std::size_t at) {
  std::uint64_t piece;
  std::memcpy(&piece, text.data() + at, kPiece);
  return piece;
}

}  // namespace

SecretScanner::SecretScanner(const std::vector<std::string>& secrets) {
  for (const std::string& secret : secrets) {
    const std::string bare = Bare(secret);
    if (bare.size() < kLeast) continue;
    if (bare.size() < kPiece) short_.push_back(bare);
    for (std::size_t at = 0; at + kPiece <= bare.size(); at += kStep) {
      pieces_.push_back(PieceAt(bare, at));
    }
  }
  std::sort(pieces_.begin(), pieces_.end());
}

bool SecretScanner::FoundIn(std::string_view text) const {
  if (pieces_.empty() && short_.empty()) return false;
  const std::string bare = Bare(text);
  for (const std::string& secret : short_) {
    if (bare.find(secret) != std::string::npos) return true;
  }
  for (std::size_t at = 0; at + kPiece <= bare.size(); ++at) {
    if (std::binary_search(pieces_.begin(), pieces_.end(), PieceAt(bare, at))) return true;
  }
  return false;
}

}  // namespace vespro::engine
