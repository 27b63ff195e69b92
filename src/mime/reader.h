// mime/reader.h - a MIME message in memory as a tree of parts (RFC 2045, 2046). Pure: any thread.
// The views in a tree point into the message's bytes, which must outlive it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "mime/header.h"

namespace vespro {

struct HeaderField {
  std::string name;   // as it is in the message
  std::string value;  // unfolded, outer blanks dropped; ModHeader::Decode gives it as UTF-8
};

struct MimePart {
  std::vector<HeaderField> headers;
  std::string type = "text";  // lower case, as is the subtype
  std::string subtype = "plain";
  std::vector<HeaderParameter> parameters;  // of Content-Type
  std::string encoding;     // Content-Transfer-Encoding, lower case; empty when there is none
  std::string disposition;  // lower case; empty when there is none
  // UTF-8, and no more than a name: what is in front of a "/" or "\" and all control characters
  // are dropped. Empty when there is none.
  std::string file_name;
  std::string content_id;          // without its angle brackets
  std::string_view head;           // the header lines with their line ends
  std::string_view body;           // as it is, without the line end that belongs to the boundary
  std::string boundary;            // of a multipart
  std::vector<MimePart> children;  // of a multipart

  bool Is(std::string_view wanted_type, std::string_view wanted_subtype) const {
    return type == wanted_type && subtype == wanted_subtype;
  }
  bool IsMultipart() const { return type == "multipart"; }
};

// Lines may end in CR LF or LF. What is in front of the first and after the last boundary line
// is dropped, and a missing last boundary line is no fault. A message in a message (message/rfc822)
// stays one part. kBadInput for a multipart without a usable boundary, more than 50 levels, or more
// than 1,000 parts.
Result<MimePart> ParseMime(std::string_view bytes);

// The first field of that name, in any case; nullptr when there is none.
const HeaderField* Find(const MimePart& part, std::string_view name);
// Its value; empty when there is none.
std::string_view HeaderValue(const MimePart& part, std::string_view name);

// The body with its transfer encoding undone. kBadInput for a multipart, and for an encoding that
// we don't know.
Result<std::string> DecodedBytes(const MimePart& part);

// The body as UTF-8, whatever it says it is: DecodedBytes and then its charset. Line ends stay as
// they are, and so do the line breaks inside the paragraphs of format=flowed.
Result<std::string> DecodedText(const MimePart& part);

// Whether two messages differ in nothing but the boundaries of their multiparts, which are made
// anew for each message that is written.
bool SameButForBoundaries(std::string_view a, std::string_view b);

}  // namespace vespro
