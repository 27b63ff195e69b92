// host/memory_client.h - for tests: a mail client in memory that behaves as Office does where it
// matters. A click reaches every object that holds a control with that tag, in all windows; an
// object that was dropped hears nothing more; controls go with their window; closing a mail is told
// before the call returns, and brings another window to the front.
//
// What the add-in is given counts while it is held, and each call on it is noted and may be told to
// fail. What a person or the host does are the methods of MemoryClient; events run within them.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/status.h"
#include "host/mail_client.h"
#include "host/memory_command_bars.h"
#include "host/ribbon.h"

namespace vespro {

// What the host was asked for. A call's name is the interface and the method, "Button.SetTag".
class MemoryCalls {
 public:
  // One line a call, with its window and its arguments; "> " before what the host told.
  std::vector<std::string> lines;
  // Calls of the mail client after End.
  std::vector<std::string> faults;
  // How many objects of each kind are held.
  std::map<std::string, int> held;
  // All calls until now that can fail.
  int count = 0;

  // The n-th call of that name from now on (from 1) fails, once; without a name, of all calls.
  void FailAt(std::string_view name, int n);
  // The event happens within the n-th call from now on (from 1), once, before that has an effect.
  void MeanwhileAt(int n, std::function<void()> event);
  // Nobody may call the mail client any more.
  void End() { ended_ = true; }
  void BeginAgain() { ended_ = false; }

  // A call begins: what happens meanwhile happens now.
  void Begin();
  // Notes a call that has begun; false: it is to fail. `gone`: it fails anyhow, since its object is
  // no more.
  bool Make(const std::string& name, const std::string& details, bool gone = false);
  // A whole call of what is not the mail client's.
  bool MakeElsewhere(const std::string& name, const std::string& details);
  void Tell(const std::string& event) { lines.push_back("> " + event); }

 private:
  bool Note(const std::string& name, const std::string& details, bool gone);

  bool ended_ = false;
  std::string fail_name_;
  int fail_in_ = 0;  // 0: none is to fail
  std::function<void()> meanwhile_;
  int meanwhile_in_ = 0;
};

// What a mail, or another item, holds.
struct MemoryItem {
  int item_class = kMailClass;
  EditorType editor = EditorType::kPlainText;
  bool word_mail = false;
  std::string to, on_behalf_of, subject, body, html_body;
  std::vector<std::pair<std::string, std::string>> attachments;  // file name, bytes
};

class MemoryClient {
 public:
  // There is one explorer, called "main".
  MemoryClient();
  ~MemoryClient();
  MemoryClient(const MemoryClient&) = delete;
  MemoryClient& operator=(const MemoryClient&) = delete;

  std::string version = "10.0.0.2627";
  bool tells_deactivate = true;
  std::set<std::string> lacking;  // bars that windows opened from now on do not have
  // What PasteFace and PasteAtCaret take.
  std::string clipboard_text, clipboard_picture;

  // A window is about to be shown, which is when a ribbon is made in it.
  std::function<void(const std::string& window, bool is_explorer)> on_show;

  MemoryCalls& calls() { return *calls_; }
  // What the add-in is given; a new object each time.
  std::shared_ptr<MailClient> Application();

  // As the add-in is given them: the window of an item, nullptr when there is none; a ribbon, which
  // tells what was invalidated.
  std::shared_ptr<Inspector> InspectorOf(const std::string& window);
  std::shared_ptr<Ribbon> NewRibbon(std::function<void(const std::string& id)> invalidated);

  // Windows are called by a name of the test's own. kNotFound: there is no such window, or nothing
  // that a person could use.
  Status OpenExplorer(const std::string& name);
  Status OpenItem(const std::string& name, MemoryItem item);
  Status Activate(const std::string& name);
  Status Close(const std::string& name);
  // The front explorer shows a folder of such items.
  Status SwitchFolder(std::optional<int> item_type);
  // In the window in front: the control of that caption, without "&", or of that tag.
  Status Command(std::string_view caption);
  // In the window in front: an entry of the box that the add-in has put there.
  Status Choose(std::string_view entry);
  // Every window is gone, and nobody is told.
  void Quit();

  // The item in a window; nullptr when there is no such window.
  MemoryItem* Item(const std::string& name);
  // A window's bar; nullptr when there is none.
  MemoryBar* Bar(const std::string& window, std::string_view bar);
  // From the bottom to the top.
  std::vector<std::string> WindowNames() const;
  bool IsExplorer(const std::string& window) const;
  const std::vector<MemoryItem>& sent() const { return sent_; }

 private:
  friend class MemoryClientParts;
  struct Window;
  struct ControlListener;
  template <class Events>
  struct Listener {
    explicit Listener(Events told) : events(std::move(told)) {}
    Events events;
  };
  using NewInspector = std::function<void(std::shared_ptr<Inspector>)>;

  static MemoryBar* Bar(Window& window, std::string_view bar);
  std::shared_ptr<Window> Find(const std::string& name) const;
  std::shared_ptr<Window> Front(bool explorer) const;
  Result<std::shared_ptr<Window>> NewWindow(const std::string& name, bool explorer);
  void BringToFront(const std::shared_ptr<Window>& window);
  void TellFront(const std::shared_ptr<Window>& window, bool active);
  void Remove(const std::shared_ptr<Window>& window);
  void Raise(const std::string& tag);
  Status OpenItemOf(const std::string& name, std::shared_ptr<MemoryItem> item);

  std::shared_ptr<MemoryCalls> calls_ = std::make_shared<MemoryCalls>();
  MemoryOffice office_;
  std::vector<std::shared_ptr<Window>> windows_;  // from the bottom to the top
  std::vector<std::weak_ptr<Listener<NewInspector>>> inspectors_;
  std::vector<std::weak_ptr<ControlListener>> controls_;
  std::vector<MemoryItem> sent_;
  int displayed_ = 0;  // new mails that the add-in has shown
};

}  // namespace vespro
