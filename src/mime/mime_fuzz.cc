// Reads any bytes as a message, as header fields and as encoded text, and writes back what it read.
#include <cstdint>
#include <cstdlib>

#include "base/text.h"
#include "mime/base64.h"
#include "mime/quoted_printable.h"
#include "mime/reader.h"
#include "mime/testing.h"

namespace vespro {
namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

void ReadPart(const MimePart& part) {
  for (const HeaderField& field : part.headers) {
    Require(ModText::IsUtf8(ModHeader::Decode(field.value)));
  }
  Require(ModText::IsUtf8(part.file_name) && !ModText::HasControls(part.file_name));
  Result<std::string> text = DecodedText(part);
  Require(!text.ok() || ModText::IsUtf8(text.value()));
  for (const MimePart& child : part.children) ReadPart(child);
}

void WriteBack(const std::string& text) {
  Require(ModBase64::Decode(ModBase64::Encode(text)).value() == text);
  const std::string quoted = ModQuotedPrintable::Encode(text);
  Require(LongestLine(quoted) <= 76);
  Require(ModQuotedPrintable::Encode(ModQuotedPrintable::Decode(quoted)) == quoted);
  Require(LongestLine(ModHeader::Field("Subject", text)) <= 76);
  Require(LongestLine("Content-Disposition: a" + ModHeader::Parameter("filename", text)) <= 76);
  const std::string mailbox = ModHeader::Mailbox(text, "a@b.de", 4);
  Require(LongestLine("To: " + mailbox) <= 76);
}

}  // namespace
}  // namespace vespro

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(data, data + size);
  vespro::Result<vespro::MimePart> parsed = vespro::ParseMime(bytes);
  if (parsed.ok()) vespro::ReadPart(parsed.value());
  vespro::ModHeader::ParseParameters(bytes);
  vespro::WriteBack(bytes);
  return 0;
}
