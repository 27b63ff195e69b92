// The writer and the reader for a script: mime_independent.py holds them against another program's.
//
//   mime_sample write SUBJECT-FILE TEXT-FILE HTML-FILE|- {embed|attach PATH NAME CONTENT-ID}...
//   mime_sample read MESSAGE-FILE
//
// `write` puts the message on standard output. `read` puts a line a part there, parents first:
// depth, type, disposition, file name, content id, and the content in Base64 (a text's as UTF-8).
#include <cstdio>
#include <string>
#include <vector>

#include "base/files.h"
#include "mime/base64.h"
#include "mime/reader.h"
#include "mime/writer.h"

namespace vespro {
namespace {

class StandardOutput final : public ByteSink {
 public:
  Status Write(std::string_view bytes) override {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size()) return {};
    return Status(Code::kCannotWrite, "cannot write to standard output");
  }
};

Status ReadInto(const std::string& path, std::string* out) {
  Result<std::string> bytes = ModFiles::ReadAll(ModFiles::FromUtf8(path));
  if (!bytes.ok()) return bytes.status();
  *out = std::move(bytes).value();
  return {};
}

Status WriteSample(const std::vector<std::string>& words) {
  Composition mail;
  mail.has_html = words[2] != "-";
  if (Status status = ReadInto(words[0], &mail.subject); !status.ok()) return status;
  if (Status status = ReadInto(words[1], &mail.text); !status.ok()) return status;
  if (mail.has_html) {
    if (Status status = ReadInto(words[2], &mail.html); !status.ok()) return status;
  }
  for (std::size_t i = 3; i + 3 < words.size(); i += 4) {
    std::vector<MimeFile>& files = words[i] == "embed" ? mail.related : mail.attachments;
    files.push_back({ModFiles::FromUtf8(words[i + 1]), words[i + 2], words[i + 3], ""});
  }
  SystemRandomness randomness;
  StandardOutput out;
  return WriteMime(mail, randomness, out);
}

Status Print(const MimePart& part, int depth) {
  std::printf("%d\t%s/%s\t%s\t%s\t%s\t", depth, part.type.c_str(), part.subtype.c_str(),
              part.disposition.c_str(), part.file_name.c_str(), part.content_id.c_str());
  if (!part.IsMultipart()) {
    Result<std::string> content = part.type == "text" ? DecodedText(part) : DecodedBytes(part);
    if (!content.ok()) return content.status();
    std::printf("%s", ModBase64::Encode(content.value()).c_str());
  }
  std::printf("\n");
  for (const MimePart& child : part.children) {
    if (Status status = Print(child, depth + 1); !status.ok()) return status;
  }
  return {};
}

Status ReadSample(const std::string& path) {
  std::string bytes;
  if (Status status = ReadInto(path, &bytes); !status.ok()) return status;
  Result<MimePart> message = ParseMime(bytes);
  if (!message.ok()) return message.status();
  std::printf("%s\n", ModHeader::Decode(HeaderValue(message.value(), "Subject")).c_str());
  return Print(message.value(), 0);
}

}  // namespace
}  // namespace vespro

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + count);
  vespro::Status status(vespro::Code::kUsage, "usage: see the top of the source file");
  if (words.size() >= 4 && words[0] == "write") {
    status = vespro::WriteSample({words.begin() + 1, words.end()});
  } else if (words.size() == 2 && words[0] == "read") {
    status = vespro::ReadSample(words[1]);
  }
  if (status.ok()) return 0;
  std::fprintf(stderr, "%s\n", status.text().c_str());
  return 1;
}
