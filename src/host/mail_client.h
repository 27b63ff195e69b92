// host/mail_client.h - the mail client, as far as sending needs it. All text is UTF-8. One thread:
// the mail client's own. An object is the host's; it lives at least as long as the call that got
// it.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "base/status.h"
#include "host/command_bars.h"

namespace vespro {

// The editor of a compose window; the numbers are the mail client's own.
enum class EditorType { kPlainText = 1, kHtml = 2, kRichText = 3, kWord = 4 };

// A mail that is being composed.
class MailItem {
 public:
  virtual ~MailItem() = default;

  // A property that the host can't read is empty.
  virtual std::string Subject() const = 0;
  virtual std::string Body() const = 0;
  virtual std::string HtmlBody() const = 0;
  // Header fields that the author has added (mime/author_fields.h), whole ones with their CR LF.
  virtual std::string AuthorFields() const { return {}; }

  virtual Status SetTo(std::string_view text) = 0;
  virtual Status SetSentOnBehalfOfName(std::string_view text) = 0;

  virtual std::size_t AttachmentCount() const = 0;
  // `index` counts from 0. The name has no folder in it.
  virtual std::string AttachmentFileName(std::size_t index) const = 0;
  virtual Status SaveAttachment(std::size_t index, const std::filesystem::path& path) = 0;

  // Closes the compose window and keeps its changes.
  virtual Status CloseAndSave() = 0;
  // Into the folder that the item names for its sent copy.
  virtual Status MoveToSentFolder() = 0;
};

// A compose window.
class Inspector {
 public:
  virtual ~Inspector() = default;
  // A number that EditorType does not know is treated as plain text.
  virtual EditorType Editor() const = 0;
  // nullptr when the window shows no mail.
  virtual MailItem* CurrentItem() = 0;
  // nullptr where the window has none.
  virtual CommandBars* Bars() = 0;
  // Puts what is on the clipboard into the body, at the caret and in place of what is selected.
  virtual Status PasteAtCaret() = 0;
};

class MailClient {
 public:
  virtual ~MailClient() = default;
  // Such as "9.0.0.3821"; its leading number counts.
  virtual std::string Version() const = 0;
  // The compose window in front; nullptr when there is none.
  virtual Inspector* ActiveInspector() = 0;
};

}  // namespace vespro
