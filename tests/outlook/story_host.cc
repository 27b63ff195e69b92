#include "outlook/story_host.h"

#include <shlobj.h>

#include <map>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "base/win32/registry.h"
#include "base/win32/wide.h"
#include "outlook/imports.h"

namespace vespro::standin {
namespace {

// What the DLL asks of the system while a story is told. Its calls carry nothing of ours with them,
// so this is one for the process.
struct System {
  std::vector<std::string> started;
  bool can_start = true;
  // By the clipboard's format, which call from now on fails.
  std::map<UINT, int> failing_data;
};
System& TheSystem() {
  static System system;
  return system;
}

BOOL WINAPI NoteProcess(LPCWSTR, LPWSTR line, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                        DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION process) {
  if (!TheSystem().can_start) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  TheSystem().started.push_back(ModWide::ToUtf8(line));
  // Handles that can be closed.
  process->hProcess = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  process->hThread = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  return TRUE;
}

HINSTANCE WINAPI NoteShell(HWND, LPCWSTR operation, LPCWSTR file, LPCWSTR, LPCWSTR, INT) {
  constexpr INT_PTR kDone = 42;
  TheSystem().started.push_back(ModWide::ToUtf8(operation == nullptr ? L"open" : operation) + " " +
                                ModWide::ToUtf8(file));
  return reinterpret_cast<HINSTANCE>(kDone);
}

HANDLE WINAPI SetData(UINT format, HANDLE data) {
  const auto failing = TheSystem().failing_data.find(format);
  if (failing == TheSystem().failing_data.end() || --failing->second != 0) {
    return SetClipboardData(format, data);
  }
  SetLastError(ERROR_ACCESS_DENIED);
  return nullptr;
}

template <class Function>
void Replace(HMODULE module, const char* name, Function* replacement) {
  ReplaceImport(module, name, reinterpret_cast<void*>(replacement));
}

// The call of Outlook's that an interface's stands for; empty: there is none.
std::string CallOfOutlook(std::string_view call) {
  static const std::map<std::string_view, const char*> kKinds = {
      {"MailClient", "Application"},  {"Item", "MailItem"},
      {"Button", "CommandBarButton"}, {"ComboBox", "CommandBarComboBox"},
      {"Popup", "CommandBarPopup"},   {"Explorer", "Explorer"},
      {"Inspector", "Inspector"},     {"Inspectors", "Inspectors"},
  };
  static const std::map<std::string_view, const char*> kMembers = {
      {"Bars", "CommandBars"},        {"CloseAndSave", "Close"},
      {"MoveToSentFolder", "Move"},   {"Editor", "EditorType"},
      {"HtmlBody", "HTMLBody"},       {"Listen", "Advise"},
      {"OnNewInspector", "Advise"},   {"OnClick", "Advise"},
      {"OnChange", "Advise"},         {"AttachmentCount", "Attachments"},
      {"ExplorerCount", "Explorers"}, {"NewMail", "CreateItem"},
  };
  const std::size_t dot = call.find('.');
  const auto kind = kKinds.find(call.substr(0, dot));
  if (dot == call.npos || kind == kKinds.end()) return {};
  std::string_view member = call.substr(dot + 1);
  if (const auto other = kMembers.find(member); other != kMembers.end()) member = other->second;
  if (member.starts_with("Set")) member.remove_prefix(3);
  return std::string(kind->second) + "." + std::string(member);
}

void AddControls(const Bar& bar, const std::vector<std::string>& path,
                 std::vector<StoryControl>& controls) {
  for (const Control* control : bar.list) {
    if (control->built_in) continue;
    StoryControl shown;
    shown.path = path;
    shown.type = static_cast<vespro::ControlType>(control->type);
    shown.caption = control->caption;
    shown.tag = control->tag;
    shown.on_action = control->on_action;
    shown.tooltip = control->tooltip;
    shown.text = control->text;
    shown.items = control->items;
    shown.style = static_cast<ButtonStyle>(control->style);
    shown.enabled = control->enabled;
    shown.visible = control->visible;
    shown.begin_group = control->begin_group;
    shown.has_face = !control->face_looks.empty();
    controls.push_back(std::move(shown));
    if (control->bar == nullptr) continue;
    std::vector<std::string> inner = path;
    inner.push_back(control->caption);
    AddControls(*control->bar, inner, controls);
  }
}

StoryMail MailOf(const Content& content) {
  StoryMail mail{content.to, content.on_behalf_of, content.subject, content.body, content.html, {}};
  for (const auto& [name, bytes] : content.attachments) mail.attachments.push_back(name);
  return mail;
}

// The user's registry says where the desktop is, with which all other folders begin for the system.
// Without it Wine looks below the user's name, where a made-up user has none, and its file picker
// does not open anything.
void SetDesktopFolder() {
  wchar_t path[MAX_PATH] = {};
  SHGetFolderPathW(nullptr, CSIDL_DESKTOPDIRECTORY | CSIDL_FLAG_CREATE, nullptr, 0, path);
  ModRegistry::WriteValue(
      ModRegistry::Root::kCurrentUser,
      "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders", "Desktop",
      ModWide::ToUtf8(path), ModRegistry::kString);
}

Status NoWindow(const std::string& name) {
  return Status(Code::kNotFound, "there is no window " + name);
}

}  // namespace

OutlookStoryHost::OutlookStoryHost()
    : root_(std::filesystem::temp_directory_path() /
            ("vespro story " + std::to_string(GetCurrentProcessId()))),
      installed_(Home() / "app") {
  SetDesktopFolder();
  // Stories call the user so; Wine takes the name from there.
  SetEnvironmentVariableW(L"WINEUSERNAME", L"user");
  driver_.Do([this] { client_ = std::make_unique<Client>(); });
}

OutlookStoryHost::~OutlookStoryHost() {
  driver_.End();
  driver_.Do([this] {
    loaded_ = nullptr;
    client_ = nullptr;
  });
  ModFiles::Remove(root_).Ignore();  // the story is told
}

Status OutlookStoryHost::Run(std::function<Status(Client&)> action) {
  // The action may wait for a dialog and outlive this call.
  const auto status = std::make_shared<Status>();
  const bool over =
      driver_.Do([this, status, run = std::move(action)] { *status = run(*client_); });
  return over ? *status : Status();
}

Status OutlookStoryHost::OnItem(const std::string& name, std::function<Status(Item&)> action) {
  return Run([name, run = std::move(action)](Client& client) {
    auto* window = dynamic_cast<Inspector*>(client.Find(name));
    if (window == nullptr) return NoWindow(name);
    Status done = run(window->item);
    window->Refresh();
    return done;
  });
}

Status OutlookStoryHost::SetVersion(std::string_view version) {
  client_->version = version;
  return {};
}

Status OutlookStoryHost::Lack(std::string_view bar) {
  client_->lacking.emplace(bar);
  return {};
}

Status OutlookStoryHost::Without(std::string_view what) {
  if (what == "deactivate") {
    client_->tells_deactivate = false;
  } else if (what == "engine") {
    TheSystem().can_start = false;
  } else if (what == "ribbon") {
    client_->asks_for_ribbons = Client::Asks::kNever;
  } else if (what == "explorer") {
    return Run([](Client& client) {
      client.Quit();
      return Status();
    });
  } else {
    return Status(Code::kUsage, "there is no telling what that is");
  }
  return {};
}

Status OutlookStoryHost::Fail(std::string_view call, int n) {
  static const std::map<std::string_view, UINT> kData = {
      {"Desktop.SetClipboardText", CF_UNICODETEXT}, {"Desktop.SetClipboardPicture", CF_BITMAP}};
  if (const auto data = kData.find(call); data != kData.end()) {
    TheSystem().failing_data[data->second] = n;
    return {};
  }
  const std::string name = CallOfOutlook(call);
  if (name.empty()) return Status(Code::kUsage, "Outlook has no such call");
  client_->ledger.FailCall(name, n);
  return {};
}

Status OutlookStoryHost::Connect(int mode) {
  return Run([this, mode](Client& client) {
    const std::vector<ListedAddIn> listed = ListedAddIns();
    if (listed.empty()) return Status(Code::kNotFound, "no add-in is registered");
    Result<std::unique_ptr<LoadedAddIn>> loaded = LoadedAddIn::Load(listed[0]);
    if (!loaded.ok()) return loaded.status();
    loaded_ = std::move(loaded).value();
    Replace(loaded_->module(), "CreateProcessW", &NoteProcess);
    Replace(loaded_->module(), "ShellExecuteW", &NoteShell);
    Replace(loaded_->module(), "SetClipboardData", &SetData);
    Custom custom;
    custom.first = mode;
    const HRESULT result = loaded_->Connect(client, custom);
    if (result == S_OK) return Status();
    return Status(Code::kUnavailable, "the add-in did not connect",
                  static_cast<std::uint32_t>(result));
  });
}

Status OutlookStoryHost::Disconnect() {
  if (loaded_ == nullptr) return Status(Code::kUsage, "the add-in is not loaded");
  return Run([this](Client& client) {
    loaded_->Disconnect(client);
    return Status();
  });
}

Status OutlookStoryHost::OpenExplorer(const std::string& name) {
  return Run([name](Client& client) { return client.OpenExplorer(name); });
}

Status OutlookStoryHost::OpenItem(const std::string& name, const StoryItem& item) {
  const NewItem looks{item.item_class, static_cast<int>(item.editor), item.word_mail, true};
  return Run([name, looks](Client& client) { return client.OpenItem(name, looks); });
}

Status OutlookStoryHost::Write(const std::string& name, MailPart part, std::string_view text) {
  return OnItem(name, [part, written = std::string(text)](Item& item) {
    switch (part) {
      case MailPart::kSubject:
        item.content.subject = written;
        break;
      case MailPart::kBody:
        item.content.body = written;
        break;
      case MailPart::kHtml:
        item.content.html = written;
        break;
    }
    return Status();
  });
}

Status OutlookStoryHost::Attach(const std::string& name, const std::filesystem::path& file) {
  Result<std::string> bytes = ModFiles::ReadAll(file);
  if (!bytes.ok()) return bytes.status();
  return OnItem(name, [file, content = std::move(bytes).value()](Item& item) {
    item.content.attachments.emplace_back(ModFiles::ToUtf8(file.filename()), content);
    return Status();
  });
}

Status OutlookStoryHost::Activate(const std::string& name) {
  return Run([name](Client& client) { return client.Activate(name); });
}

Status OutlookStoryHost::CloseWindow(const std::string& name) {
  return Run([name](Client& client) { return client.Close(name); });
}

Status OutlookStoryHost::SwitchFolder(std::optional<int> item_type) {
  return Run([item_type](Client& client) { return client.SwitchFolder(item_type); });
}

Status OutlookStoryHost::Command(std::string_view caption) {
  return Run([text = std::string(caption)](Client& client) { return client.Command(text); });
}

Status OutlookStoryHost::Choose(std::string_view entry) {
  return Run([text = std::string(entry)](Client& client) { return client.Choose(text); });
}

Status OutlookStoryHost::Quit() {
  return Run([this](Client& client) {
    client.Quit();
    if (loaded_ != nullptr) loaded_->Disconnect(client);
    return Status();
  });
}

Result<std::vector<StoryControl>> OutlookStoryHost::Controls(const std::string& name) {
  std::vector<StoryControl> controls;
  const Status read = Run([&](Client& client) {
    const Window* window = client.Find(name);
    if (window == nullptr) return NoWindow(name);
    for (const Bar* bar : window->bars().list) AddControls(*bar, {bar->bar_name}, controls);
    return Status();
  });
  if (!read.ok()) return read;
  return controls;
}

Result<StoryMail> OutlookStoryHost::Mail(const std::string& name) {
  StoryMail mail;
  const Status read = OnItem(name, [&](Item& item) {
    mail = MailOf(item.content);
    return Status();
  });
  if (!read.ok()) return read;
  return mail;
}

std::vector<StoryMail> OutlookStoryHost::Sent() {
  std::vector<StoryMail> mails;
  for (const Content& content : client_->sent()) mails.push_back(MailOf(content));
  return mails;
}

Status OutlookStoryHost::SetClipboard(std::string_view text) {
  return driver_.desktop().SetClipboardText(text);
}

std::string OutlookStoryHost::Clipboard() {
  std::string text;
  if (!OpenClipboard(nullptr)) return text;
  if (IsClipboardFormatAvailable(CF_BITMAP)) text = "[a picture]";
  if (const HANDLE memory = GetClipboardData(CF_UNICODETEXT)) {
    text = ModWide::ToUtf8(static_cast<const wchar_t*>(GlobalLock(memory)));
    GlobalUnlock(memory);
  }
  CloseClipboard();
  return text;
}

std::vector<std::string> OutlookStoryHost::Held() {
  std::vector<std::string> lines;
  for (const std::string& line : client_->ledger.Held()) lines.push_back("held: " + line);
  for (const std::string& line : client_->ledger.faults()) lines.push_back("fault: " + line);
  for (const std::string& line : client_->ledger.refusals()) lines.push_back("refused: " + line);
  return lines;
}

std::vector<std::string> OutlookStoryHost::Calls() {
  std::string home = ModFiles::ToUtf8(Home());
  home = ModText::ReplaceAll(home, "\\", "/");
  std::vector<std::string> lines;
  for (const std::string& call : client_->ledger.call_lines()) {
    // Folders are parted in one way, line ends are shown.
    const std::string line = ModText::ReplaceAll(ModText::ReplaceAll(call, "\r\n", "|"), "\\", "/");
    lines.push_back(ModText::ReplaceAll(line, home, "{home}"));
  }
  return lines;
}

std::vector<std::string> OutlookStoryHost::TakeCalls() {
  std::vector<std::string> lines;
  for (const std::string& event : client_->ledger.TakeEvents()) lines.push_back("> " + event);
  return lines;
}

std::vector<std::string> OutlookStoryHost::TakeStarted() {
  return std::exchange(TheSystem().started, {});
}

}  // namespace vespro::standin
