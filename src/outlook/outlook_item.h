// outlook/outlook_item.h - one of Outlook's items behind host/mail_client.h. One thread: Outlook's
// own.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/mail_client.h"
#include "outlook/host_context.h"

namespace vespro {

class OutlookItem final : public MailItem {
 public:
  // `item` is reached from `parent`. What it is, is asked once.
  static std::shared_ptr<OutlookItem> Make(const HostObject& parent, Dispatch item);
  OutlookItem(Dispatch item, Result<int> item_class)
      : item_(std::move(item)), class_(std::move(item_class)) {}

  Result<int> Class() const override { return class_; }
  std::string Subject() const override { return TextOrNothing(L"Subject"); }
  std::string Body() const override { return TextOrNothing(L"Body"); }
  std::string HtmlBody() const override { return TextOrNothing(L"HTMLBody"); }

  Status SetTo(std::string_view text) override { return item_.Put(L"To", text); }
  Status SetBody(std::string_view text) override { return item_.Put(L"Body", text); }
  Status SetSentOnBehalfOfName(std::string_view text) override {
    return item_.Put(L"SentOnBehalfOfName", text);
  }

  std::size_t AttachmentCount() const override;
  std::string AttachmentFileName(std::size_t index) const override;
  // Outlook writes the file.
  Status SaveAttachment(std::size_t index, const std::filesystem::path& path) override;

  Status Display() override { return item_.Do(L"Display"); }
  Status CloseAndSave() override;
  // kNotFound where the item names no folder.
  Status MoveToSentFolder() override;

 private:
  std::string TextOrNothing(const wchar_t* name) const;
  Result<Dispatch> Attachment(std::size_t index) const;

  Dispatch item_;
  Result<int> class_;
  // Asked for before the item is closed: afterwards some versions don't know it any more.
  std::optional<Result<Dispatch>> sent_folder_;
};

}  // namespace vespro
