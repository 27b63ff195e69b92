#include "mime/reader.h"

#include <algorithm>

#include "base/charset.h"
#include "base/text.h"
#include "mime/base64.h"
#include "mime/quoted_printable.h"

namespace vespro {
namespace {

constexpr std::size_t kMaxDepth = 50;
constexpr std::size_t kMaxParts = 1000;
// RFC 2046 allows 70; some programs make longer ones.
constexpr std::size_t kMaxBoundaryChars = 250;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Takes a line with its line end off `rest`.
std::string_view TakeLine(std::string_view* rest) {
  const std::size_t lf = rest->find('\n');
  const std::string_view line = rest->substr(0, lf == std::string_view::npos ? lf : lf + 1);
  rest->remove_prefix(line.size());
  return line;
}

std::string_view WithoutLineEnd(std::string_view line) {
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

std::string_view WithoutBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// A field's name: printable, without blanks, in front of a ":" (which blanks may precede).
std::string_view FieldName(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return {};
  std::string_view name = line.substr(0, colon);
  while (!name.empty() && IsBlank(name.back())) name.remove_suffix(1);
  const bool printable =
      std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7F; });
  return printable ? name : std::string_view();
}

// Reads the header lines into `part`, and sets its head and body. The body begins after the first
// empty line, or at the first line that can't be of a header.
void SplitHead(std::string_view bytes, MimePart* part) {
  std::string_view rest = bytes;
  // Mail folders kept in one file put a line of their own in front of each message.
  if (rest.substr(0, 5) == "From ") TakeLine(&rest);
  const char* const head = rest.data();
  std::size_t head_size = 0;
  while (!rest.empty()) {
    std::string_view after = rest;
    const std::string_view line = WithoutLineEnd(TakeLine(&after));
    const std::string_view name = FieldName(line);
    if (line.empty()) {
      rest = after;
      break;
    }
    if (IsBlank(line.front()) && !part->headers.empty()) {
      part->headers.back().value += line;
    } else if (!name.empty()) {
      part->headers.push_back({std::string(name), std::string(line.substr(line.find(':') + 1))});
    } else {
      break;
    }
    head_size = static_cast<std::size_t>(after.data() - head);
    rest = after;
  }
  part->head = std::string_view(head, head_size);
  part->body = rest;
  for (HeaderField& field : part->headers) field.value = WithoutBlanks(field.value);
}

std::string FileName(std::string_view name) {
  name = name.substr(std::min(name.find_last_of("/\\") + 1, name.size()));
  std::string bare(name);
  std::erase_if(bare, [](char c) { return ModText::HasControls(std::string_view(&c, 1)); });
  return bare == "." || bare == ".." ? std::string() : bare;
}

void ReadContentFields(MimePart* part) {
  ParameterizedValue type = ModHeader::ParseParameters(HeaderValue(*part, "Content-Type"));
  const std::size_t slash = type.value.find('/');
  if (slash != std::string::npos && slash > 0 && slash + 1 < type.value.size()) {
    part->type = type.value.substr(0, slash);
    part->subtype = type.value.substr(slash + 1);
  }
  const ParameterizedValue disposition =
      ModHeader::ParseParameters(HeaderValue(*part, "Content-Disposition"));
  part->disposition = disposition.value;
  part->encoding =
      ModHeader::ParseParameters(HeaderValue(*part, "Content-Transfer-Encoding")).value;
  part->file_name = FileName(disposition.Parameter("filename"));
  if (part->file_name.empty()) part->file_name = FileName(type.Parameter("name"));
  std::string_view id = HeaderValue(*part, "Content-ID");
  if (!id.empty() && id.front() == '<') id.remove_prefix(1);
  part->content_id = id.substr(0, id.find('>'));
  part->parameters = std::move(type.parameters);
}

enum class Delimiter { kNone, kNext, kLast };

// What is at `body[at]`, where "--" and the boundary were found: a boundary line or some text.
// `after` is set to the line's end.
Delimiter ReadDelimiter(std::string_view body, std::size_t at, std::size_t size,
                        std::size_t* after) {
  if (at > 0 && body[at - 1] != '\n') return Delimiter::kNone;
  std::string_view rest = body.substr(at + size);
  std::string_view line = TakeLine(&rest);
  *after = body.size() - rest.size();
  line = WithoutLineEnd(line);
  const bool last = line.substr(0, 2) == "--";
  if (last) line.remove_prefix(2);
  if (!WithoutBlanks(line).empty()) return Delimiter::kNone;
  return last ? Delimiter::kLast : Delimiter::kNext;
}

// The bytes of the parts between the boundary lines, each without the line end that belongs to the
// boundary line after it. One more than `max` shows that there are too many.
std::vector<std::string_view> SplitParts(std::string_view body, const std::string& boundary,
                                         std::size_t max) {
  const std::string delimiter = "--" + boundary;
  std::vector<std::string_view> parts;
  bool inside = false;
  std::size_t begin = 0;
  std::size_t after = 0;
  for (std::size_t at = body.find(delimiter); at != std::string_view::npos && parts.size() <= max;
       at = body.find(delimiter, after)) {
    const Delimiter kind = ReadDelimiter(body, at, delimiter.size(), &after);
    if (kind == Delimiter::kNone) {
      after = at + 2;
      continue;
    }
    if (inside) {
      std::string_view part = body.substr(begin, at - begin);
      parts.push_back(WithoutLineEnd(part));
    }
    inside = kind == Delimiter::kNext;
    begin = after;
    if (!inside) break;
  }
  if (inside && begin < body.size()) parts.push_back(body.substr(begin));
  return parts;
}

class Parser {
 public:
  Status Parse(std::string_view bytes, std::size_t depth, MimePart* part) {
    SplitHead(bytes, part);
    ReadContentFields(part);
    if (!part->IsMultipart()) return {};
    if (depth >= kMaxDepth) {
      return Status(Code::kBadInput, "the message holds more than " + std::to_string(kMaxDepth) +
                                         " levels of parts within parts");
    }
    return ParseChildren(depth, part);
  }

 private:
  Status ParseChildren(std::size_t depth, MimePart* part) {
    for (const HeaderParameter& parameter : part->parameters) {
      if (parameter.name == "boundary") part->boundary = parameter.value;
    }
    if (part->boundary.empty() || part->boundary.size() > kMaxBoundaryChars ||
        ModText::HasControls(part->boundary)) {
      return Status(Code::kBadInput, "the message has a part of type multipart/" +
                                         ModText::Printable(part->subtype, 40) +
                                         " without a usable boundary parameter");
    }
    const std::vector<std::string_view> pieces =
        SplitParts(part->body, part->boundary, kMaxParts - parts_);
    parts_ += pieces.size();
    if (parts_ > kMaxParts) {
      return Status(Code::kBadInput,
                    "the message holds more than " + std::to_string(kMaxParts) + " parts");
    }
    part->children.resize(pieces.size());
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      // RFC 2046 section 5.1.5: in a digest, what says nothing of itself is a message.
      if (part->subtype == "digest") {
        part->children[i].type = "message";
        part->children[i].subtype = "rfc822";
      }
      Status status = Parse(pieces[i], depth + 1, &part->children[i]);
      if (!status.ok()) return status;
    }
    return {};
  }

  std::size_t parts_ = 1;
};

}  // namespace

Result<MimePart> ParseMime(std::string_view bytes) {
  MimePart part;
  if (Status status = Parser().Parse(bytes, 0, &part); !status.ok()) return status;
  return part;
}

const HeaderField* Find(const MimePart& part, std::string_view name) {
  for (const HeaderField& field : part.headers) {
    if (ModText::EqualsIgnoringAsciiCase(field.name, name)) return &field;
  }
  return nullptr;
}

std::string_view HeaderValue(const MimePart& part, std::string_view name) {
  const HeaderField* field = Find(part, name);
  return field != nullptr ? std::string_view(field->value) : std::string_view();
}

Result<std::string> DecodedBytes(const MimePart& part) {
  if (part.IsMultipart()) {
    return Status(Code::kBadInput, "a part made of parts has no content of its own");
  }
  if (part.encoding == "base64") return ModBase64::DecodeLenient(part.body);
  if (part.encoding == "quoted-printable") return ModQuotedPrintable::Decode(part.body);
  for (const std::string_view plain : {"", "7bit", "8bit", "binary"}) {
    if (part.encoding == plain) return std::string(part.body);
  }
  return Status(Code::kBadInput, "a part of the message is in the unknown transfer encoding '" +
                                     ModText::Printable(part.encoding, 40) + "'");
}

Result<std::string> DecodedText(const MimePart& part) {
  Result<std::string> bytes = DecodedBytes(part);
  if (!bytes.ok()) return bytes;
  std::string_view charset;
  for (const HeaderParameter& parameter : part.parameters) {
    if (parameter.name == "charset") charset = parameter.value;
  }
  return ModCharset::ToUtf8(bytes.value(), charset);
}

namespace {

void FindBoundaries(const MimePart& part, std::vector<std::string>& found) {
  if (!part.boundary.empty()) found.push_back(part.boundary);
  for (const MimePart& child : part.children) FindBoundaries(child, found);
}

}  // namespace

bool SameButForBoundaries(std::string_view a, std::string_view b) {
  if (a == b) return true;
  std::vector<std::string> in_a, in_b;
  const Result<MimePart> part_a = ParseMime(a), part_b = ParseMime(b);
  if (!part_a.ok() || !part_b.ok()) return false;
  FindBoundaries(part_a.value(), in_a);
  FindBoundaries(part_b.value(), in_b);
  if (in_a.size() != in_b.size()) return false;
  std::string as_a(b);
  for (std::size_t i = 0; i < in_a.size(); ++i) {
    as_a = ModText::ReplaceAll(as_a, in_b[i], in_a[i]);
  }
  return a == as_a;
}

}  // namespace vespro
