#include "engine/preview.h"

#include <array>
#include <cstdio>

#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "engine/list_source.h"
#include "engine/template.h"
#include "merge/custom_words.h"
#include "mime/header.h"
#include "mime/reader.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

// A name that no other program and no other run has given: time, our number, a random number.
std::string MaildirName(const Clock& clock, std::uint64_t number, Randomness& randomness) {
  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(clock.Now().time_since_epoch()).count();
  std::array<char, 96> name{};
  std::snprintf(name.data(), name.size(), "%lld.%08llu_%016llx.vespro",
                static_cast<long long>(seconds), static_cast<unsigned long long>(number),
                static_cast<unsigned long long>(randomness.Next()));
  return name.data();
}

Status WriteMessage(const fs::path& folder, const std::string& name,
                    const RenderedMessage& message) {
  const fs::path temporary = folder / "tmp" / name;
  Result<File> file = File::Open(temporary, File::Mode::kCreateNew, Access::kPrivate);
  if (!file.ok()) return file.status();
  for (std::string_view piece : message.pieces) {
    if (Status status = file->Write(piece); !status.ok()) return status;
  }
  if (Status status = file->Close(); !status.ok()) return status;
  return ModFiles::Rename(temporary, folder / "new" / name);
}

}  // namespace

Result<std::uint64_t> RenderToMaildir(const fs::path& folder, WorkSource& source,
                                      Renderer& renderer, const Clock& clock,
                                      Randomness& randomness) {
  for (const char* name : {"tmp", "new", "cur"}) {
    if (Status status = ModFiles::MakeFolders(folder / name); !status.ok()) return status;
  }
  RenderedMessage message;
  std::uint64_t count = 0;
  for (;;) {
    Result<std::vector<Recipient>> recipients = source.Next(renderer.recipients_per_message());
    if (!recipients.ok()) return recipients.status();
    if (recipients->empty()) return count;
    renderer.Render(recipients.value(), message);
    Status written = WriteMessage(folder, MaildirName(clock, ++count, randomness), message);
    if (!written.ok()) return written;
  }
}

Result<ListRow> FindRow(const Distribution& list, std::uint64_t row, Randomness& randomness) {
  Result<ListSource> source = ListSource::Open(list, {}, randomness);
  if (!source.ok()) return source.status();
  std::uint64_t at = 0;
  source->OnSkip([&](const Recipient& skipped, std::string_view reason, bool) -> Status {
    if (++at != row) return {};
    return Status(Code::kUsage, "nobody gets a mail for row " + std::to_string(row) + " (line " +
                                    std::to_string(skipped.line) + "): " + std::string(reason));
  });
  for (;;) {
    Result<std::vector<Recipient>> recipient = source->Next(1);
    if (!recipient.ok()) return recipient.status();
    if (recipient->empty()) {
      return Status(Code::kUsage, "the list has only " + std::to_string(at) +
                                      (at == 1 ? " row" : " rows") + "; there is no row " +
                                      std::to_string(row));
    }
    if (++at < row) continue;
    return ListRow{std::move(recipient->front()), source->first_row(),
                   source->has_byte_order_mark()};
  }
}

Result<std::string> RenderRow(const RowToRender& wanted, const Clock& clock,
                              Randomness& randomness) {
  Result<ListRow> row = FindRow(wanted.list, wanted.row, randomness);
  if (!row.ok()) return row.status();
  Result<std::string> bytes = ModFiles::ReadAll(wanted.message_file);
  if (!bytes.ok()) return bytes.status();
  Result<std::vector<std::string>> words =
      ModMailMerge::LoadCustomWords(wanted.message_file.parent_path());
  if (!words.ok()) return words.status();
  Result<std::unique_ptr<Template>> prepared = Template::Prepare(
      std::move(bytes).value(),
      {wanted.bcc_mode, row->first_row, wanted.unsubscribe, std::move(words).value()}, clock,
      randomness);
  if (!prepared.ok()) return prepared.status();
  RenderedMessage message;
  prepared.value()->Render({&row->recipient, 1}, message);
  std::string text;
  for (std::string_view piece : message.pieces) text += piece;
  return text;
}

namespace {

void AppendLines(std::string_view text, std::string& out) {
  for (std::string_view line; NextLine(text, line);) {
    out += ModText::Printable(line, line.size() * 4) + "\n";
  }
}

void AppendParts(const MimePart& part, std::string& texts, std::string& list) {
  for (const MimePart& child : part.children) AppendParts(child, texts, list);
  if (!part.children.empty()) return;
  const Result<std::string> bytes = DecodedBytes(part);
  const std::string name = part.file_name.empty() ? "" : " '" + part.file_name + "'";
  list += "  " + ModText::Printable(part.type + "/" + part.subtype + name) + ", " +
          std::to_string(bytes.ok() ? bytes->size() : part.body.size()) + " bytes" +
          (part.disposition == "attachment" ? ", attached"
           : part.content_id.empty()        ? ""
                                            : ", shown in the text") +
          "\n";
  if (part.type != "text" || part.disposition == "attachment") return;
  const Result<std::string> text = DecodedText(part);
  if (!text.ok()) return;
  texts += "\n--- " + ModText::Printable(part.type + "/" + part.subtype) + " ---\n";
  AppendLines(text.value(), texts);
}

}  // namespace

std::string ReadableMessage(std::string_view message) {
  std::string out, texts, list;
  const Result<MimePart> root = ParseMime(message);
  if (!root.ok()) return ModText::Printable(message, message.size() * 4) + "\n";
  for (const HeaderField& field : root->headers) {
    if (ModText::LowerAscii(field.name).starts_with("content-")) continue;
    const std::string text = field.name + ": " + ModHeader::Decode(field.value);
    out += ModText::Printable(text, text.size() * 4) + "\n";
  }
  AppendParts(root.value(), texts, list);
  return out + texts + "\n--- parts ---\n" + list;
}

}  // namespace vespro::engine
