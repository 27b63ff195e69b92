#include "stories/story_runner.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <vector>

#include "base/files.h"
#include "base/text.h"
#include "dialogs/walk.h"
#include "settings/account_file.h"
#include "settings/settings.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kIndent = "    ";

std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines = ModText::Split(text, '\n');
  if (!lines.empty() && lines.back().empty()) lines.pop_back();
  for (std::string_view& line : lines) {
    if (line.ends_with('\r')) line.remove_suffix(1);
  }
  return lines;
}

// What is after each `mark` up to `end` becomes `shown`.
std::string Masked(std::string text, std::string_view mark, char end, std::string_view shown) {
  std::size_t at = 0;
  while ((at = text.find(mark, at)) != std::string::npos) {
    at += mark.size();
    text.replace(at, std::min(text.find(end, at), text.size()) - at, shown);
  }
  return text;
}

class Teller {
 public:
  explicit Teller(StoryHost& host) : host_(host) { files_ = ReadFiles(); }

  std::string Tell(std::string_view story) {
    const std::vector<std::string_view> lines = Lines(story);
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].starts_with(kIndent)) continue;
      out_ += std::string(lines[i]) + "\n";
      if (ModText::Trim(lines[i]).empty() || lines[i].front() == '#') continue;
      const std::string_view step = lines[i];
      std::string text;
      for (; i + 1 < lines.size() && lines[i + 1].starts_with("|"); ++i) {
        out_ += std::string(lines[i + 1]) + "\n";
        text += std::string(lines[i + 1].substr(std::min<std::size_t>(2, lines[i + 1].size()))) +
                "\r\n";
      }
      Do(Meant(step), Meant(text));
    }
    return std::move(out_);
  }

 private:
  using Words = std::vector<std::string>;
  struct Verb {
    std::size_t words;  // after it, at least
    std::function<Status(const Words&, const std::string& text)> act;
  };

  void Do(const std::string& step, const std::string& text) {
    std::string_view rest = step;
    const std::string verb = TakeWord(rest);
    Words words;
    while (!ModText::Trim(rest).empty()) words.push_back(TakeWord(rest));

    static const Words kDialogVerbs = {"type", "click",  "select", "press", "focus",
                                       "pick", "answer", "close",  "look"};
    const std::map<std::string, Verb> verbs = Verbs();
    const auto found = verbs.find(verb);
    Status done;
    if (std::find(kDialogVerbs.begin(), kDialogVerbs.end(), verb) != kDialogVerbs.end()) {
      std::ostringstream seen;
      done = DoDialogStep(host_.Driver(), step, seen);
      PrintLines(Shown(seen.str()), "");
    } else if (found == verbs.end()) {
      done = Status(Code::kUsage, "there is no step '" + verb + "'");
    } else if (words.size() < found->second.words) {
      done = Status(Code::kUsage, "'" + verb + "' needs more words");
    } else {
      words.resize(words.size() + 4);  // those that may be left out are empty
      done = found->second.act(words, text);
    }
    PrintWhatCame();
    if (!done.ok()) Print("cannot: " + Shown(done.text()));
  }

  std::map<std::string, Verb> Verbs() {
    const auto window_text = [this](MailPart part) {
      return Verb{1, [this, part](const Words& words, const std::string& text) {
                    return host_.Write(words[0], part, words[1].empty() ? text : words[1]);
                  }};
    };
    return {
        {"file", {1, [this](auto& w, auto& text) { return WriteFile(w[0], text); }}},
        {"set",
         {2, [this](auto& w, auto&) { return Settings(host_.Backend()).Write(w[0], w[1]); }}},
        {"account", {2, [this](auto& w, auto&) { return AddAccount(w[0], w[1]); }}},
        {"clipboard", {1, [this](auto& w, auto&) { return host_.SetClipboard(w[0]); }}},
        {"version", {1, [this](auto& w, auto&) { return host_.SetVersion(w[0]); }}},
        {"lack", {1, [this](auto& w, auto&) { return host_.Lack(w[0]); }}},
        {"without", {1, [this](auto& w, auto&) { return host_.Without(w[0]); }}},
        {"fail", {2, [this](auto& w, auto&) { return host_.Fail(w[0], Number(w[1])); }}},
        {"calls", {1, [this](auto& w, auto&) { return ShowCalls(w[0]); }}},
        {"connect",
         {0, [this](auto& w, auto&) { return host_.Connect(w[0].empty() ? 1 : Number(w[0])); }}},
        {"disconnect", {0, [this](auto&, auto&) { return host_.Disconnect(); }}},
        {"explorer", {1, [this](auto& w, auto&) { return host_.OpenExplorer(w[0]); }}},
        {"new", {1, [this](auto& w, auto&) { return Open(w[0], w[1]); }}},
        {"subject", window_text(MailPart::kSubject)},
        {"body", window_text(MailPart::kBody)},
        {"html", window_text(MailPart::kHtml)},
        {"attach",
         {2, [this](auto& w, auto&) { return host_.Attach(w[0], ModFiles::FromUtf8(w[1])); }}},
        {"activate", {1, [this](auto& w, auto&) { return host_.Activate(w[0]); }}},
        {"close-window", {1, [this](auto& w, auto&) { return host_.CloseWindow(w[0]); }}},
        {"folder", {1, [this](auto& w, auto&) { return SwitchFolder(w[0]); }}},
        {"command", {1, [this](auto& w, auto&) { return host_.Command(w[0]); }}},
        {"choose", {1, [this](auto& w, auto&) { return host_.Choose(w[0]); }}},
        {"quit", {0, [this](auto&, auto&) { return host_.Quit(); }}},
        {"show", {1, [this](auto& w, auto&) { return ShowControls(w[0], w[1]); }}},
        {"mail", {1, [this](auto& w, auto&) { return ShowMail(w[0]); }}},
        {"sent", {0, [this](auto&, auto&) { return ShowSent(); }}},
        {"read", {1, [this](auto& w, auto&) { return ShowFile(w[0]); }}},
        {"setting", {1, [this](auto& w, auto&) { return ShowSetting(w[0]); }}},
        {"pasteboard", {0, [this](auto&, auto&) { return ShowText(host_.Clipboard()); }}},
        {"held", {0, [this](auto&, auto&) { return ShowHeld(); }}},
    };
  }

  static int Number(const std::string& word) { return ModText::LeadingInt16(word); }

  // Below the story's folder where it is not said from the root on.
  fs::path Path(const std::string& path) { return host_.Home() / ModFiles::FromUtf8(path); }

  Status WriteFile(const std::string& path, const std::string& text) {
    const fs::path file = Path(path);
    if (Status made = ModFiles::MakeFolders(file.parent_path()); !made.ok()) return made;
    Status written = ModFiles::ReplaceWith(file, text);
    files_ = ReadFiles();  // everybody knows
    return written;
  }

  Status AddAccount(const std::string& server, const std::string& port) {
    const fs::path file = host_.DataFolder() / "Vespro.db";
    if (Status made = ModFiles::MakeFolders(file.parent_path()); !made.ok()) return made;
    AccountList list;
    if (Status loaded = list.LoadAll(file); !loaded.ok()) return loaded;
    AccountEntry entry;
    entry.server = server;
    entry.port = port;
    if (Status added = list.Add(entry); !added.ok()) return added;
    Status written = WriteAccountFile(file, list.entries());
    files_ = ReadFiles();
    return written;
  }

  Status ShowCalls(const std::string& word) {
    calls_ = word == "on";
    return {};
  }

  Status Open(const std::string& name, const std::string& kind) {
    StoryItem item;
    if (kind == "html") item.editor = EditorType::kHtml;
    if (kind == "rich") item.editor = EditorType::kRichText;
    if (kind == "word") item.editor = EditorType::kWord;
    item.word_mail = kind == "word";
    if (const int number = Number(kind); number != 0) item.item_class = number;
    return host_.OpenItem(name, item);
  }

  Status SwitchFolder(const std::string& type) {
    return host_.SwitchFolder(type == "none" ? std::nullopt : std::optional<int>(Number(type)));
  }

  Status ShowControls(const std::string& name, const std::string& bar) {
    const Result<std::vector<StoryControl>> controls = host_.Controls(name);
    if (!controls.ok()) return controls.status();
    bool is_empty = true;
    for (const StoryControl& control : controls.value()) {
      if (!bar.empty() && control.path.front() != bar) continue;
      Print(Describe(control));
      is_empty = false;
    }
    if (is_empty) Print("nothing of ours");
    return {};
  }

  static std::string Describe(const StoryControl& control) {
    std::string line;
    for (const std::string& part : control.path) line += part + " / ";
    line += control.caption + ":";
    const auto say = [&line](bool is_so, const std::string& word) {
      if (is_so) line += (line.ends_with(':') ? " " : ", ") + word;
    };
    say(control.type == ControlType::kPopup, "popup");
    say(control.type == ControlType::kButton, "button");
    say(control.type == ControlType::kComboBox, "box");
    say(control.begin_group, "begins a group");
    say(control.style != ButtonStyle::kAutomatic,
        "style " + std::to_string(static_cast<int>(control.style)));
    say(control.has_face, "face");
    say(!control.enabled, "disabled");
    say(!control.visible, "hidden");
    say(control.tag != control.caption, "tag " + control.tag);
    say(!control.on_action.empty(), "action " + control.on_action);
    say(!control.tooltip.empty(),
        "tooltip '" + ModText::ReplaceAll(control.tooltip, "\r\n", "\\n") + "'");
    say(!control.text.empty(), "text '" + control.text + "'");
    if (!control.items.empty()) say(true, "entries");
    for (const std::string& item : control.items) line += " '" + item + "'";
    return line;
  }

  Status ShowMail(const std::string& name) {
    const Result<StoryMail> mail = host_.Mail(name);
    if (!mail.ok()) return mail.status();
    PrintMail(mail.value());
    return {};
  }

  Status ShowSent() {
    const std::vector<StoryMail> mails = host_.Sent();
    for (const StoryMail& mail : mails) PrintMail(mail);
    if (mails.empty()) Print("nothing");
    return {};
  }

  void PrintMail(const StoryMail& mail) {
    const auto field = [this](const char* name, const std::string& value) {
      if (!value.empty()) {
        Print(std::string(name) + ": " + Shown(ModText::ReplaceAll(value, "\r\n", "\\n")));
      }
    };
    field("to", mail.to);
    field("on behalf of", mail.on_behalf_of);
    field("subject", mail.subject);
    field("body", mail.body);
    field("html", mail.html);
    for (const std::string& name : mail.attachments) field("attachment", name);
  }

  Status ShowFile(const std::string& path) {
    const Result<std::string> bytes = ModFiles::ReadAll(Path(path));
    if (!bytes.ok()) return bytes.status();
    std::string text = bytes.value();
    // A code page that lacks a letter of the story's own folder makes the file UTF-8, with a mark.
    if (constexpr std::string_view kMark = "\xEF\xBB\xBF"; text.starts_with(kMark)) {
      text.erase(0, kMark.size());
    }
    // What is different in every message.
    text = Masked(std::move(text), "\r\nDate: ", '\r', "{date}");
    text = Masked(std::move(text), "\r\nMessage-ID: ", '\r', "{id}");
    if (const std::size_t at = text.find("boundary=\""); at != std::string::npos) {
      text = WithoutBoundaries(text);
    }
    PrintLines(Shown(text), "| ");
    return {};
  }

  // The boundaries of a message, in the order in which they are declared.
  static std::string WithoutBoundaries(std::string text) {
    constexpr std::string_view kMark = "boundary=\"";
    int number = 0;
    for (std::size_t at = 0; (at = text.find(kMark, at)) != std::string::npos;) {
      at += kMark.size();
      const std::string boundary = text.substr(at, text.find('"', at) - at);
      if (boundary.empty() || boundary.starts_with('{')) continue;
      text = ModText::ReplaceAll(text, boundary, "{boundary" + std::to_string(++number) + "}");
    }
    return text;
  }

  Status ShowSetting(const std::string& name) {
    return ShowText(Shown(Settings(host_.Backend()).Read(name)));
  }

  Status ShowText(const std::string& text) {
    Print(text.empty() ? "nothing" : "'" + ModText::ReplaceAll(text, "\r\n", "\\n") + "'");
    return {};
  }

  Status ShowHeld() {
    const std::vector<std::string> held = host_.Held();
    for (const std::string& line : held) Print(line);
    if (held.empty()) Print("nothing");
    return {};
  }

  void PrintWhatCame() {
    for (const std::string& call : host_.TakeCalls()) {
      if (calls_) Print(Shown(call.starts_with("> ") ? call : ". " + call));
    }
    for (const std::string& line : host_.TakeStarted()) Print("started: " + Shown(line));
    PrintFiles();
    PrintWindows();
  }

  using Files = std::map<std::string, std::optional<std::string>>;  // a folder: nothing

  Files ReadFiles() {
    Files files;
    std::error_code error;
    for (fs::recursive_directory_iterator at(host_.Home(), error), end; !error && at != end;
         at.increment(error)) {
      const std::string path = ModFiles::ToUtf8(at->path());
      if (ModFiles::IsFolder(at->path())) {
        files[path];
      } else {
        const Result<std::string> bytes = ModFiles::ReadAll(at->path());
        files[path] = bytes.ok() ? bytes.value() : "";
      }
    }
    return files;
  }

  void PrintFiles() {
    const Files now = ReadFiles();
    for (const auto& [path, bytes] : now) {
      const auto old = files_.find(path);
      if (old != files_.end() && old->second == bytes) continue;
      Print("wrote: " + Shown(path) + (bytes ? "" : "/"));
    }
    for (const auto& [path, bytes] : files_) {
      if (now.count(path) == 0) Print("removed: " + Shown(path) + (bytes ? "" : "/"));
    }
    files_ = now;
  }

  void PrintWindows() {
    FormDriver& driver = host_.Driver();
    const std::vector<std::string> titles = driver.Windows();
    if (titles != titles_) {
      std::string line = "shows:";
      for (const std::string& title : titles) line += (line.ends_with(':') ? " " : " | ") + title;
      Print(titles.empty() ? "shows: nothing" : line);
    }
    titles_ = titles;
    if (titles.empty()) return;
    const Result<ControlLook> text = driver.Look("LabelText");
    const Result<ControlLook> icon = driver.Look("ImageIcon");
    if (!text.ok() || !icon.ok()) return;
    std::string message = ModCaption::Plain(text->caption);
    message = ModText::ReplaceAll(message, "\r\n", "\n");
    Print("[" + icon->icon.name + "] " + ModText::ReplaceAll(Shown(message), "\n", "\\n"));
  }

  // Names of sessions that are there now, in the order in which they were first seen.
  void LearnSessions() {
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator at(host_.DataFolder() / "session", error), end; !error && at != end;
         at.increment(error)) {
      found.push_back(ModFiles::ToUtf8(at->path().filename()));
    }
    std::sort(found.begin(), found.end());
    for (const std::string& name : found) {
      if (std::find(sessions_.begin(), sessions_.end(), name) == sessions_.end()) {
        sessions_.push_back(name);
      }
    }
  }

  std::string Shown(std::string text) {
    LearnSessions();
    for (const std::string& home : {ModFiles::ToUtf8(host_.Home()), Slashes(host_.Home())}) {
      text = ModText::ReplaceAll(text, home, "{home}");
    }
    for (std::size_t i = sessions_.size(); i-- > 0;) {
      text = ModText::ReplaceAll(text, sessions_[i], "{session" + std::to_string(i + 1) + "}");
    }
    // The rest of each path.
    for (std::size_t at = 0; (at = text.find("{home}", at)) != std::string::npos;) {
      for (; at < text.size() &&
             std::string_view("\"'|<>\r\n").find(text[at]) == std::string_view::npos;
           ++at) {
        if (text[at] == '\\') text[at] = '/';
      }
    }
    return text;
  }

  static std::string Slashes(const fs::path& path) {
    return ModText::ReplaceAll(ModFiles::ToUtf8(path), "\\", "/");
  }

  // What a step says, with the names that are its own here.
  std::string Meant(std::string_view step) {
    std::string text = ModText::ReplaceAll(step, "{home}", Slashes(host_.Home()));
    text = ModText::ReplaceAll(text, "{data}", Slashes(host_.DataFolder()));
    LearnSessions();
    for (std::size_t i = 0; i < sessions_.size(); ++i) {
      text = ModText::ReplaceAll(text, "{session" + std::to_string(i + 1) + "}", sessions_[i]);
    }
    return text;
  }

  void PrintLines(const std::string& text, const std::string& before) {
    for (const std::string_view line : Lines(text)) Print(before + std::string(line));
  }

  void Print(std::string_view line) { out_ += std::string(kIndent) + std::string(line) + "\n"; }

  StoryHost& host_;
  std::string out_;
  bool calls_ = false;
  Files files_;
  std::vector<std::string> titles_;
  std::vector<std::string> sessions_;
};

}  // namespace

std::string TellStory(StoryHost& host, std::string_view story) { return Teller(host).Tell(story); }

std::string WithoutCalls(std::string_view story) {
  std::string rest;
  for (const std::string_view line : Lines(story)) {
    if (line.starts_with("    . ") || line.starts_with("    > ")) continue;
    rest += std::string(line) + "\n";
  }
  return rest;
}

std::string FirstDifference(std::string_view expected, std::string_view told) {
  const std::vector<std::string_view> wanted = Lines(expected);
  const std::vector<std::string_view> got = Lines(told);
  std::size_t i = 0;
  while (i < wanted.size() && i < got.size() && wanted[i] == got[i]) ++i;
  if (i == wanted.size() && i == got.size()) return {};
  std::string difference = "line " + std::to_string(i + 1) + "\n";
  for (std::size_t j = i; j < std::min(i + 5, wanted.size()); ++j) {
    difference += "  - " + std::string(wanted[j]) + "\n";
  }
  for (std::size_t j = i; j < std::min(i + 5, got.size()); ++j) {
    difference += "  + " + std::string(got[j]) + "\n";
  }
  return difference;
}

}  // namespace vespro
