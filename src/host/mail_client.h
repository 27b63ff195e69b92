// host/mail_client.h - the mail client: its main windows (explorers), its item windows (inspectors)
// and the mail in them. All text is UTF-8. One thread: the mail client's own.
//
// A shared pointer keeps the host's object, and the events of it, alive; the window may be gone all
// the same, and every call on it fails from then on. What a host gives twice may be two objects:
// Identity tells whether they are one window. Any call may let the host's events run, so that a
// window may be closed below a running handler. docs/host-adaptors.md says what an adaptor must
// keep.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/status.h"
#include "host/command_bars.h"

namespace vespro {

// The editor of a compose window; the numbers are the mail client's own.
enum class EditorType { kPlainText = 1, kHtml = 2, kRichText = 3, kWord = 4 };

// What an item is (MailItem::Class), and what a folder holds (ExplorerEvents). The numbers are
// Outlook's, OlObjectClass and OlItemType; others exist.
inline constexpr int kMailClass = 43;
inline constexpr int kMailFolder = 0;

// An item of the mail client's. Only one of kMailClass has all of these.
class MailItem {
 public:
  virtual ~MailItem() = default;

  virtual Result<int> Class() const { return kMailClass; }
  // A property that the host can't read is empty.
  virtual std::string Subject() const = 0;
  virtual std::string Body() const = 0;
  virtual std::string HtmlBody() const = 0;
  // Header fields that the author has added (mime/author_fields.h), whole ones with their CR LF.
  virtual std::string AuthorFields() const { return {}; }

  virtual Status SetTo(std::string_view text) = 0;
  virtual Status SetBody(std::string_view) { return CannotChange(); }
  virtual Status SetSentOnBehalfOfName(std::string_view text) = 0;

  virtual std::size_t AttachmentCount() const = 0;
  // `index` counts from 0. The name has no folder in it.
  virtual std::string AttachmentFileName(std::size_t index) const = 0;
  virtual Status SaveAttachment(std::size_t index, const std::filesystem::path& path) = 0;

  // Shows it in a window of its own and does not wait.
  virtual Status Display() { return CannotChange(); }
  // Closes the compose window and keeps its changes. The window's close event comes before it
  // returns.
  virtual Status CloseAndSave() = 0;
  // Into the folder that the item names for its sent copy.
  virtual Status MoveToSentFolder() = 0;

 private:
  static Status CannotChange() {
    return Status(Code::kUnavailable, "this mail is in no window of a mail client");
  }
};

struct InspectorEvents {
  std::function<void()> activate;
  std::function<void()> deactivate;
  std::function<void()> close;  // while it closes, which can't be helped
};

// The window of one item: of a mail that is being composed or read, a contact, ...
class Inspector {
 public:
  virtual ~Inspector() = default;
  // The same for all objects that are this window, different for others while it is open.
  virtual const void* Identity() const { return this; }
  // What the mail is written as, and kWord only where that can't be had. A number that EditorType
  // does not know is treated as plain text.
  virtual EditorType Editor() const = 0;
  // A word processor is the editor. From version 12 on it always is.
  virtual Result<bool> IsWordMail() const { return false; }
  // nullptr when the window shows none, or it can't be had.
  virtual std::shared_ptr<MailItem> CurrentItem() = 0;
  // nullptr where the window has none.
  virtual std::shared_ptr<CommandBars> Bars() = 0;
  // Puts what is on the clipboard into the body, at the caret and in place of what is selected.
  virtual Status PasteAtCaret() = 0;
  // From now on, and only while this object lives; takes the place of what was listened to before.
  // {} ends it, also below one of these events.
  // NOLINTNEXTLINE(performance-unnecessary-value-param): hosts keep them
  virtual void Listen(InspectorEvents) {}
};

struct ExplorerEvents {
  std::function<void()> activate;
  std::function<void()> deactivate;
  // Before the window shows another folder; with what items that holds by default, or nothing where
  // that can't be had (it is no folder of the mail client's).
  std::function<void(std::optional<int>)> before_folder_switch;
  std::function<void()> close;  // while it closes; it is still counted
};

// A main window.
class Explorer {
 public:
  virtual ~Explorer() = default;
  // nullptr where the window has none.
  virtual std::shared_ptr<CommandBars> Bars() = 0;
  // As Inspector::Listen.
  virtual void Listen(ExplorerEvents events) = 0;
};

// All item windows.
class Inspectors {
 public:
  virtual ~Inspectors() = default;
  virtual Result<int> Count() const = 0;
  // A new window, before it is shown. As Inspector::Listen.
  virtual void OnNewInspector(std::function<void(std::shared_ptr<Inspector>)> handler) = 0;
};

class MailClient {
 public:
  virtual ~MailClient() = default;
  // How it is called, as people know it.
  virtual std::string Name() const { return "Outlook"; }
  // Such as "9.0.0.3821"; its leading number counts.
  virtual std::string Version() const = 0;
  // The compose window in front; nullptr when there is none.
  virtual std::shared_ptr<Inspector> ActiveInspector() = 0;
  // The main window in front; nullptr when there is none.
  virtual std::shared_ptr<Explorer> ActiveExplorer() { return nullptr; }
  // nullptr where they can't be watched.
  virtual std::shared_ptr<vespro::Inspectors> Inspectors() { return nullptr; }
  virtual Result<int> ExplorerCount() const { return 0; }
  // A new, empty mail, not shown yet.
  virtual Result<std::shared_ptr<MailItem>> NewMail() {
    return Status(Code::kUnavailable, "there is no mail client to write a mail with");
  }
};

// For an object whose owner is somebody else and outlives the pointer.
template <class T>
std::shared_ptr<T> Unowned(T& object) {
  return std::shared_ptr<T>(std::shared_ptr<void>(), &object);
}

}  // namespace vespro
