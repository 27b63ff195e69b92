#include "terminal/composed_item.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>
#include <system_error>

#include "base/charset.h"
#include "base/files.h"
#include "base/text.h"
#include "mime/author_fields.h"
#include "mime/content_reference.h"
#include "mime/header.h"
#include "mime/html_text.h"
#include "mime/reader.h"
#include "send/body_export.h"
#include "send/message_file.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

// A mail's text is typed by people; more than this is a file given by mistake.
constexpr std::uint64_t kMaxTextBytes = 32 * 1024 * 1024;
// A saved message with its attachments, read as a whole.
constexpr std::uint64_t kMaxEmlBytes = 512 * 1024 * 1024;

// The charset that an HTML file claims in a meta element; empty when it claims none.
std::string ClaimedCharset(std::string_view html) {
  const std::string_view head = html.substr(0, 4096);
  std::size_t at = ModText::FindIgnoringAsciiCase(head, "charset=");
  if (at == std::string_view::npos) return {};
  at += 8;
  if (at < head.size() && (head[at] == '"' || head[at] == '\'')) ++at;
  const std::size_t end = head.find_first_of("\"'> ;/", at);
  return end == std::string_view::npos ? std::string() : std::string(head.substr(at, end - at));
}

// A text file's bytes as UTF-8, whatever editor saved it.
std::string DecodedTextFile(std::string_view bytes, const std::string& claimed_charset) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    return ModCharset::ToUtf8(bytes, "utf-16");
  }
  if (ModText::IsUtf8(bytes)) return std::string(bytes);
  return ModCharset::ToUtf8(bytes, claimed_charset.empty() ? "windows-1252" : claimed_charset);
}

Result<std::string> ReadTextFile(const fs::path& path, bool is_html) {
  Result<std::string> bytes = ModFiles::ReadAll(path, kMaxTextBytes);
  if (!bytes.ok()) return bytes;
  std::string text =
      DecodedTextFile(bytes.value(), is_html ? ClaimedCharset(bytes.value()) : std::string());
  if (text.find('\0') != std::string::npos) {
    return Status(Code::kBadInput,
                  "'" + ModFiles::ToUtf8(path) + "' is not a text: it holds binary data");
  }
  return text;
}

}  // namespace

ComposedItem::~ComposedItem() {
  if (!staging_.empty()) ModFiles::Remove(staging_).Ignore();  // the system's to clean up then
}

Result<fs::path> ComposedItem::Stage(std::string name) {
  if (staging_.empty()) {
    std::array<char, 40> folder;
    std::snprintf(folder.data(), folder.size(), "vespro-%016llx",
                  static_cast<unsigned long long>(randomness_.Next()));
    std::error_code error;
    fs::path path = fs::temp_directory_path(error) / folder.data();
    if (error || path.native().find(',') != fs::path::string_type::npos ||
        !ModFiles::EnsureFolder(path)) {
      return Status(Code::kCannotWrite, "cannot make a folder for temporary files in '" +
                                            ModFiles::ToUtf8(path.parent_path()) +
                                            "': set TMPDIR to another folder");
    }
    staging_ = path;
  }
  // A folder of its own for each file: two files may have one name.
  const fs::path folder = staging_ / std::to_string(++staged_);
  if (Status made = ModFiles::MakeFolders(folder); !made.ok()) return made;
  const std::string wanted = name;
  std::replace(name.begin(), name.end(), ',', '_');
  if (name != wanted) {
    remarks_.push_back("'" + ModText::Printable(wanted) + "' is sent as '" +
                       ModText::Printable(name) +
                       "': the name of an attachment can't hold a comma");
  }
  return folder / ModFiles::FromUtf8(name);
}

void ComposedItem::AddToList(const fs::path& path) {
  attachment_list_ += "," + ModFiles::ToUtf8(path);
}

Status ComposedItem::Attach(const fs::path& file) {
  Result<File> readable = File::Open(file, File::Mode::kRead);
  if (!readable.ok()) {
    return Status(readable.status().code(), "attachment: " + readable.status().text(),
                  readable.status().native());
  }
  std::error_code error;
  const fs::path full = fs::absolute(file, error);
  if (ModFiles::ToUtf8(full).find(',') == std::string::npos) {
    AddToList(full);
    return {};
  }
  Result<fs::path> staged = Stage(ModFiles::ToUtf8(full.filename()));
  if (!staged.ok()) return staged.status();
  fs::create_symlink(full, staged.value(), error);
  if (error) {
    error.clear();
    fs::copy_file(full, staged.value(), error);
  }
  if (error) {
    return Status(Code::kCannotWrite, "cannot copy '" + ModFiles::ToUtf8(full) +
                                          "' to the temporary folder: " + error.message());
  }
  AddToList(staged.value());
  return {};
}

Status ComposedItem::Embed(const fs::path& file) {
  Result<File> readable = File::Open(file, File::Mode::kRead);
  if (!readable.ok()) {
    return Status(readable.status().code(), "embedded file: " + readable.status().text(),
                  readable.status().native());
  }
  const std::string name = ModFiles::ToUtf8(file.filename());
  for (const Embedded& other : embedded_) {
    if (other.name == name) {
      return Status(Code::kUsage, "two embedded files are called '" + name +
                                      "': the text could not tell them apart, rename one");
    }
  }
  embedded_.push_back({name, file});
  return {};
}

Status ComposedItem::SaveAttachment(std::size_t index, const fs::path& path) {
  std::error_code error;
  fs::copy_file(embedded_[index].source, path, fs::copy_options::overwrite_existing, error);
  if (!error) return {};
  return Status(Code::kCannotWrite, "cannot copy '" + ModFiles::ToUtf8(embedded_[index].source) +
                                        "' to '" + ModFiles::ToUtf8(path) +
                                        "': " + error.message());
}

Status ComposedItem::ReadBodies(const ComposeRequest& request) {
  if (!request.text_file.empty()) {
    Result<std::string> text = ReadTextFile(request.text_file, false);
    if (!text.ok()) return text.status();
    text_ = std::move(text).value();
  }
  if (!request.html_file.empty()) {
    Result<std::string> html = ReadTextFile(request.html_file, true);
    if (!html.ok()) return html.status();
    html_ = std::move(html).value();
    if (html_.empty()) {
      return Status(Code::kBadInput, "'" + ModFiles::ToUtf8(request.html_file) +
                                         "' is empty: there is no mail in it");
    }
  }
  return {};
}

// Takes a saved message apart into what a compose window would hold.
class ComposedItem::EmlReader {
 public:
  explicit EmlReader(ComposedItem& item) : item_(item) {}

  Status Read(const fs::path& path) {
    Result<std::string> bytes = ModFiles::ReadAll(path, kMaxEmlBytes);
    if (!bytes.ok()) return bytes.status();
    bytes_ = std::move(bytes).value();
    Result<MimePart> root = ParseMime(bytes_);
    if (!root.ok()) {
      return Status(root.status().code(),
                    "'" + ModFiles::ToUtf8(path) + "' can't be used: " + root.status().text());
    }
    const bool is_mail = Find(root.value(), "From") != nullptr ||
                         Find(root.value(), "Subject") != nullptr ||
                         Find(root.value(), "MIME-Version") != nullptr;
    if (!is_mail) {
      return Status(Code::kBadInput, "'" + ModFiles::ToUtf8(path) +
                                         "' is no saved message: it has no From, Subject or "
                                         "MIME-Version line");
    }
    if (const HeaderField* subject = Find(root.value(), "Subject")) {
      item_.subject_ = ModHeader::Decode(subject->value);
    }
    TakeFields(root.value());
    if (Status status = Walk(root.value()); !status.ok()) return status;
    return PlacePictures();
  }

 private:
  // The author's fields stay; what else is left out is said, but for what every message gets anew.
  void TakeFields(const MimePart& root) {
    static constexpr std::string_view kWrittenAnew[] = {"subject", "from",       "to",
                                                        "date",    "message-id", "mime-version"};
    std::vector<std::string> left_out;
    for (const HeaderField& field : root.headers) {
      const std::string lower = ModText::LowerAscii(field.name);
      if (ModAuthorFields::IsAuthors(field.name)) {
        std::string folded = ModAuthorFields::Folded(field.name, field.value);
        if (folded.empty()) folded = ModHeader::Field(field.name, ModHeader::Decode(field.value));
        item_.fields_ += folded;
      } else if (std::find(std::begin(kWrittenAnew), std::end(kWrittenAnew), lower) ==
                     std::end(kWrittenAnew) &&
                 !lower.starts_with("content-") &&
                 std::find(left_out.begin(), left_out.end(), field.name) == left_out.end()) {
        left_out.push_back(field.name);
      }
    }
    std::string names;
    for (const std::string& name : left_out) names += (names.empty() ? "" : ", ") + name;
    if (!names.empty()) item_.remarks_.push_back("leaves out: " + ModText::Printable(names));
  }

  Status Walk(const MimePart& part) {
    for (const MimePart& child : part.children) {
      if (Status status = Walk(child); !status.ok()) return status;
    }
    if (!part.children.empty()) return {};
    const bool attached = part.disposition == "attachment";
    if (part.type == "text" && !attached && part.file_name.empty()) {
      if (part.subtype == "plain" && !has_text_) return TakeText(part, item_.text_, has_text_);
      if (part.subtype == "html" && !has_html_) return TakeText(part, item_.html_, has_html_);
    }
    others_.push_back(&part);
    return {};
  }

  static Status TakeText(const MimePart& part, std::string& into, bool& has) {
    Result<std::string> text = DecodedText(part);
    if (!text.ok()) return text.status();
    into = std::move(text).value();
    has = true;
    return {};
  }

  // Once the HTML is known: what it shows is embedded, everything else is an attachment.
  Status PlacePictures() {
    for (const MimePart* part : others_) {
      Result<std::string> bytes = DecodedBytes(*part);
      if (!bytes.ok()) return bytes.status();
      const bool shown = has_html_ && !part->content_id.empty() && Shows(part->content_id);
      std::string name = NameOf(*part);
      if (shown) name = Unique(name);
      Result<fs::path> staged = item_.Stage(name);
      if (!staged.ok()) return staged.status();
      if (Status written = ModFiles::ReplaceWith(staged.value(), bytes.value(), Access::kPrivate);
          !written.ok()) {
        return written;
      }
      if (!shown) {
        item_.AddToList(staged.value());
        continue;
      }
      name = ModFiles::ToUtf8(staged.value().filename());
      item_.embedded_.push_back({name, staged.value()});
      PointTo(part->content_id, ModBodyExport::ContentIdOf(name));
    }
    return {};
  }

  bool Shows(const std::string& content_id) const {
    const std::vector<ContentReference> shown = ContentReferences(item_.html_);
    return std::any_of(
        shown.begin(), shown.end(),
        [&content_id](const ContentReference& reference) { return reference.id == content_id; });
  }

  void PointTo(const std::string& content_id, const std::string& new_id) {
    std::string html;
    std::size_t done = 0;
    for (const ContentReference& reference : ContentReferences(item_.html_)) {
      if (reference.id != content_id) continue;
      html.append(item_.html_, done, reference.begin - done).append(new_id);
      done = reference.end;
    }
    item_.html_ = html.append(item_.html_, done);
  }

  std::string NameOf(const MimePart& part) {
    if (!part.file_name.empty()) return ModFiles::SafeName(part.file_name);
    if (part.type == "message") return "message.eml";
    const std::string ending =
        part.type == "text" && part.subtype == "plain" ? "txt" : part.subtype;
    return ModFiles::SafeName("part" + std::to_string(++unnamed_) + "." + ending);
  }

  std::string Unique(const std::string& name) {
    std::string candidate = name;
    for (int i = 2; !names_.insert(ModText::LowerAscii(candidate)).second; ++i) {
      candidate = std::to_string(i) + "-" + name;
    }
    return candidate;
  }

  ComposedItem& item_;
  std::string bytes_;
  bool has_text_ = false, has_html_ = false;
  std::vector<const MimePart*> others_;
  std::set<std::string> names_;
  int unnamed_ = 0;
};

Result<std::unique_ptr<ComposedItem>> ComposedItem::Compose(const ComposeRequest& request,
                                                            Randomness& randomness) {
  const bool has_bodies = !request.text_file.empty() || !request.html_file.empty();
  if (!request.eml_file.empty() && (has_bodies || !request.embed.empty())) {
    return Status(Code::kUsage,
                  "--eml brings the whole mail: leave out --text, --html and --embed");
  }
  if (request.eml_file.empty() && !has_bodies) {
    return Status(Code::kUsage, "there is no mail to send: give --text, --html or --eml");
  }
  if (!request.embed.empty() && request.html_file.empty()) {
    return Status(Code::kUsage, "--embed needs --html, whose text shows the file as cid:NAME");
  }
  std::unique_ptr<ComposedItem> item(new ComposedItem(randomness));
  if (!request.eml_file.empty()) {
    EmlReader reader(*item);
    if (Status read = reader.Read(request.eml_file); !read.ok()) return read;
  } else if (Status read = item->ReadBodies(request); !read.ok()) {
    return read;
  }
  if (request.make_text && ModText::Trim(item->text_).empty()) {
    item->text_ = HtmlToText(item->html_);
  }
  std::string fields;
  for (const std::string& field : request.fields) {
    if (Status fits = ModAuthorFields::Check(field); !fits.ok()) return fits;
    fields += ModAuthorFields::Format(field);
  }
  item->fields_.insert(0, fields);  // of a name that is there twice the first counts
  if (request.has_subject) item->subject_ = ModSend::OneLine(request.subject);
  for (const fs::path& file : request.embed) {
    if (Status added = item->Embed(file); !added.ok()) return added;
  }
  for (const fs::path& file : request.attach) {
    if (Status added = item->Attach(file); !added.ok()) return added;
  }
  if (item->text_.empty() && item->html_.empty() && item->attachment_list_.empty()) {
    return Status(Code::kBadInput, "the mail is empty: no text, no HTML, no attachment");
  }
  return item;
}

}  // namespace vespro
