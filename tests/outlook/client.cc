#include "outlook/client.h"

#include <algorithm>

#include "base/files.h"
#include "base/text.h"

namespace vespro::standin {
namespace {

constexpr IID Outlook(unsigned long number) {
  return {number, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
}
constexpr IID kApplicationEvents = Outlook(0x0006304E);
constexpr IID kExplorersEvents = Outlook(0x00063078);
constexpr IID kExplorerEvents = Outlook(0x0006304F);
constexpr IID kInspectorsEvents = Outlook(0x00063079);
constexpr IID kInspectorEvents = Outlook(0x0006307D);
constexpr IID kItemEvents = Outlook(0x0006303A);

constexpr DISPID kActivated = 0xF001;
constexpr DISPID kNewInspector = 0xF001;
constexpr DISPID kBeforeFolderSwitch = 0xF003;
constexpr DISPID kDeactivated = 0xF006;
constexpr DISPID kClosed = 0xF008;

constexpr DISPID kApplicationId = 61440;
constexpr DISPID kClassId = 61450;

constexpr int kHtmlEditor = 2, kWordEditor = 4;
constexpr int kDiscard = 1;  // OlInspectorClose

// Where mails begin to say what they are written as.
constexpr int kOutlook2002 = 10;
// Where mails stop having an editor of Outlook's own, and menus; then the main windows.
constexpr int kOutlook2007 = 12, kOutlook2010 = 14;

// What a browser would show of it.
std::string TextOfHtml(std::string_view html) {
  std::string text;
  bool in_tag = false;
  for (const char c : html) {
    if (c == '<') in_tag = true;
    if (!in_tag) text += c;
    if (c == '>') in_tag = false;
  }
  return text;
}

const char* const kBars[] = {"Menu Bar", "Standard", "Web"};

// Commands of the stand-in's own, for a person: a new mail in each editor.
constexpr int kNewMail = 90000;  // and OlEditorType

void AddNewMails(Bar& menu) {
  menu.Add(kButton, kNewMail + 1, "New mail, &plain text");
  menu.Add(kButton, kNewMail + 2, "New mail, &HTML");
  menu.Add(kButton, kNewMail + 3, "New mail, &rich text");
}

}  // namespace

// Folders, attachments, items --------------------------------------------------------------------

Folder::Folder(Ledger& ledger, Client& client, std::string_view name, int item_type)
    : Object(ledger, KindOf()), folder_name(name), default_item_type(item_type), client_(client) {}

const Kind& Folder::KindOf() {
  static const Kind kind{"MAPIFolder",
                         {
                             {L"DefaultItemType", 12550, kGet, On<&Folder::default_item_type>},
                             {L"Name", 12289, kGetPut, On<&Folder::folder_name>},
                             {L"Class", kClassId, kGet, Gives<2>},
                         },
                         {}};
  return kind;
}

Attachment::Attachment(Ledger& ledger, Item& item, std::size_t index)
    : Object(ledger, KindOf()), item_(item), index_(index) {}

const Kind& Attachment::KindOf() {
  static const Kind kind{
      "Attachment",
      {
          {L"FileName", 14084, kGet, On<&Attachment::FileName>},
          {L"DisplayName", 12289, kGet, On<&Attachment::FileName>},
          {L"SaveAsFile", 104, kMethod, On<&Attachment::SaveAsFile>, {Takes::kText}},
          {L"Index", 91, kGet, On<&Attachment::Index>},
          {L"Type", 14085, kGet, Gives<1>},
          {L"Class", kClassId, kGet, Gives<5>},
      },
      {}};
  return kind;
}

HRESULT Attachment::FileName(Call& call) {
  return call.Return(item_.content.attachments[index_].first);
}

HRESULT Attachment::SaveAsFile(Call& call) {
  const auto path = ModFiles::FromUtf8(call.TextAt(0));
  const Status saved = ModFiles::ReplaceWith(path, item_.content.attachments[index_].second);
  return saved.ok() ? S_OK : call.Fail(E_ACCESSDENIED, "The attachment can't be saved.");
}

Attachments::Attachments(Ledger& ledger, Item& item) : Object(ledger, KindOf()), item_(item) {}

const Kind& Attachments::KindOf() {
  static const Kind kind{"Attachments",
                         {
                             {L"Count", 80, kGet, On<&Attachments::Count>},
                             {L"Item", 81, kMethod, On<&Attachments::ItemAt>, {Takes::kVariant}},
                             {L"Class", kClassId, kGet, Gives<18>},
                         },
                         {}};
  return kind;
}

HRESULT Attachments::Count(Call& call) {
  return call.Return(static_cast<int>(item_.content.attachments.size()));
}

HRESULT Attachments::ItemAt(Call& call) {
  const int index = call.IntAt(0, 0);
  if (index < 1 || static_cast<std::size_t>(index) > item_.content.attachments.size()) {
    return call.Fail(E_INVALIDARG, "Array index out of bounds.");
  }
  return call.Return(&ledger().Make<Attachment>(item_, static_cast<std::size_t>(index) - 1));
}

Item::Item(Ledger& ledger, Client& client, Content of)
    : Object(ledger, KindOf(of.item_class, client.Major())),
      content(std::move(of)),
      client_(client) {}

template <auto Field>
HRESULT Item::Text(Call& call) {
  if (!call.puts()) return call.Return(content.*Field);
  const HRESULT taken = call.Take(content.*Field);
  Show();
  return taken;
}

const Kind& Item::KindOf(int item_class, int version) {
  static const std::vector<Member> common = {
      {L"Application", kApplicationId, kGet, On<&Item::Application>},
      {L"Class", kClassId, kGet, On<&Item::ClassOf>},
      {L"Subject", 55, kGetPut, On<&Item::Text<&Content::subject>>},
      {L"Body", 37120, kGetPut, On<&Item::Body>},
      {L"Attachments", 63509, kGet, On<&Item::AttachmentsOf>},
      {L"MessageClass", 26, kGetPut, On<&Item::Text<&Content::message_class>>},
      {L"GetInspector", 61502, kGet, On<&Item::InspectorOf>},
      {L"Close", 61475, kMethod, On<&Item::Close>, {Takes::kInt}},
      {L"Save", 61512, kMethod, On<&Item::Save>},
      {L"Move", 61492, kMethod, On<&Item::Move>, {Takes::kObject}},
      {L"Display", 61606, kMethod, On<&Item::Display>, {Takes::kBool}, 1},
  };
  static const Kind mail_2000{
      "MailItem",
      Joined(common,
             {
                 {L"To", 3588, kGetPut, On<&Item::Text<&Content::to>>},
                 {L"CC", 3587, kGetPut, On<&Item::Text<&Content::cc>>},
                 {L"BCC", 3586, kGetPut, On<&Item::Text<&Content::bcc>>},
                 {L"HTMLBody", 62468, kGetPut, On<&Item::HtmlBody>},
                 {L"SentOnBehalfOfName", 66, kGetPut, On<&Item::Text<&Content::on_behalf_of>>},
                 {L"SaveSentMessageFolder", 62465, kGetPutRef, On<&Item::SentFolder>},
             }),
      {kItemEvents}};
  static const Kind mail{
      "MailItem",
      Joined(mail_2000.members, {{L"BodyFormat", 64073, kGet, On<&Item::BodyFormat>}}),
      {kItemEvents}};
  static const Kind other{"ContactItem", common, {kItemEvents}};
  if (item_class != kMailClass) return other;
  return version < kOutlook2002 ? mail_2000 : mail;
}

void Item::Show() {
  if (inspector != nullptr) inspector->Refresh();
}

HRESULT Item::Body(Call& call) { return Text<&Content::body>(call); }

HRESULT Item::HtmlBody(Call& call) {
  if (!call.puts()) return call.Return(content.html);
  const HRESULT taken = call.Take(content.html);
  content.body = TextOfHtml(content.html);
  Show();
  return taken;
}

// Nothing is known of a mail in no window.
HRESULT Item::BodyFormat(Call& call) {
  return call.Return(inspector == nullptr ? 0 : inspector->looks.editor);
}

HRESULT Item::AttachmentsOf(Call& call) {
  if (attachments_ == nullptr) attachments_ = &ledger().Make<Attachments>(*this);
  return call.Return(attachments_);
}

HRESULT Item::SentFolder(Call& call) {
  if (!call.puts()) return call.Return(sent_folder);
  Object* folder = nullptr;
  const HRESULT taken = call.TakeObject(folder);
  sent_folder = dynamic_cast<Folder*>(folder);
  return taken;
}

HRESULT Item::InspectorOf(Call& call) { return call.Return(inspector); }

HRESULT Item::Application(Call& call) { return call.Return(&client_.application()); }

HRESULT Item::Close(Call& call) {
  const int mode = call.IntAt(0, 0);
  if (mode < 0 || mode > 2) return call.Fail(E_INVALIDARG, "There is no such way to close.");
  if (mode != kDiscard) content.saved = true;
  ledger().Happened("item closed, mode " + std::to_string(mode));
  if (inspector != nullptr) client_.Close(*inspector);
  return S_OK;
}

HRESULT Item::Save(Call&) {
  content.saved = true;
  return S_OK;
}

// The item is then another object; the old one is of no use.
HRESULT Item::Move(Call& call) {
  auto* folder = dynamic_cast<Folder*>(call.ObjectAt(0));
  if (folder == nullptr) return call.Fail(E_INVALIDARG, "This is no folder.");
  if (!content.saved) return call.Fail(E_FAIL, "The item has not been saved.");
  if (inspector != nullptr) return call.Fail(E_FAIL, "The item is open.");
  Item& moved = ledger().Make<Item>(client_, content);
  moved.content.folder = folder->folder_name;
  ledger().Happened("item moved to " + folder->folder_name);
  if (folder == &client_.sent_folder()) client_.Sent(moved.content);
  content.saved = false;
  return call.Return(&moved);
}

HRESULT Item::Display(Call&) {
  if (inspector == nullptr) {
    client_.Show(*this, client_.NextName(), {content.item_class, 1, false, true});
  } else {
    client_.Activate(inspector->window_name).Ignore();  // it is there
  }
  return S_OK;
}

// Windows ----------------------------------------------------------------------------------------

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Which window on the screen it is, for those who ask through OLE.
class Window::OleWindow final : public IOleWindow {
 public:
  explicit OleWindow(Window& window) : window_(window) {}
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    return window_.QueryInterface(iid, out);
  }
  STDMETHODIMP_(ULONG) AddRef() override { return window_.AddRef(); }
  STDMETHODIMP_(ULONG) Release() override { return window_.Release(); }
  STDMETHODIMP GetWindow(HWND* out) override {
    if (out == nullptr) return E_POINTER;
    *out = window_.frame_ == nullptr ? nullptr : window_.frame_->window();
    return *out == nullptr ? E_FAIL : S_OK;
  }
  STDMETHODIMP ContextSensitiveHelp(BOOL) override { return E_NOTIMPL; }

 private:
  Window& window_;
};

#pragma GCC diagnostic pop

Window::~Window() = default;

IUnknown* Window::Another(REFIID iid) {
  return iid == IID_IOleWindow ? ole_window_.get() : nullptr;
}

Window::Window(Ledger& ledger, const Kind& kind, Client& client, std::string_view name,
               bool is_explorer)
    : Object(ledger, kind),
      window_name(name),
      client_(client),
      bars_(ledger.Make<Bars>(
          client.office, [this](Control& control) { return RunBuiltIn(control); },
          client.Major() < kOutlook2007 ? nullptr : std::function([this](std::string_view command) {
            return RunByName(command);
          }))),
      ole_window_(std::make_unique<OleWindow>(*this)) {
  const bool has_ribbon = client.Major() >= (is_explorer ? kOutlook2010 : kOutlook2007);
  for (const std::string_view bar : kBars) {
    const bool is_gone = has_ribbon && bar == "Web";
    if (!is_gone && client.lacking.count(std::string(bar)) == 0) bars_.Add(bar);
  }
  if (Bar* bar = bars_.Find("Menu Bar")) {
    if (client.foreign_popup) bar->Add(kPopup, kCustomId, "&Somebody else's").tag = "Else";
    Control& file = bar->Add(kPopup, 30002, "&File");
    if (is_explorer) AddNewMails(*file.bar);
    if (!has_ribbon) {
      bar->Add(kPopup, kEditMenuId, "&Edit").bar->Add(kButton, kPasteId, "&Paste");
    }
    bar->Add(kPopup, 30010, "&Help");
  }
  if (Bar* bar = bars_.Find("Standard")) bar->Add(kButton, 2617, "&Send");
  if (Bar* bar = bars_.Find("Web")) {
    bar->Add(kComboBox, kAddressId, "Address:");
    bar->visible = false;
  }
}

std::vector<Member> Window::Common() {
  return {
      {L"Application", kApplicationId, kGet, On<&Window::Application>},
      {L"CommandBars", 8448, kGet, On<&Window::BarsOf>},
      {L"Caption", 8465, kGet, On<&Window::Caption>},
      {L"Activate", 8467, kMethod, On<&Window::Activate>},
  };
}

HRESULT Window::Application(Call& call) { return call.Return(&client_.application()); }

HRESULT Window::Close(Call&) {
  client_.Close(*this);
  return S_OK;
}

HRESULT Window::Caption(Call& call) { return call.Return(frame_->Title()); }

HRESULT Window::Activate(Call&) {
  client_.Activate(window_name).Ignore();  // it is there
  return S_OK;
}

void Window::Take() {
  bars_.Take();
  frame_.reset();
  End();
}

Explorer::Explorer(Ledger& ledger, Client& client, std::string_view name)
    : Window(ledger, KindOf(), client, name, true) {
  folder = &ledger.Make<Folder>(client, "Inbox", 0);
  frame_ = std::make_unique<Frame>(
      "Inbox - Outlook", bars_, false,
      Frame::Told{[this] { client_.CameToFront(*this); }, [this] { client_.Close(*this); }, {}});
}

const Kind& Explorer::KindOf() {
  static const Kind kind{
      "Explorer",
      Joined(Common(),
             {
                 {L"Close", 8451, kMethod, On<&Explorer::Close>},
                 {L"Display", 8452, kMethod, On<&Explorer::Display>},
                 {L"CurrentFolder", 8449, kGetPutRef, On<&Explorer::CurrentFolder>},
                 {L"Class", kClassId, kGet, Gives<34>},
             }),
      {kExplorerEvents}};
  return kind;
}

void Explorer::TellActive(bool active) {
  Raise(kExplorerEvents, active ? kActivated : kDeactivated);
}

void Explorer::TellClose() { Raise(kExplorerEvents, kClosed); }

void Explorer::SwitchTo(Folder* next) {
  if (RaiseCancellable(kExplorerEvents, kBeforeFolderSwitch, next)) return;
  folder = next;
  page.clear();
  if (frame_ != nullptr) frame_->ShowText(next == nullptr ? "files" : next->folder_name);
}

bool Explorer::RunBuiltIn(Control& control) {
  if (control.id > kNewMail && control.id <= kNewMail + 3) {
    return client_.OpenItem(client_.NextName(), {kMailClass, control.id - kNewMail, false, true})
        .ok();
  }
  if (control.id != kAddressId) return false;
  page = control.text;
  ledger().Happened("page shown: " + page);
  frame_->ShowText(page);
  return true;
}

HRESULT Explorer::CurrentFolder(Call& call) {
  if (!call.puts()) return call.Return(folder);
  Object* next = nullptr;
  const HRESULT taken = call.TakeObject(next);
  if (SUCCEEDED(taken)) SwitchTo(dynamic_cast<Folder*>(next));
  return taken;
}

Inspector::Inspector(Ledger& ledger, Client& client, std::string_view name, Item& shown,
                     const NewItem& with)
    : Window(ledger, KindOf(), client, name, false), item(shown), looks(with) {
  frame_ = std::make_unique<Frame>(
      "Message - " + window_name, bars_, true,
      Frame::Told{[this] { client_.CameToFront(*this); }, [this] { client_.Close(*this); },
                  [this] {
                    const Frame::Written written = frame_->Read();
                    item.content.to = written.to;
                    item.content.subject = written.subject;
                    item.content.body = written.body;
                  }});
  Refresh();
}

const Kind& Inspector::KindOf() {
  static const Kind kind{
      "Inspector",
      Joined(Common(),
             {
                 {L"CurrentItem", 8450, kGet, On<&Inspector::CurrentItem>},
                 {L"Close", 8451, kMethod, On<&Inspector::Close>, {Takes::kInt}},
                 {L"Display", 8452, kMethod, On<&Inspector::Display>, {Takes::kBool}, 1},
                 {L"IsWordMail", 8453, kMethod, On<&Inspector::IsWordMail>},
                 {L"HTMLEditor", 8462, kGet, On<&Inspector::Nothing>},
                 {L"WordEditor", 8463, kGet, On<&Inspector::Nothing>},
                 {L"EditorType", 8464, kGet, On<&Inspector::EditorType>},
                 {L"Class", kClassId, kGet, Gives<35>},
             }),
      {kInspectorEvents}};
  return kind;
}

void Inspector::TellActive(bool active) {
  Raise(kInspectorEvents, active ? kActivated : kDeactivated);
}

void Inspector::TellClose() { Raise(kInspectorEvents, kClosed); }

void Inspector::Take() {
  item.inspector = nullptr;
  Window::Take();
}

void Inspector::Refresh() {
  if (frame_ == nullptr) return;
  frame_->Write({item.content.to, item.content.subject, item.content.body});
}

bool Inspector::Paste() {
  const std::size_t before = item.content.body.size();
  if (!frame_->Paste()) return false;
  // An HTML editor writes it into the HTML, too; here at the end, as the caret is there.
  if (!item.content.html.empty() && item.content.body.size() > before) {
    item.content.html += item.content.body.substr(before);
  }
  return true;
}

HRESULT Inspector::CurrentItem(Call& call) {
  if (!looks.readable) return call.Fail(E_FAIL, "The item can't be had.");
  return call.Return(&item);
}

HRESULT Inspector::IsWordMail(Call& call) {
  return call.Return(looks.word_mail || client_.Major() >= kOutlook2007);
}

HRESULT Inspector::EditorType(Call& call) {
  return call.Return(client_.Major() >= kOutlook2007 ? kWordEditor : looks.editor);
}

// Collections and the application -----------------------------------------------------------------

Windows::Windows(Ledger& ledger, Client& client, bool explorers)
    : Object(ledger, KindOf(explorers)), client_(client), explorers_(explorers) {}

const Kind& Windows::KindOf(bool explorers) {
  static const std::vector<Member> members = {
      {L"Count", 80, kGet, On<&Windows::Count>},
      {L"Item", 81, kMethod, On<&Windows::ItemAt>, {Takes::kVariant}},
  };
  static const Kind of_explorers{
      "Explorers", Joined(members, {{L"Class", kClassId, kGet, Gives<60>}}), {kExplorersEvents}};
  static const Kind of_inspectors{
      "Inspectors", Joined(members, {{L"Class", kClassId, kGet, Gives<61>}}), {kInspectorsEvents}};
  return explorers ? of_explorers : of_inspectors;
}

std::vector<Window*> Windows::Listed() const {
  std::vector<Window*> listed;
  for (Window* window : client_.windows()) {
    if (window->is_explorer() == explorers_) listed.push_back(window);
  }
  return listed;
}

HRESULT Windows::ItemAt(Call& call) {
  const std::vector<Window*> listed = Listed();
  const int index = call.IntAt(0, 0);
  if (index < 1 || static_cast<std::size_t>(index) > listed.size()) {
    return call.Fail(E_INVALIDARG, "Array index out of bounds.");
  }
  return call.Return(listed[static_cast<std::size_t>(index) - 1]);
}

Application::Application(Ledger& ledger, Client& client)
    : Object(ledger, KindOf()), client_(client) {}

const Kind& Application::KindOf() {
  static const Kind kind{
      "Application",
      {
          {L"Version", 278, kGet, On<&Application::Version>},
          {L"Name", 12289, kGet, On<&Application::Name>},
          {L"ActiveExplorer", 273, kMethod, On<&Application::ActiveExplorer>},
          {L"ActiveInspector", 274, kMethod, On<&Application::ActiveInspector>},
          {L"ActiveWindow", 287, kMethod, On<&Application::ActiveWindow>},
          {L"CreateItem", 266, kMethod, On<&Application::CreateItem>, {Takes::kInt}},
          {L"Explorers", 281, kGet, On<&Application::Explorers>},
          {L"Inspectors", 282, kGet, On<&Application::Inspectors>},
          {L"Class", kClassId, kGet, Gives<0>},
      },
      {kApplicationEvents}};
  return kind;
}

HRESULT Application::Version(Call& call) { return call.Return(client_.version); }
HRESULT Application::ActiveExplorer(Call& call) { return call.Return(client_.Front(true)); }
HRESULT Application::ActiveInspector(Call& call) { return call.Return(client_.Front(false)); }
HRESULT Application::ActiveWindow(Call& call) { return call.Return(client_.Front()); }
HRESULT Application::Explorers(Call& call) { return call.Return(&client_.explorers()); }
HRESULT Application::Inspectors(Call& call) { return call.Return(&client_.inspectors()); }

HRESULT Application::CreateItem(Call& call) {
  if (call.IntAt(0, -1) != 0) return call.Fail(E_INVALIDARG, "Only mails are made here.");
  Item& item = ledger().Make<Item>(client_, Content{});
  item.sent_folder = &client_.sent_folder();
  return call.Return(&item);
}

ComAddIn::ComAddIn(Ledger& ledger, std::string_view name, std::string_view class_id)
    : Object(ledger, KindOf()), prog_id(name), guid(class_id) {}

const Kind& ComAddIn::KindOf() {
  static const Kind kind{"COMAddIn",
                         {
                             {L"Description", DISPID_VALUE, kGetPut, On<&ComAddIn::description>},
                             {L"ProgId", 3, kGet, On<&ComAddIn::prog_id>},
                             {L"Guid", 4, kGet, On<&ComAddIn::guid>},
                             {L"Connect", 6, kGetPut, On<&ComAddIn::connected>},
                         },
                         {}};
  return kind;
}

// Outlook ----------------------------------------------------------------------------------------

Client::Client(std::string_view of, bool bare)
    : version(of),
      application_(&ledger.Make<Application>(*this)),
      explorers_(&ledger.Make<Windows>(*this, true)),
      inspectors_(&ledger.Make<Windows>(*this, false)),
      sent_folder_(&ledger.Make<Folder>(*this, "Sent Items", 0)) {
  if (!bare) OpenExplorer("main").Ignore();  // the name is free
  ledger.TakeEvents();
}

Client::~Client() { Quit(); }

Window* Client::Find(std::string_view name) const {
  for (Window* window : windows_) {
    if (window->window_name == name) return window;
  }
  return nullptr;
}

Window* Client::Front(bool explorer) const {
  for (auto window = windows_.rbegin(); window != windows_.rend(); ++window) {
    if ((*window)->is_explorer() == explorer) return *window;
  }
  return nullptr;
}

void Client::TellFront(Window& window, bool active) {
  if (window.ended() || (!active && !tells_deactivate)) return;
  ledger.Happened((active ? "activate " : "deactivate ") + window.window_name);
  window.TellActive(active);
}

void Client::BringToFront(Window& window) {
  Window* before = Front();
  if (before == &window) return;
  std::erase(windows_, &window);
  windows_.push_back(&window);
  if (before != nullptr) TellFront(*before, false);
  TellFront(window, true);
}

void Client::CameToFront(Window& window) {
  const bool is_open = std::find(windows_.begin(), windows_.end(), &window) != windows_.end();
  if (follows_screen && is_open && !window.closing) BringToFront(window);
}

Status Client::OpenExplorer(std::string_view name) {
  if (Find(name) != nullptr) return Status(Code::kUsage, "there is a window of that name");
  auto& window = ledger.Make<Explorer>(*this, name);
  ribbons.Show(window);
  BringToFront(window);
  if (!window.ended()) window.frame().Show();
  return {};
}

Status Client::OpenItem(std::string_view name, const NewItem& looks) {
  if (Find(name) != nullptr) return Status(Code::kUsage, "there is a window of that name");
  Content content;
  content.item_class = looks.item_class;
  Item& item = ledger.Make<Item>(*this, content);
  item.sent_folder = sent_folder_;
  Show(item, name, looks);
  return {};
}

void Client::Show(Item& item, std::string_view name, const NewItem& looks) {
  auto& window = ledger.Make<Inspector>(*this, name, item, looks);
  item.inspector = &window;
  ledger.Happened("new inspector " + std::string(name));
  // It is in the collection, but not yet to be seen.
  windows_.insert(windows_.begin(), &window);
  inspectors_->Raise(kInspectorsEvents, kNewInspector, &window);
  if (window.ended()) return;
  ribbons.Show(window);
  BringToFront(window);
  if (!window.ended()) window.frame().Show();
}

Status Client::Activate(std::string_view name) {
  Window* window = Find(name);
  if (window == nullptr) return Status(Code::kNotFound, "there is no such window");
  BringToFront(*window);
  if (!window->ended()) SetForegroundWindow(window->frame().window());
  return {};
}

Status Client::Close(std::string_view name) {
  Window* window = Find(name);
  if (window == nullptr || window->closing) {
    return Status(Code::kNotFound, "there is no such window");
  }
  Close(*window);
  return {};
}

// The window is still there, and counted, while its close is told.
void Client::Close(Window& window) {
  if (window.closing) return;
  window.closing = true;
  ledger.Happened("close " + window.window_name);
  window.TellClose();
  const bool was_in_front = Front() == &window;
  std::erase(windows_, &window);
  window.Take();
  if (was_in_front && Front() != nullptr) TellFront(*Front(), true);
}

Status Client::SwitchFolder(std::optional<int> item_type) {
  auto* window = static_cast<Explorer*>(Front(true));
  if (window == nullptr) return Status(Code::kNotFound, "there is no main window");
  Folder* folder = nullptr;
  if (item_type.has_value()) folder = &ledger.Make<Folder>(*this, "A folder", *item_type);
  window->SwitchTo(folder);
  return {};
}

Status Client::Command(std::string_view caption) {
  const Status none(Code::kNotFound, "nothing called '" + std::string(caption) +
                                         "' can be used in the window in front");
  Window* window = Front();
  if (window == nullptr) return none;
  // What is in a menu that is hidden is out of reach.
  const std::function<Control*(const Bar&)> find = [&](const Bar& bar) -> Control* {
    for (Control* control : bar.list) {
      if (!control->IsUsable()) continue;
      if (control->bar != nullptr) {
        if (Control* inner = find(*control->bar)) return inner;
      } else if (control->type == kButton &&
                 (control->PlainCaption() == caption || control->tag == caption)) {
        return control;
      }
    }
    return nullptr;
  };
  for (const Bar* bar : window->bars().list) {
    Control* control = bar->visible ? find(*bar) : nullptr;
    if (control != nullptr && control->Click()) return {};
  }
  const std::shared_ptr<RibbonView> ribbon = window->ribbon;
  const Status clicked = ribbon == nullptr ? none : ribbon->Click(caption);
  return clicked.code() == Code::kNotFound ? none : clicked;
}

Status Client::Choose(std::string_view entry) {
  Window* window = Front();
  for (const Bar* bar : window == nullptr ? std::vector<Bar*>() : window->bars().list) {
    for (Control* control : bar->list) {
      const auto found = std::find(control->items.begin(), control->items.end(), entry);
      if (found == control->items.end()) continue;
      if (control->Choose(static_cast<int>(found - control->items.begin()) + 1)) return {};
    }
  }
  const Status none(Code::kNotFound,
                    "the window in front has no box that offers '" + std::string(entry) + "'");
  const std::shared_ptr<RibbonView> ribbon = window == nullptr ? nullptr : window->ribbon;
  const Status chosen = ribbon == nullptr ? none : ribbon->Choose(entry);
  return chosen.code() == Code::kNotFound ? none : chosen;
}

void Client::Quit() {
  for (Window* window : std::exchange(windows_, {})) window->Take();
}

}  // namespace vespro::standin
