// engine/qp_writer.h - quoted-printable text (RFC 2045, section 6.7) put together from pieces that
// were encoded beforehand and values that are encoded on the way. Text is UTF-8 with CR LF line
// ends. No line becomes longer than 76 characters, whatever comes next. Pure: any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vespro::engine {

// A static text, encoded as if it began a line.
class QpPiece {
 public:
  explicit QpPiece(std::string_view text);

 private:
  friend class QpWriter;
  std::string bytes_;
  std::size_t first_line_ = 0;  // characters before the first line end
  std::size_t last_line_ = 0;   // after the last one
  bool breaks_ = false;         // has a line end
};

class QpWriter {
 public:
  // Begins at the start of a line.
  explicit QpWriter(std::string& out) : out_(out) {}
  void Append(const QpPiece& piece);
  void Append(std::string_view text);

 private:
  friend class QpPiece;
  // One character, or several that must stay together, `width` characters when written.
  void Encoded(std::string_view bytes);
  void Plain(char c);
  void Room(std::size_t width);

  std::string& out_;
  std::size_t column_ = 0;  // at most kMaxColumn between the calls
};

}  // namespace vespro::engine
