// tests/stories/story_host.h - a mail client with the add-in in it and a person in front of it, as
// the steps of a story need them. README.md has the steps.
//
// Every action returns when the add-in waits for the person again: at rest, or with a dialog open.
// While a dialog is open it happens below that one. An action fails where a person or the mail
// client could not do it, and then nothing has happened. All text is UTF-8.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "forms/driver.h"
#include "host/command_bars.h"
#include "host/mail_client.h"
#include "host/settings_backend.h"

namespace vespro {

struct StoryItem {
  int item_class = kMailClass;
  EditorType editor = EditorType::kPlainText;
  bool word_mail = false;
};

enum class MailPart { kSubject, kBody, kHtml };

// What a mail holds.
struct StoryMail {
  std::string to, on_behalf_of, subject, body, html;
  std::vector<std::string> attachments;  // names
};

// A control that was added to a window's bars, as it looks.
struct StoryControl {
  std::vector<std::string> path;  // the bar's name, and the captions of the popups it is in
  ControlType type = ControlType::kButton;
  std::string caption, tag, on_action, tooltip, text;
  std::vector<std::string> items;
  ButtonStyle style = ButtonStyle::kAutomatic;
  bool enabled = true, visible = true, begin_group = false, has_face = false;
};

class StoryHost {
 public:
  virtual ~StoryHost() = default;

  // Everything of the story lies in here.
  virtual std::filesystem::path Home() = 0;
  // The user's data folder in it, as the add-in will have it.
  virtual std::filesystem::path DataFolder() = 0;
  virtual SettingsBackend& Backend() = 0;
  // The person in front of the dialogs.
  virtual FormDriver& Driver() = 0;

  virtual Status SetVersion(std::string_view version) = 0;
  virtual Status Lack(std::string_view bar) = 0;
  virtual Status Without(std::string_view what) = 0;
  virtual Status Fail(std::string_view call, int n) = 0;

  virtual Status Connect(int mode) = 0;
  virtual Status Disconnect() = 0;
  virtual Status OpenExplorer(const std::string& name) = 0;
  virtual Status OpenItem(const std::string& name, const StoryItem& item) = 0;
  virtual Status Write(const std::string& name, MailPart part, std::string_view text) = 0;
  virtual Status Attach(const std::string& name, const std::filesystem::path& file) = 0;
  virtual Status Activate(const std::string& name) = 0;
  virtual Status CloseWindow(const std::string& name) = 0;
  virtual Status SwitchFolder(std::optional<int> item_type) = 0;
  // In the window in front: the control of that plain caption is clicked, if a person could.
  virtual Status Command(std::string_view caption) = 0;
  virtual Status Choose(std::string_view entry) = 0;
  virtual Status Quit() = 0;

  virtual Result<std::vector<StoryControl>> Controls(const std::string& name) = 0;
  virtual Result<StoryMail> Mail(const std::string& name) = 0;
  virtual std::vector<StoryMail> Sent() = 0;
  virtual Status SetClipboard(std::string_view text) = 0;
  // The text, or the name of a picture in brackets; empty: nothing.
  virtual std::string Clipboard() = 0;
  // One line for each kind of the mail client's objects that is held, and for each call after the
  // end. Empty where it is as it should be, or where that can't be known.
  virtual std::vector<std::string> Held() = 0;

  // Since the last time.
  virtual std::vector<std::string> TakeCalls() = 0;
  virtual std::vector<std::string> TakeStarted() = 0;
};

}  // namespace vespro
