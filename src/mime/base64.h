// mime/base64.h - Base64 (RFC 4648 section 4; in messages RFC 2045 section 6.8). Pure: any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/status.h"

namespace vespro {
namespace ModBase64 {

// The characters of a full line in a message, and the bytes that they stand for.
inline constexpr std::size_t kLineChars = 76;
inline constexpr std::size_t kLineBytes = 57;

// One line without line breaks, padded.
std::string Encode(std::string_view bytes);

// The strict inverse: kBadInput for a character outside the alphabet (a blank or line break too),
// missing or misplaced padding, and bits left over. The text of the failure repeats no input.
Result<std::string> Decode(std::string_view text);

// What a message's body holds, as well as it can be read: other characters are skipped, padding may
// be missing, and text may go on after it. Never fails.
std::string DecodeLenient(std::string_view text);

// Appends the bytes as lines of 76 characters, each ended by CR LF, the last one too.
void AppendLines(std::string& out, std::string_view bytes);
// How many bytes AppendLines appends.
std::size_t LinesSize(std::size_t bytes);

}  // namespace ModBase64

// AppendLines for bytes that come in pieces of any size. One thread.
class Base64LineEncoder {
 public:
  explicit Base64LineEncoder(ByteSink& sink) : sink_(sink) {}
  // Both fail only as the sink does; nothing may be called afterwards.
  Status Write(std::string_view bytes);
  // The last, short line. Call once, after the last Write.
  Status Finish();

 private:
  Status WriteLines(std::string_view whole_lines);

  ByteSink& sink_;
  std::string rest_;  // less than a line's bytes
  std::string block_;
};

}  // namespace vespro
