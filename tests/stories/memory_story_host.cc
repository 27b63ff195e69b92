#include "stories/memory_story_host.h"

#include <utility>

#include "base/files.h"
#include "base/text.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

constexpr char kProgId[] = "Vespro.Connect";
// Versions whose windows all have ribbons.
constexpr double kHasRibbons = 14;

// What was added to the bar and to the popups in it.
void AddControls(const MemoryBar& bar, const std::vector<std::string>& path,
                 std::vector<StoryControl>& controls) {
  for (const auto& control : bar.controls()) {
    const auto& state = dynamic_cast<const MemoryControlState&>(*control);
    if (state.deleted || state.id != 1) continue;
    StoryControl shown;
    shown.path = path;
    shown.type = state.type;
    shown.caption = state.caption;
    shown.tag = state.tag;
    shown.on_action = state.on_action;
    shown.tooltip = state.tooltip;
    shown.text = state.text;
    shown.items = state.items;
    shown.style = state.style;
    shown.enabled = state.enabled;
    shown.visible = state.visible;
    shown.begin_group = state.begin_group;
    shown.has_face = state.has_face;
    controls.push_back(std::move(shown));
    auto* popup = dynamic_cast<CommandBarPopup*>(control.get());
    if (popup == nullptr) continue;
    std::vector<std::string> inner = path;
    inner.push_back(state.caption);
    AddControls(dynamic_cast<const MemoryBar&>(*popup->Bar()), inner, controls);
  }
}

StoryMail MailOf(const MemoryItem& item) {
  StoryMail mail{item.to, item.on_behalf_of, item.subject, item.body, item.html_body, {}};
  for (const auto& [name, bytes] : item.attachments) mail.attachments.push_back(name);
  return mail;
}

Status NoWindow(const std::string& name) {
  return Status(Code::kNotFound, "there is no window " + name);
}

}  // namespace

std::chrono::system_clock::time_point StoryClock::Now() const {
  if (++looks_ > 10) now_ += std::chrono::seconds(1);
  return now_;
}

void StoryDesktop::Note(const char* name, std::string_view details) {
  client_.calls().lines.push_back(std::string("Desktop.") + name + " " + std::string(details));
}

Status StoryDesktop::Did(const char* name, const std::string& details) {
  if (client_.calls().MakeElsewhere(std::string("Desktop.") + name, details)) return {};
  return Status(Code::kUnavailable, "the system refuses", 5);
}

MessageAnswer StoryDesktop::MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                                   std::string_view title) {
  Note("MsgBox", title);
  return DesktopOver::MsgBox(text, icon, buttons, title);
}

std::string StoryDesktop::InputBox(std::string_view prompt, std::string_view title,
                                   std::string_view initial) {
  Note("InputBox", title);
  return DesktopOver::InputBox(prompt, title, initial);
}

std::string StoryDesktop::PickFile(const FileQuestion& question) {
  Note("PickFile", question.title);
  return DesktopOver::PickFile(question);
}

Status StoryDesktop::ClearClipboard() {
  Status did = Did("ClearClipboard", "");
  if (did.ok()) client_.clipboard_text = client_.clipboard_picture = "";
  return did;
}

Status StoryDesktop::SetClipboardText(std::string_view text) {
  Status did = Did("SetClipboardText", "\"" + std::string(text) + "\"");
  if (did.ok()) client_.clipboard_text = text;
  return did;
}

Status StoryDesktop::SetClipboardPicture(std::string_view resource, PictureKind kind) {
  Status did = Did("SetClipboardPicture",
                   std::string(resource) + (kind == PictureKind::kIcon ? " icon" : " bitmap"));
  if (did.ok()) client_.clipboard_picture = resource;
  return did;
}

Status StoryDesktop::Start(const CommandLine& command) {
  Status did = Did("Start", command.text);
  if (no_engine) did = Status(Code::kUnavailable, "there is no such program", 2);
  if (did.ok()) started.push_back(command.text);
  return did;
}

int StoryDesktop::Shell(const ShellRequest& request) {
  if (!Did("Shell", request.operation + " " + request.file).ok()) return 31;
  started.push_back(request.operation + " " + request.file);
  return 42;
}

void StoryDesktop::Log(std::string_view line) { Note("Log", line); }

MemoryStoryHost::MemoryStoryHost()
    : root_(fs::temp_directory_path() /
            ModFiles::FromUtf8("vespro story \xC5\x82 " +
                               std::to_string(SystemRandomness().Next()))) {
  // What can't be made shows in the story.
  ModFiles::MakeFolders(Home() / "app").Ignore();
}

MemoryStoryHost::~MemoryStoryHost() {
  driver_.End();
  ribbons_.Detach();
  connections_.clear();
  ModFiles::Remove(root_).Ignore();  // the story is told
}

Status MemoryStoryHost::Run(std::function<Status()> action) {
  clock_.BeginStep();
  // The action may wait for a dialog and outlive this call.
  const auto status = std::make_shared<Status>();
  auto program = [status, run = std::move(action)] { *status = run(); };
  if (driver_.Ended()) {
    driver_.Start(std::move(program));
  } else {
    driver_.Interrupt(std::move(program));
  }
  return *status;
}

Status MemoryStoryHost::SetVersion(std::string_view version) {
  client_.version = version;
  return {};
}

Status MemoryStoryHost::Lack(std::string_view bar) {
  client_.lacking.emplace(bar);
  return {};
}

Status MemoryStoryHost::Without(std::string_view what) {
  if (what == "deactivate") {
    client_.tells_deactivate = false;
  } else if (what == "engine") {
    desktop_.no_engine = true;
  } else if (what == "ribbon") {
    asks_for_ribbons_ = false;
  } else if (what == "explorer") {
    client_.Quit();
  } else {
    return Status(Code::kUsage, "there is no telling what that is");
  }
  return {};
}

Status MemoryStoryHost::Fail(std::string_view call, int n) {
  client_.calls().FailAt(call, n);
  return {};
}

Status MemoryStoryHost::Connect(int mode) {
  AddInPlace place;
  place.install_folder = Home() / "app";
  place.engine_file = "Vespro.exe";
  place.user_name = "user";
  connections_.push_back(
      std::make_unique<vespro::Connect>(desktop_, backend_, clock_, randomness_, std::move(place)));
  client_.calls().BeginAgain();
  return Run([this, mode, connection = connections_.back().get()] {
    const bool has_ribbons = ModText::LeadingNumber(client_.version) >= kHasRibbons;
    if (has_ribbons && announces_ribbons) connection->ExpectRibbons();
    connection->IDTExtensibility2_OnConnection(client_.Application(), mode, kProgId);
    if (has_ribbons && asks_for_ribbons_) ribbons_.Attach(*connection);
    connection->IDTExtensibility2_OnStartupComplete();
    return Status();
  });
}

Status MemoryStoryHost::Disconnect() {
  if (connections_.empty()) return Status(Code::kUsage, "the add-in is not loaded");
  return Run([this, connection = connections_.back().get()] {
    connection->IDTExtensibility2_OnDisconnection();
    ribbons_.Detach();
    client_.calls().End();
    return Status();
  });
}

Status MemoryStoryHost::OpenExplorer(const std::string& name) {
  return Run([this, name] { return client_.OpenExplorer(name); });
}

Status MemoryStoryHost::OpenItem(const std::string& name, const StoryItem& story_item) {
  MemoryItem item;
  item.item_class = story_item.item_class;
  item.editor = story_item.editor;
  item.word_mail = story_item.word_mail;
  return Run([this, name, item] { return client_.OpenItem(name, item); });
}

Status MemoryStoryHost::Write(const std::string& name, MailPart part, std::string_view text) {
  MemoryItem* item = client_.Item(name);
  if (item == nullptr) return NoWindow(name);
  switch (part) {
    case MailPart::kSubject:
      item->subject = text;
      break;
    case MailPart::kBody:
      item->body = text;
      break;
    case MailPart::kHtml:
      item->html_body = text;
      break;
  }
  return {};
}

Status MemoryStoryHost::Attach(const std::string& name, const fs::path& file) {
  MemoryItem* item = client_.Item(name);
  if (item == nullptr) return NoWindow(name);
  Result<std::string> bytes = ModFiles::ReadAll(file);
  if (!bytes.ok()) return bytes.status();
  item->attachments.emplace_back(ModFiles::ToUtf8(file.filename()), std::move(bytes).value());
  return {};
}

Status MemoryStoryHost::Activate(const std::string& name) {
  return Run([this, name] { return client_.Activate(name); });
}

Status MemoryStoryHost::CloseWindow(const std::string& name) {
  return Run([this, name] { return client_.Close(name); });
}

Status MemoryStoryHost::SwitchFolder(std::optional<int> item_type) {
  return Run([this, item_type] { return client_.SwitchFolder(item_type); });
}

// What can't be done on bars may be on the ribbon of the window in front.
Status MemoryStoryHost::OnBarsOr(Status done, const std::function<Status(RibbonView&)>& on_ribbon) {
  const std::vector<std::string> windows = client_.WindowNames();
  if (done.code() != Code::kNotFound || windows.empty()) return done;
  const std::shared_ptr<RibbonView> ribbon = ribbons_.In(windows.back());
  if (ribbon == nullptr) return done;
  Status clicked = on_ribbon(*ribbon);
  return clicked.code() == Code::kNotFound ? done : clicked;
}

Status MemoryStoryHost::Command(std::string_view caption) {
  return Run([this, text = std::string(caption)] {
    return OnBarsOr(client_.Command(text), [&](RibbonView& ribbon) { return ribbon.Click(text); });
  });
}

Status MemoryStoryHost::Choose(std::string_view entry) {
  return Run([this, text = std::string(entry)] {
    return OnBarsOr(client_.Choose(text), [&](RibbonView& ribbon) { return ribbon.Choose(text); });
  });
}

Status MemoryStoryHost::Quit() {
  return Run([this] {
    client_.Quit();
    if (!connections_.empty()) connections_.back()->IDTExtensibility2_OnDisconnection();
    ribbons_.Detach();
    client_.calls().End();
    return Status();
  });
}

Result<std::vector<StoryControl>> MemoryStoryHost::Controls(const std::string& name) {
  std::vector<StoryControl> controls;
  bool has_bars = false;
  for (const char* bar_name : {"Menu Bar", "Standard", "Web"}) {
    const MemoryBar* bar = client_.Bar(name, bar_name);
    if (bar == nullptr) continue;
    has_bars = true;
    AddControls(*bar, {bar_name}, controls);
  }
  if (!has_bars) return NoWindow(name);
  return controls;
}

Result<StoryMail> MemoryStoryHost::Mail(const std::string& name) {
  const MemoryItem* item = client_.Item(name);
  if (item == nullptr) return NoWindow(name);
  return MailOf(*item);
}

std::vector<StoryMail> MemoryStoryHost::Sent() {
  std::vector<StoryMail> mails;
  for (const MemoryItem& item : client_.sent()) mails.push_back(MailOf(item));
  return mails;
}

Status MemoryStoryHost::SetClipboard(std::string_view text) {
  client_.clipboard_text = text;
  client_.clipboard_picture.clear();
  return {};
}

std::string MemoryStoryHost::Clipboard() {
  if (client_.clipboard_picture.empty()) return client_.clipboard_text;
  return "[" + client_.clipboard_picture + "]";
}

std::vector<std::string> MemoryStoryHost::Held() {
  std::vector<std::string> lines;
  for (const auto& [kind, count] : client_.calls().held) {
    lines.push_back("held: " + std::to_string(count) + " " + kind);
  }
  for (const std::string& fault : client_.calls().faults)
    lines.push_back("after the end: " + fault);
  return lines;
}

std::vector<std::string> MemoryStoryHost::TakeCalls() {
  return std::exchange(client_.calls().lines, {});
}

std::vector<std::string> MemoryStoryHost::TakeStarted() {
  return std::exchange(desktop_.started, {});
}

}  // namespace vespro
