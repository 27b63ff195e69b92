// mime/writer.h - a composed message as MIME (RFC 2045, 2046; related parts RFC 2387). One thread a
// call.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "base/random.h"
#include "base/status.h"

namespace vespro {

struct MimeFile {
  std::filesystem::path path;
  std::string name;          // UTF-8; what the recipient sees
  std::string content_id;    // without angle brackets, printable ASCII without blanks; empty: none
  std::string content_type;  // such as "image/png"; empty: by the ending of `name`
};

// Text is UTF-8; each kind of line end counts.
struct Composition {
  std::string subject;
  std::string fields;  // further header fields, whole ones with their CR LF
  std::string text;
  std::string html;
  bool has_html = false;
  std::vector<MimeFile>
      related;  // what the HTML names as "cid:"; without HTML they are attachments
  std::vector<MimeFile> attachments;
};

// Writes MIME-Version, Subject, the further fields and the Content fields, an empty line, and the
// body; the fields of who, whom and when are for others to put in front. The text part is left out
// beside HTML when it is empty. Lines of bodies have at most 76 characters and end in CR LF; a text
// that is the whole message and has no last line end gets one. Files are read in blocks, never
// whole. All files are opened once before the first byte is written: kNotFound or kBadInput names
// the one that can't be. kUsage for a content id that can't be in a header. Else what the sink
// says.
Status WriteMime(const Composition& composition, Randomness& randomness, ByteSink& sink);

// By the ending of the name, in any case; application/octet-stream when the ending says nothing.
std::string ContentTypeOfName(std::string_view name);

}  // namespace vespro
