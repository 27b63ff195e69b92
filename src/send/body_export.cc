#include "send/body_export.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <set>
#include <system_error>
#include <vector>

#include "base/text.h"
#include "mime/writer.h"

namespace vespro::ModBodyExport {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCid = "cid:";
constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kBackground = "background=cid:";

constexpr std::size_t kMaxReference = 1024;  // longer than any file's name

bool IsReadable(const fs::path& path, std::string* why) {
  Result<File> file = File::Open(path, File::Mode::kRead);
  if (!file.ok()) *why = file.status().text();
  return file.ok();
}

// The outbox folder, gone with the object.
class Outbox {
 public:
  Outbox(const fs::path& folder, Desktop& desktop) : folder_(folder), desktop_(desktop) {}
  ~Outbox() {
    if (!made_) return;
    if (Status removed = ModFiles::Remove(folder_); !removed.ok()) desktop_.Log(removed.text());
  }
  Outbox(const Outbox&) = delete;
  Outbox& operator=(const Outbox&) = delete;

  // Saves the item's attachments, in their order; those that can't be saved are logged, left out.
  std::vector<MimeFile> Save(MailItem& item) {
    std::vector<MimeFile> files;
    const std::size_t count = item.AttachmentCount();
    if (count == 0) return files;
    made_ = true;
    ModFiles::EnsureFolder(folder_);
    for (std::size_t i = 0; i < count; ++i) {
      const std::string given = item.AttachmentFileName(i);
      MimeFile file;
      file.name = ModFiles::LastName(given);
      if (file.name.empty()) file.name = "attachment";
      file.path = PathFor(file.name, i + 1);
      if (Status saved = item.SaveAttachment(i, file.path); !saved.ok()) {
        desktop_.Log("attachment '" + ModText::Printable(given) + "' left out: " + saved.text());
        continue;
      }
      files.push_back(std::move(file));
    }
    return files;
  }

 private:
  // Items hold attachments of one name, or of names that are one for this file system: only what is
  // not there yet tells.
  fs::path PathFor(const std::string& name, std::size_t number) const {
    const std::string safe = ModFiles::SafeName(name);
    std::error_code error;
    fs::path path = folder_ / ModFiles::FromUtf8(safe);
    for (; fs::exists(path, error); ++number) {
      path = folder_ / ModFiles::FromUtf8(std::to_string(number) + "-" + safe);
    }
    return path;
  }

  const fs::path& folder_;
  Desktop& desktop_;
  bool made_ = false;
};

// Gives each file a content id of its own; of equal ones the first keeps it.
void AddContentIds(std::vector<MimeFile>& files) {
  std::set<std::string> taken;
  for (MimeFile& file : files) {
    const std::string id = ModBodyExport::ContentIdOf(file.name);
    file.content_id = id;
    for (int i = 2; !taken.insert(file.content_id).second; ++i) {
      file.content_id = id + "_" + std::to_string(i);
    }
  }
}

// The content id under which the HTML's name for a file goes out; empty when there is no such file.
std::string ContentIdIn(const std::vector<MimeFile>& files, std::string_view name) {
  for (const MimeFile& file : files) {
    if (file.name == name) return file.content_id;
  }
  for (const MimeFile& file : files) {
    if (ModText::EqualsIgnoringAsciiCase(file.name, name)) return file.content_id;
  }
  return {};
}

void AddAttachmentList(SendContext& context, std::vector<MimeFile>& files) {
  for (const std::string_view piece : ModText::Split(context.window.attachment_list, ',')) {
    if (piece.empty()) continue;
    MimeFile file;
    file.path = ModFiles::FromUtf8(piece);
    file.name = ModFiles::ToUtf8(file.path.filename());
    if (std::string why; !IsReadable(file.path, &why)) {
      context.desktop().Log("attachment left out: " + why);
      continue;
    }
    files.push_back(std::move(file));
  }
}

}  // namespace

std::string ContentIdOf(std::string_view file_name) {
  std::string id;
  for (const char c : file_name) {
    const bool letter_or_digit =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (letter_or_digit || c == '.' || c == '-' || c == '_' || c == '@') {
      id += c;
    } else {
      std::array<char, 4> escaped;
      std::snprintf(escaped.data(), escaped.size(), "_%02X", static_cast<unsigned char>(c));
      id += escaped.data();
    }
  }
  return id;
}

std::string PrepareHtml(std::string_view html, const ContentIds& content_id_of,
                        const std::function<void()>& do_events) {
  // A memory of names: a newsletter that shows one picture a thousand times looks for it once.
  std::map<std::string, std::string, std::less<>> known;
  const auto id_of = [&](std::string_view name) -> const std::string& {
    static const std::string kNone;
    if (name.empty() || name.size() > kMaxReference) return kNone;
    const auto found = known.find(name);
    if (found != known.end()) return found->second;
    std::string id = content_id_of(std::string(name));
    if (id.empty()) id = content_id_of(ModText::PercentDecoded(name));
    return id.empty() ? kNone : known.emplace(name, std::move(id)).first->second;
  };

  std::string text(html);
  if (const std::size_t at = text.find(kBackground); at != std::string::npos) {
    const std::size_t name_at = at + kBackground.size();
    const std::size_t end = text.find('>', name_at);
    const std::size_t blank = std::min(text.find_first_of(kBlanks, name_at), end);
    const bool more_follows =
        blank != end && !id_of(std::string_view(text).substr(name_at, blank - name_at)).empty();
    if (end != std::string::npos && !more_follows) {
      const std::string name = text.substr(name_at, end - name_at);
      text = ModText::ReplaceAll(text, std::string(kBackground) + name,
                                 "background=\"" + std::string(kCid) + name + "\"");
    }
  }

  const std::string_view whole = text;
  std::string out;
  std::size_t from = 0;
  std::size_t quote = 0;
  for (std::size_t at;
       (at = ModText::FindIgnoringAsciiCase(whole, kCid, from)) != std::string_view::npos;) {
    do_events();
    const std::size_t name_at = at + kCid.size();
    out.append(whole, from, at - from);
    from = name_at;
    if (quote < name_at) quote = std::min(whole.find('"', name_at), whole.size());
    // A name ends at the double quote. Where no file is called so, at what else ends an address.
    std::string id;
    if (quote < whole.size()) {
      id = id_of(whole.substr(name_at, quote - name_at));
      if (!id.empty()) from = quote;
    }
    const std::string_view near = whole.substr(name_at, kMaxReference + 1);
    for (std::string_view stops :
         {std::string_view("'"), std::string_view(">"), kBlanks, std::string_view(")")}) {
      if (!id.empty()) break;
      const std::size_t end = near.find_first_of(stops);
      if (end == std::string_view::npos) continue;
      id = id_of(near.substr(0, end));
      if (!id.empty()) from = name_at + end;
    }
    if (id.empty()) {
      out.append(whole, at, kCid.size());
    } else {
      out.append(kCid).append(id);
    }
  }
  return out.append(whole, from);
}

Status Export(SendContext& context, const fs::path& outbox_folder, ByteSink& sink) {
  AddIn& add_in = context.add_in;
  const std::shared_ptr<Inspector> inspector = context.window.inspector;
  if (add_in.mail_client == nullptr || inspector == nullptr) return {};
  const std::shared_ptr<MailItem> item = inspector->CurrentItem();
  if (item == nullptr) return {};
  const bool is_html = inspector->Editor() == EditorType::kHtml;

  Composition mail;
  mail.subject = item->Subject();
  mail.fields = item->AuthorFields();
  mail.text = item->Body();
  mail.html = item->HtmlBody();
  mail.has_html = !mail.html.empty();
  Outbox outbox(outbox_folder, context.desktop());
  std::vector<MimeFile> saved = outbox.Save(*item);
  if (is_html) {
    AddContentIds(saved);
    mail.html = PrepareHtml(
        mail.html, [&](const std::string& name) { return ContentIdIn(saved, name); },
        [&] { context.desktop().DoEvents(); });
    mail.related = std::move(saved);
  } else {
    mail.attachments = std::move(saved);
  }
  AddAttachmentList(context, mail.attachments);
  return WriteMime(mail, context.randomness, sink);
}

}  // namespace vespro::ModBodyExport
