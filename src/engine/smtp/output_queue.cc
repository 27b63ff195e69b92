#include "engine/smtp/output_queue.h"

#include <cassert>

namespace vespro::engine {
namespace {

// Smaller pieces of a message are copied next to the commands: one long write is cheaper than many
// short ones, above all under TLS. Attachments are longer and are sent from where they are.
constexpr std::size_t kCopyBelow = 8 * 1024;

}  // namespace

void OutputQueue::Append(std::string_view bytes) {
  queued_ += bytes.size();
  if (!parts_.empty() && parts_.back().elsewhere == nullptr) {
    parts_.back().size += bytes.size();
  } else {
    parts_.push_back({nullptr, text_.size(), bytes.size()});
  }
  text_ += bytes;
}

void OutputQueue::AppendPiece(std::string_view piece) {
  if (piece.size() < kCopyBelow) return Append(piece);
  queued_ += piece.size();
  parts_.push_back({piece.data(), 0, piece.size()});
}

// The very first line counts, and so does a line that begins with a piece.
void OutputQueue::AppendDotStuffed(std::span<const std::string_view> pieces) {
  bool line_start = true;
  char last[2] = {'\r', '\n'};
  for (std::string_view piece : pieces) {
    if (piece.empty()) continue;
    if (line_start && piece.front() == '.') Append(".");
    last[0] = piece.size() > 1 ? piece[piece.size() - 2] : last[1];
    last[1] = piece.back();
    line_start = piece.back() == '\n';
    for (std::size_t dot; (dot = piece.find("\n.")) != std::string_view::npos;) {
      AppendPiece(piece.substr(0, dot + 1));
      Append(".");
      piece.remove_prefix(dot + 1);
    }
    AppendPiece(piece);
  }
  if (last[0] != '\r' || last[1] != '\n') Append("\r\n");
  Append(".\r\n");
}

bool OutputQueue::Take(WireBytes& out) {
  if (parts_.empty()) return false;
  out.text.clear();
  out.text.swap(text_);
  out.pieces.clear();
  for (const Part& part : parts_) {
    const char* begin = part.elsewhere != nullptr ? part.elsewhere : out.text.data() + part.offset;
    out.pieces.emplace_back(begin, part.size);
  }
  parts_.clear();
  taken_ = queued_;
  return true;
}

void OutputQueue::Written(std::uint64_t bytes) {
  written_ += bytes;
  assert(written_ <= taken_);
}

void OutputQueue::DropWaiting() {
  text_.clear();
  parts_.clear();
  queued_ = taken_;
}

}  // namespace vespro::engine
