// mime/quoted_printable.h - quoted-printable (RFC 2045 section 6.7), for text. Pure: any thread.
#pragma once

#include <string>
#include <string_view>

namespace vespro::ModQuotedPrintable {

// Lines of at most 76 characters. CR LF, a lone CR and a lone LF in the text each become a hard
// line break, CR LF; none is added after the last line. A UTF-8 character is not split over two
// lines. Blanks and tabs before a line end, a "." and a "From " at the start of a line are written
// as
// "=XX", so that no server on the way can change them.
std::string Encode(std::string_view text);

// Never fails: "=" without two hexadecimal digits stays as it is, and so do bytes outside
// ASCII. Blanks and tabs before a line end were added on the way and are dropped. Line ends stay as
// they are.
std::string Decode(std::string_view text);

}  // namespace vespro::ModQuotedPrintable
