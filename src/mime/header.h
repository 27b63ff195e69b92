// mime/header.h - header fields as text: encoded words (RFC 2047), parameters (RFC 2045
// section 5.1, RFC 2231), folding (RFC 5322 section 2.2.3). Text is UTF-8; what is malformed is
// repaired. CR, LF and NUL in a text are left out of what is written. Pure: any thread. Reading
// never fails.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vespro {

struct HeaderParameter {
  std::string name;   // lower case
  std::string value;  // UTF-8
};

// The value of a Content-Type or Content-Disposition field.
struct ParameterizedValue {
  std::string value;  // lower case, such as "text/plain"
  std::vector<HeaderParameter> parameters;

  // `name` in lower case; empty when there is none.
  std::string_view Parameter(std::string_view name) const;
};

namespace ModHeader {

// A whole field with its last CR LF: "Subject: ...". Lines of at most 76 characters, folded at
// blanks. Text that is not plain ASCII, or that can't be folded, goes into encoded words, so that
// no text gives a longer line.
std::string Field(std::string_view name, std::string_view text);

// A display name, as it is in front of an address: atoms, a quoted string, or encoded words.
// `column` is how many characters already are on the line.
std::string Phrase(std::string_view name, std::size_t column);

// "Name <address>", or the address alone when the name is empty; folded as Phrase is. The address
// is written as it is; who needs ASCII checks it before.
std::string Mailbox(std::string_view name, std::string_view address, std::size_t column);

// "; name=value" with a line break after the ";" and everything that RFC 2231 has for values that
// are long or not ASCII.
std::string Parameter(std::string_view name, std::string_view value);
// The "filename" of a Content-Disposition field. A name that needs RFC 2231 is followed by an
// ASCII likeness for programs that don't know it; those that do take the one that comes first.
std::string FileNameParameter(std::string_view file_name);

// Encoded words and raw bytes of an unfolded field's value as UTF-8.
std::string Decode(std::string_view value);

// "value; name=value ...", comments left out, RFC 2231 and encoded words undone. Only the first 200
// parameters are read.
ParameterizedValue ParseParameters(std::string_view value);

}  // namespace ModHeader
}  // namespace vespro
