#include "send/body_export.h"

#include <array>
#include <cstdio>
#include <map>
#include <vector>

#include "base/text.h"
#include "mime/writer.h"

namespace vespro::ModBodyExport {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCid = "cid:";
constexpr std::string_view kBackground = "background=cid:";

// Whether the name is that of a file in the outbox itself and nowhere else.
bool IsPlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\\:\0", 4)) == std::string_view::npos;
}

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
      const std::string name = item.AttachmentFileName(i);
      if (!IsPlainName(name)) {
        desktop_.Log("attachment left out, its name can't be used: " + ModText::Printable(name));
        continue;
      }
      const fs::path path = folder_ / ModFiles::FromUtf8(name);
      if (Status saved = item.SaveAttachment(i, path); !saved.ok()) {
        desktop_.Log("attachment '" + ModText::Printable(name) + "' left out: " + saved.text());
        continue;
      }
      MimeFile file;
      file.path = path;
      file.name = name;
      files.push_back(std::move(file));
    }
    return files;
  }

 private:
  const fs::path& folder_;
  Desktop& desktop_;
  bool made_ = false;
};

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

std::string PrepareHtml(std::string_view html,
                        const std::function<bool(const std::string&)>& is_embedded,
                        const std::function<void()>& do_events) {
  std::string text(html);
  if (const std::size_t at = text.find(kBackground); at != std::string::npos) {
    const std::size_t name_at = at + kBackground.size();
    if (const std::size_t end = text.find('>', name_at); end != std::string::npos) {
      const std::string name = text.substr(name_at, end - name_at);
      text = ModText::ReplaceAll(text, std::string(kBackground) + name,
                                 "background=\"" + std::string(kCid) + name + "\"");
    }
  }
  // One pass with a memory of names: a newsletter that shows one picture a thousand times costs a
  // thousand steps, not a thousand rewritings of the text.
  std::map<std::string, std::string> references;
  std::string out;
  std::size_t from = 0;
  std::size_t quote = 0;
  for (std::size_t at; (at = text.find(kCid, from)) != std::string::npos;) {
    do_events();
    const std::size_t name_at = at + kCid.size();
    if (quote < name_at) quote = text.find('"', name_at);
    const std::string name =
        quote == std::string::npos ? std::string() : text.substr(name_at, quote - name_at);
    out.append(text, from, name_at - from);
    from = name_at;
    if (name.empty() || name.size() > 1024) continue;
    auto [known, is_new] = references.try_emplace(name);
    if (is_new) {
      const std::string decoded = ModText::PercentDecoded(name);
      if (IsPlainName(name) && is_embedded(name)) {
        known->second = ContentIdOf(name);
      } else if (IsPlainName(decoded) && is_embedded(decoded)) {
        known->second = ContentIdOf(decoded);
      } else {
        known->second = name;
      }
    }
    out += known->second;
    from = quote;
  }
  return out.append(text, from);
}

Status Export(SendContext& context, const fs::path& outbox_folder, ByteSink& sink) {
  AddIn& add_in = context.add_in;
  if (add_in.mail_client == nullptr || context.window.inspector == nullptr) return {};
  MailItem* item = context.window.inspector->CurrentItem();
  if (item == nullptr) return {};
  const bool is_html = context.window.inspector->Editor() == EditorType::kHtml;

  Composition mail;
  mail.subject = item->Subject();
  mail.text = item->Body();
  mail.html = item->HtmlBody();
  mail.has_html = !mail.html.empty();
  Outbox outbox(outbox_folder, context.desktop());
  std::vector<MimeFile> saved = outbox.Save(*item);
  if (is_html) {
    mail.html = PrepareHtml(
        mail.html,
        [&](const std::string& name) {
          return ModFiles::IsFile(outbox_folder / ModFiles::FromUtf8(name));
        },
        [&] { context.desktop().DoEvents(); });
    for (MimeFile& file : saved) file.content_id = ContentIdOf(file.name);
    mail.related = std::move(saved);
  } else {
    mail.attachments = std::move(saved);
  }
  AddAttachmentList(context, mail.attachments);
  return WriteMime(mail, context.randomness, sink);
}

}  // namespace vespro::ModBodyExport
