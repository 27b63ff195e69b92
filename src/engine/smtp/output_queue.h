// engine/smtp/output_queue.h - what is to go out on one connection, in order, and how far it has
// got. All numbers are bytes since the connection began. One thread per object.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::engine {

// Bytes for the wire. `pieces` points into `text` and into messages; the owner keeps it unchanged
// until it is written, then hands it back to be filled again.
struct WireBytes {
  std::string text;
  std::vector<std::string_view> pieces;
  std::vector<std::size_t> ended;  // slots whose message ends in these bytes
};

class OutputQueue {
 public:
  // Copies.
  void Append(std::string_view bytes);
  // A long one is not copied: it must stay as it is until it is written.
  void AppendPiece(std::string_view piece);
  // A message's pieces under DATA: every dot at the beginning of a line doubled, and the end of
  // data (RFC 5321, section 4.5.2). A last line without CR LF gets one.
  void AppendDotStuffed(std::span<const std::string_view> pieces);

  // Moves everything that waits into text and pieces of `out`; false when nothing does.
  bool Take(WireBytes& out);
  // So many more of the bytes that were taken were handed to the system.
  void Written(std::uint64_t bytes);
  // What was not taken yet is never sent.
  void DropWaiting();

  std::uint64_t queued() const { return queued_; }
  std::uint64_t taken() const { return taken_; }
  std::uint64_t written() const { return written_; }

 private:
  // In text_ at `offset`, or elsewhere.
  struct Part {
    const char* elsewhere;
    std::size_t offset, size;
  };

  std::string text_;
  std::vector<Part> parts_;
  std::uint64_t queued_ = 0, taken_ = 0, written_ = 0;
};

}  // namespace vespro::engine
