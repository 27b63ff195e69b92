// outlook/client.h - Outlook: its object model over one process's windows, items and folders, and
// what a person does there. The stand-in's own thread. Actions run the add-in's handlers before
// they return; with a dialog open they return when that is closed.
#pragma once

#include <windows.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/status.h"
#include "outlook/automation.h"
#include "outlook/bars.h"
#include "outlook/frame.h"
#include "outlook/ledger.h"
#include "outlook/ribbons.h"

namespace vespro::standin {

class Client;
class Explorer;
class Inspector;
class Item;

inline constexpr int kMailClass = 43;

// What an item is when a person opens it.
struct NewItem {
  int item_class = kMailClass;
  int editor = 1;  // OlEditorType
  bool word_mail = false;
  bool readable = true;  // false: its window does not give it away
};

// What an item holds.
struct Content {
  int item_class = kMailClass;
  std::string to, cc, bcc, on_behalf_of, subject, body, html;
  std::string message_class = "IPM.Note";
  std::vector<std::pair<std::string, std::string>> attachments;  // file name, bytes
  bool saved = false;
  std::string folder = "Drafts";
};

class Folder final : public Object {
 public:
  Folder(Ledger& ledger, Client& client, std::string_view folder_name, int item_type);
  std::string folder_name;
  int default_item_type;

 private:
  static const Kind& KindOf();
  Client& client_;
};

class Attachment final : public Object {
 public:
  Attachment(Ledger& ledger, Item& item, std::size_t index);

 private:
  static const Kind& KindOf();
  HRESULT FileName(Call& call);
  HRESULT SaveAsFile(Call& call);
  HRESULT Index(Call& call) { return call.Return(static_cast<int>(index_) + 1); }

  Item& item_;
  const std::size_t index_;
};

class Attachments final : public Object {
 public:
  Attachments(Ledger& ledger, Item& item);

 private:
  static const Kind& KindOf();
  HRESULT Count(Call& call);
  HRESULT ItemAt(Call& call);
  Item& item_;
};

// A mail, or an item of another class, which has less.
class Item final : public Object {
 public:
  Item(Ledger& ledger, Client& client, Content content);

  Content content;
  Folder* sent_folder = nullptr;
  Inspector* inspector = nullptr;  // the window that shows it

 private:
  static const Kind& KindOf(int item_class, int version);
  HRESULT ClassOf(Call& call) { return call.Return(content.item_class); }
  template <auto Field>
  HRESULT Text(Call& call);
  HRESULT Body(Call& call);
  HRESULT HtmlBody(Call& call);
  HRESULT BodyFormat(Call& call);
  HRESULT AttachmentsOf(Call& call);
  HRESULT SentFolder(Call& call);
  HRESULT InspectorOf(Call& call);
  HRESULT Application(Call& call);
  HRESULT Close(Call& call);
  HRESULT Save(Call& call);
  HRESULT Move(Call& call);
  HRESULT Display(Call& call);
  void Show();

  Client& client_;
  Attachments* attachments_ = nullptr;
};

// What explorers and inspectors have in common: a window on the screen, bars, a place in the order
// of windows.
class Window : public Object {
 public:
  Window(Ledger& ledger, const Kind& kind, Client& client, std::string_view window_name,
         bool is_explorer);
  ~Window() override;

  const std::string window_name;  // the test's own
  Bars& bars() const { return bars_; }
  Frame& frame() { return *frame_; }
  bool closing = false;
  std::shared_ptr<RibbonView> ribbon;  // what the add-in has on it; nullptr: nothing

  virtual bool is_explorer() const = 0;
  virtual void TellActive(bool active) = 0;
  virtual void TellClose() = 0;
  // The window and all that is in it is gone.
  virtual void Take();

 protected:
  virtual bool RunBuiltIn(Control& control) = 0;
  virtual bool RunByName(std::string_view) { return false; }
  HRESULT BarsOf(Call& call) { return call.Return(&bars_); }
  HRESULT Application(Call& call);
  HRESULT Close(Call& call);
  HRESULT Caption(Call& call);
  HRESULT Activate(Call& call);
  HRESULT Display(Call& call) { return Activate(call); }
  static std::vector<Member> Common();
  IUnknown* Another(REFIID iid) override;

  Client& client_;
  Bars& bars_;
  std::unique_ptr<Frame> frame_;

 private:
  class OleWindow;
  std::unique_ptr<OleWindow> ole_window_;
};

class Explorer final : public Window {
 public:
  Explorer(Ledger& ledger, Client& client, std::string_view window_name);
  bool is_explorer() const override { return true; }
  void TellActive(bool active) override;
  void TellClose() override;
  void SwitchTo(Folder* folder);

  Folder* folder = nullptr;
  std::string page;  // the address that it shows, if not a folder

 private:
  static const Kind& KindOf();
  bool RunBuiltIn(Control& control) override;
  HRESULT CurrentFolder(Call& call);
};

class Inspector final : public Window {
 public:
  Inspector(Ledger& ledger, Client& client, std::string_view window_name, Item& item,
            const NewItem& looks);
  bool is_explorer() const override { return false; }
  void TellActive(bool active) override;
  void TellClose() override;
  void Take() override;
  // The window shows what the item holds now.
  void Refresh();

  Item& item;
  const NewItem looks;

 private:
  static const Kind& KindOf();
  bool RunBuiltIn(Control& control) override { return control.id == kPasteId && Paste(); }
  bool RunByName(std::string_view name) override { return name == "Paste" && Paste(); }
  bool Paste();
  HRESULT CurrentItem(Call& call);
  HRESULT IsWordMail(Call& call);
  HRESULT EditorType(Call& call);
  HRESULT Nothing(Call& call) { return call.Return(static_cast<Object*>(nullptr)); }
};

// The collection of all windows of one sort.
class Windows final : public Object {
 public:
  Windows(Ledger& ledger, Client& client, bool explorers);

 private:
  static const Kind& KindOf(bool explorers);
  std::vector<Window*> Listed() const;
  HRESULT Count(Call& call) { return call.Return(static_cast<int>(Listed().size())); }
  HRESULT ItemAt(Call& call);

  Client& client_;
  const bool explorers_;
};

class Application final : public Object {
 public:
  Application(Ledger& ledger, Client& client);

 private:
  static const Kind& KindOf();
  HRESULT Version(Call& call);
  HRESULT Name(Call& call) { return call.Return(std::string("Outlook")); }
  HRESULT ActiveExplorer(Call& call);
  HRESULT ActiveInspector(Call& call);
  HRESULT ActiveWindow(Call& call);
  HRESULT CreateItem(Call& call);
  HRESULT Explorers(Call& call);
  HRESULT Inspectors(Call& call);

  Client& client_;
};

// The add-in as Outlook lists it.
class ComAddIn final : public Object {
 public:
  ComAddIn(Ledger& ledger, std::string_view prog_id, std::string_view class_id);
  std::string description = "Vespro", prog_id, guid;
  bool connected = true;

 private:
  static const Kind& KindOf();
};

class Client {
 public:
  // With a main window "main" unless `bare`.
  explicit Client(std::string_view version = "10.0.0.2627", bool bare = false);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  Ledger ledger;
  Office office;
  Ribbons ribbons{*this};
  std::string version;
  // The leading number: 9 is Outlook 2000.
  int Major() const { return std::atoi(version.c_str()); }
  std::set<std::string> lacking;  // bars that windows opened from now on do not have
  bool tells_deactivate = true;
  // The window that the system brings to the front is so here, as a person's clicks want it.
  // Without it, Activate alone decides: tests are the same whatever the system does.
  bool follows_screen = false;
  // When the add-in is asked for its ribbons, from 2007 on. It is asked beforehand whether it has
  // any, unless kUnannounced: that comes after the connection, as well.
  enum class Asks { kBeforeConnection, kAfterConnection, kUnannounced, kNever };
  Asks asks_for_ribbons = Asks::kAfterConnection;
  bool foreign_popup = false;  // new menu bars begin with another add-in's popup

  Application& application() { return *application_; }
  Windows& explorers() { return *explorers_; }
  Windows& inspectors() { return *inspectors_; }
  Folder& sent_folder() { return *sent_folder_; }
  const std::vector<Content>& sent() const { return sent_; }
  // From the bottom to the top.
  const std::vector<Window*>& windows() const { return windows_; }
  Window* Find(std::string_view window_name) const;
  Window* Front() const { return windows_.empty() ? nullptr : windows_.back(); }
  Window* Front(bool explorer) const;

  // What a person does. kNotFound where nobody could.
  Status OpenExplorer(std::string_view window_name);
  Status OpenItem(std::string_view window_name, const NewItem& looks);
  void Show(Item& item, std::string_view window_name, const NewItem& looks);
  Status Activate(std::string_view window_name);
  Status Close(std::string_view window_name);
  void Close(Window& window);
  // The window itself says that it came to the front.
  void CameToFront(Window& window);
  // Before the main window shows a folder of such items; nothing: one of the file system's.
  Status SwitchFolder(std::optional<int> item_type);
  // The button of that plain caption, or the entry of a box, in the window in front.
  Status Command(std::string_view caption);
  Status Choose(std::string_view entry);
  // All windows are gone, and nobody is told.
  void Quit();
  void Sent(Content content) { sent_.push_back(std::move(content)); }
  std::string NextName() { return "new" + (++shown_ == 1 ? "" : std::to_string(shown_)); }

 private:
  void BringToFront(Window& window);
  void TellFront(Window& window, bool active);

  Application* application_;
  Windows* explorers_;
  Windows* inspectors_;
  Folder* sent_folder_;
  std::vector<Window*> windows_;
  std::vector<Content> sent_;
  int shown_ = 0;
};

}  // namespace vespro::standin
