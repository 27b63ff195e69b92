#include "engine/qp_writer.h"

#include <algorithm>

namespace vespro::engine {
namespace {

// The 76th character of a line is the "=" of a soft line break.
constexpr std::size_t kMaxColumn = 75;

std::size_t CharacterLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
  return std::min(length, text.size());
}

}  // namespace

void QpWriter::Room(std::size_t width) {
  if (column_ + width <= kMaxColumn) return;
  out_ += "=\r\n";
  column_ = 0;
}

void QpWriter::Encoded(std::string_view bytes) {
  Room(3 * bytes.size());
  for (char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out_ += '=';
    out_ += "0123456789ABCDEF"[byte >> 4];
    out_ += "0123456789ABCDEF"[byte & 15];
  }
  column_ += 3 * bytes.size();
}

void QpWriter::Plain(char c) {
  Room(1);
  out_ += c;
  ++column_;
}

void QpWriter::Append(std::string_view text) {
  while (!text.empty()) {
    const char c = text.front();
    std::size_t length = 1;
    if (text.starts_with("\r\n")) {
      out_ += "\r\n";
      column_ = 0;
      length = 2;
    } else if (c == ' ' || c == '\t') {
      // At a piece's end nobody knows whether the line ends there.
      if (text.size() == 1 || text[1] == '\r')
        Encoded(text.substr(0, 1));
      else
        Plain(c);
    } else if (c > ' ' && c < 0x7F && c != '=') {
      // A dot, or the "From " of a mailbox file, that opens a line could be changed on the way.
      if (column_ == 0 && (c == '.' || text.starts_with("From ")))
        Encoded(text.substr(0, 1));
      else
        Plain(c);
    } else {
      length = CharacterLength(text);
      Encoded(text.substr(0, length));
    }
    text.remove_prefix(length);
  }
}

void QpWriter::Append(const QpPiece& piece) {
  const std::size_t limit = piece.breaks_ ? kMaxColumn + 1 : kMaxColumn;
  if (column_ + piece.first_line_ > limit) {
    out_ += "=\r\n";
    column_ = 0;
  }
  out_ += piece.bytes_;
  column_ = piece.breaks_ ? piece.last_line_ : column_ + piece.last_line_;
}

QpPiece::QpPiece(std::string_view text) {
  QpWriter writer(bytes_);
  writer.Append(text);
  const std::size_t first = bytes_.find("\r\n");
  breaks_ = first != std::string::npos;
  first_line_ = breaks_ ? first : bytes_.size();
  last_line_ = breaks_ ? bytes_.size() - bytes_.rfind("\r\n") - 2 : bytes_.size();
}

}  // namespace vespro::engine
