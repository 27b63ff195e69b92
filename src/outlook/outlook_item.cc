#include "outlook/outlook_item.h"

#include <utility>

#include "base/files.h"

namespace vespro {
namespace {

constexpr std::int32_t kSaveChanges = 0;

}  // namespace

std::shared_ptr<OutlookItem> OutlookItem::Make(const HostObject& parent, Dispatch item) {
  const Result<std::int32_t> number = item.Int(L"Class");
  if (!number.ok()) return std::make_shared<OutlookItem>(std::move(item), number.status());
  const bool is_mail = number.value() == kMailClass;
  return std::make_shared<OutlookItem>(
      parent.object.Other(ComPtr<IDispatch>(item.get()),
                          is_mail ? ObjectKind::kMailItem : ObjectKind::kAny),
      static_cast<int>(number.value()));
}

std::string OutlookItem::TextOrNothing(const wchar_t* name) const {
  Result<std::string> text = item_.Text(name);
  return text.ok() ? std::move(text).value() : std::string();
}

std::size_t OutlookItem::AttachmentCount() const {
  const Result<Dispatch> all = item_.Object(L"Attachments", ObjectKind::kAttachments);
  if (!all.ok()) return 0;
  const Result<std::int32_t> count = all.value().Int(L"Count");
  return count.ok() && count.value() > 0 ? static_cast<std::size_t>(count.value()) : 0;
}

Result<Dispatch> OutlookItem::Attachment(std::size_t index) const {
  const Result<Dispatch> all = item_.Object(L"Attachments", ObjectKind::kAttachments);
  if (!all.ok()) return all.status();
  return all.value().Object(L"Item", ObjectKind::kAttachment,
                            {static_cast<std::int32_t>(index) + 1});
}

std::string OutlookItem::AttachmentFileName(std::size_t index) const {
  const Result<Dispatch> attachment = Attachment(index);
  if (!attachment.ok()) return {};
  const Result<std::string> name = attachment.value().Text(L"FileName");
  return name.ok() ? ModFiles::LastName(name.value()) : std::string();
}

Status OutlookItem::SaveAttachment(std::size_t index, const std::filesystem::path& path) {
  const Result<Dispatch> attachment = Attachment(index);
  if (!attachment.ok()) return attachment.status();
  std::filesystem::path native = path;
  return attachment.value().Do(L"SaveAsFile", {ModFiles::ToUtf8(native.make_preferred())});
}

Status OutlookItem::CloseAndSave() {
  // The close event may end us.
  const Dispatch item = item_;
  sent_folder_ = item.Object(L"SaveSentMessageFolder", ObjectKind::kAny);
  return item.Do(L"Close", {kSaveChanges});
}

Status OutlookItem::MoveToSentFolder() {
  const Result<Dispatch> folder =
      sent_folder_ ? *sent_folder_ : item_.Object(L"SaveSentMessageFolder", ObjectKind::kAny);
  if (!folder.ok()) return folder.status();
  return item_.Do(L"Move", {folder.value().get()});
}

}  // namespace vespro
