#include "mime/writer.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/charset.h"
#include "base/lines.h"
#include "base/text.h"
#include "mime/base64.h"
#include "mime/header.h"
#include "mime/quoted_printable.h"

namespace vespro {
namespace {

constexpr std::string_view kUnknownType = "application/octet-stream";

struct Ending {
  std::string_view ending;
  std::string_view type;
};

constexpr Ending kEndings[] = {
    {"7z", "application/x-7z-compressed"},
    {"avi", "video/x-msvideo"},
    {"bmp", "image/bmp"},
    {"css", "text/css"},
    {"csv", "text/csv"},
    {"doc", "application/msword"},
    {"docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {"epub", "application/epub+zip"},
    {"gif", "image/gif"},
    {"gz", "application/gzip"},
    {"htm", "text/html"},
    {"html", "text/html"},
    {"ics", "text/calendar"},
    {"ico", "image/vnd.microsoft.icon"},
    {"jpeg", "image/jpeg"},
    {"jpg", "image/jpeg"},
    {"json", "application/json"},
    {"m4a", "audio/mp4"},
    {"mov", "video/quicktime"},
    {"mp3", "audio/mpeg"},
    {"mp4", "video/mp4"},
    {"mpeg", "video/mpeg"},
    {"odp", "application/vnd.oasis.opendocument.presentation"},
    {"ods", "application/vnd.oasis.opendocument.spreadsheet"},
    {"odt", "application/vnd.oasis.opendocument.text"},
    {"ogg", "audio/ogg"},
    {"pdf", "application/pdf"},
    {"png", "image/png"},
    {"ppt", "application/vnd.ms-powerpoint"},
    {"pptx", "application/vnd.openxmlformats-officedocument.presentationml.presentation"},
    {"rtf", "application/rtf"},
    {"svg", "image/svg+xml"},
    {"tar", "application/x-tar"},
    {"tif", "image/tiff"},
    {"tiff", "image/tiff"},
    {"txt", "text/plain"},
    {"vcf", "text/vcard"},
    {"wav", "audio/x-wav"},
    {"webm", "video/webm"},
    {"webp", "image/webp"},
    {"xls", "application/vnd.ms-excel"},
    {"xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {"xml", "application/xml"},
    {"zip", "application/zip"},
};

// "type/subtype" that may be sent in Base64 as it is.
bool IsSendableType(std::string_view type) {
  const std::size_t slash = type.find('/');
  if (slash == std::string_view::npos || slash == 0 || slash + 1 == type.size()) return false;
  const auto ok = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("/.+-_").find(c) != std::string_view::npos;
  };
  if (!std::all_of(type.begin(), type.end(), ok) || type.size() > 100) return false;
  // RFC 2046 forbids Base64 for a message in a message, and nothing else carries a file of any line
  // length and any bytes unchanged. So a saved message goes as plain bytes; its name tells what it
  // is.
  return !ModText::StartsWithIgnoringAsciiCase(type, "message/") &&
         !ModText::StartsWithIgnoringAsciiCase(type, "multipart/");
}

std::string TypeOf(const MimeFile& file) {
  if (IsSendableType(file.content_type)) return file.content_type;
  return ContentTypeOfName(file.content_type.empty() ? std::string_view(file.name) : "");
}

Status CheckFile(const MimeFile& file) {
  const bool good_id = std::all_of(file.content_id.begin(), file.content_id.end(), [](char c) {
    return c > ' ' && c <= '~' && c != '<' && c != '>';
  });
  if (!good_id || file.content_id.size() > 900) {
    return Status(Code::kUsage, "the content id '" + ModText::Printable(file.content_id) +
                                    "' of '" + ModText::Printable(file.name) + "' can't be sent");
  }
  return File::Open(file.path, File::Mode::kRead).status();
}

// Whether the text may be sent as it is. Where a server may touch it (a "." or "From " at the start
// of a line, blanks at its end), or where it could hold a boundary line, it is encoded.
bool IsPlain(std::string_view text) {
  if (text.find("=_") != std::string_view::npos) return false;
  std::string_view line;
  while (NextLine(text, line)) {
    if (line.size() > 76 || line.substr(0, 1) == "." || line.substr(0, 5) == "From ") return false;
    if (!line.empty() && (line.back() == ' ' || line.back() == '\t')) return false;
    if (!std::all_of(line.begin(), line.end(),
                     [](char c) { return (c >= ' ' && c <= '~') || c == '\t'; })) {
      return false;
    }
  }
  return true;
}

std::string WithCrLf(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 16);
  std::string_view line;
  for (std::size_t before = text.size(); NextLine(text, line); before = text.size()) {
    out += line;
    if (before - text.size() > line.size()) out += "\r\n";
  }
  return out;
}

struct EncodedText {
  std::string_view encoding;
  std::string body;
};

EncodedText Encode(std::string_view text) {
  if (IsPlain(text)) return {"7bit", WithCrLf(text)};
  std::string quoted = ModQuotedPrintable::Encode(text);
  if (quoted.size() <= ModBase64::LinesSize(text.size())) {
    return {"quoted-printable", std::move(quoted)};
  }
  EncodedText encoded{"base64", {}};
  ModBase64::AppendLines(encoded.body, WithCrLf(text));
  return encoded;
}

class Writer {
 public:
  Writer(const Composition& composition, Randomness& randomness, ByteSink& sink)
      : composition_(composition), randomness_(randomness), sink_(sink) {
    attachments_.reserve(composition.attachments.size() + composition.related.size());
    if (!composition.has_html) {
      for (const MimeFile& file : composition.related) attachments_.push_back(&file);
    }
    for (const MimeFile& file : composition.attachments) attachments_.push_back(&file);
  }

  // Each of these writes an entity: its Content fields, an empty line, its body.
  Status Message() {
    whole_ = attachments_.empty();
    if (attachments_.empty()) return Bodies();
    const std::string boundary = StartMultipart("mixed", "");
    if (Status status = Between(boundary); !status.ok()) return status;
    if (Status status = Bodies(); !status.ok()) return status;
    for (const MimeFile* file : attachments_) {
      if (Status status = Between(boundary); !status.ok()) return status;
      if (Status status = FilePart(*file, "attachment"); !status.ok()) return status;
    }
    return End(boundary);
  }

  Status Put(std::string_view bytes) { return sink_.Write(bytes); }

 private:
  Status Bodies() {
    if (!composition_.has_html) return TextPart("plain", composition_.text);
    if (composition_.text.empty()) return Html();
    whole_ = false;
    const std::string boundary = StartMultipart("alternative", "");
    if (Status status = Between(boundary); !status.ok()) return status;
    if (Status status = TextPart("plain", composition_.text); !status.ok()) return status;
    if (Status status = Between(boundary); !status.ok()) return status;
    if (Status status = Html(); !status.ok()) return status;
    return End(boundary);
  }

  Status Html() {
    if (composition_.related.empty()) return TextPart("html", composition_.html);
    whole_ = false;
    const std::string boundary =
        StartMultipart("related", ModHeader::Parameter("type", "text/html"));
    if (Status status = Between(boundary); !status.ok()) return status;
    if (Status status = TextPart("html", composition_.html); !status.ok()) return status;
    for (const MimeFile& file : composition_.related) {
      if (Status status = Between(boundary); !status.ok()) return status;
      if (Status status = FilePart(file, "inline"); !status.ok()) return status;
    }
    return End(boundary);
  }

  Status TextPart(std::string_view subtype, std::string_view text) {
    EncodedText encoded = Encode(ModCharset::RepairedUtf8(text));
    const bool ended = encoded.body.empty() || encoded.body.back() == '\n';
    if (whole_ && !ended) encoded.body += "\r\n";
    pending_ += "Content-Type: text/" + std::string(subtype) + "; charset=UTF-8\r\n";
    pending_ += "Content-Transfer-Encoding: " + std::string(encoded.encoding) + "\r\n\r\n";
    if (Status status = Flush(); !status.ok()) return status;
    return Put(encoded.body);
  }

  Status FilePart(const MimeFile& file, std::string_view disposition) {
    pending_ += "Content-Type: " + TypeOf(file);
    if (!file.name.empty()) pending_ += ModHeader::Parameter("name", file.name);
    pending_ += "\r\nContent-Transfer-Encoding: base64\r\n";
    if (!file.content_id.empty()) pending_ += "Content-ID: <" + file.content_id + ">\r\n";
    pending_ += "Content-Disposition: " + std::string(disposition);
    if (!file.name.empty()) pending_ += ModHeader::FileNameParameter(file.name);
    pending_ += "\r\n\r\n";
    if (Status status = Flush(); !status.ok()) return status;
    return FileBytes(file.path);
  }

  Status FileBytes(const std::filesystem::path& path) {
    constexpr std::size_t kBlockBytes = ModBase64::kLineBytes * 4096;
    Result<File> file = File::Open(path, File::Mode::kRead);
    if (!file.ok()) return file.status();
    block_.resize(kBlockBytes);
    Base64LineEncoder encoder(sink_);
    for (;;) {
      Result<std::size_t> count = file->Read(block_.data(), block_.size());
      if (!count.ok()) return count.status();
      if (count.value() == 0) return encoder.Finish();
      Status status = encoder.Write({block_.data(), count.value()});
      if (!status.ok()) return status;
    }
  }

  // The header is put out with what follows it.
  std::string StartMultipart(std::string_view subtype, const std::string& parameters) {
    // "=_" is in neither Base64 nor quoted-printable, and plain text that holds it is encoded.
    std::string boundary = "=_";
    for (int i = 0; i < 2; ++i) {
      std::array<char, 20> digits;
      std::snprintf(digits.data(), digits.size(), "%016llx",
                    static_cast<unsigned long long>(randomness_.Next()));
      boundary += digits.data();
    }
    pending_ += "Content-Type: multipart/" + std::string(subtype) + parameters +
                ModHeader::Parameter("boundary", boundary) + "\r\n";
    return boundary;
  }

  Status Between(const std::string& boundary) {
    pending_ += "\r\n--" + boundary + "\r\n";
    return Flush();
  }

  Status End(const std::string& boundary) {
    pending_ += "\r\n--" + boundary + "--\r\n";
    return Flush();
  }

  Status Flush() {
    Status status = Put(pending_);
    pending_.clear();
    return status;
  }

  const Composition& composition_;
  Randomness& randomness_;
  ByteSink& sink_;
  std::vector<const MimeFile*> attachments_;
  bool whole_ = true;  // the next text is the whole message
  std::string pending_;
  std::string block_;
};

}  // namespace

Status WriteMime(const Composition& composition, Randomness& randomness, ByteSink& sink) {
  for (const std::vector<MimeFile>* files : {&composition.related, &composition.attachments}) {
    for (const MimeFile& file : *files) {
      if (Status status = CheckFile(file); !status.ok()) return status;
    }
  }
  Writer writer(composition, randomness, sink);
  const std::string start = "MIME-Version: 1.0\r\n" +
                            ModHeader::Field("Subject", composition.subject) + composition.fields;
  if (Status status = writer.Put(start); !status.ok()) return status;
  return writer.Message();
}

std::string ContentTypeOfName(std::string_view name) {
  const std::size_t dot = name.find_last_of('.');
  if (dot == std::string_view::npos) return std::string(kUnknownType);
  const std::string ending = ModText::LowerAscii(name.substr(dot + 1));
  for (const Ending& row : kEndings) {
    if (row.ending == ending) return std::string(row.type);
  }
  return std::string(kUnknownType);
}

}  // namespace vespro
