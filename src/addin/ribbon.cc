#include "addin/ribbon.h"

#include "forms/control.h"
#include "host/add_in.h"
#include "merge/merge_list.h"

namespace vespro {
namespace {

using Place = Command::Place;

// Built-in tabs that people have in front of them: that of mail folders, and that of a new mail.
constexpr char kMainTab[] = "TabMail";
constexpr char kComposeTab[] = "TabNewMailMessage";
// As wide as the longest text that the merge list shows by itself.
constexpr std::string_view kMergeListWidth = ModMailMerge::kTextPrompt;

// By numbers, as line ends have to be.
std::string Escaped(std::string_view text) {
  constexpr std::string_view kMarkup = "&<\"\r\n";
  std::string escaped;
  for (const char c : text) {
    const bool is_markup = kMarkup.find(c) != kMarkup.npos;
    escaped += is_markup ? "&#" + std::to_string(int{c}) + ";" : std::string(1, c);
  }
  return escaped;
}

// Writes elements with their attributes.
class Writer {
 public:
  Writer& Begin(const char* element) {
    Close();
    xml_ += std::string("<") + element;
    open_.push_back(element);
    is_in_tag_ = true;
    return *this;
  }
  Writer& Set(const char* attribute, std::string_view value) {
    xml_ += std::string(" ") + attribute + "=\"" + Escaped(value) + "\"";
    return *this;
  }
  void End() {
    const char* element = open_.back();
    open_.pop_back();
    xml_ += is_in_tag_ ? "/>" : std::string("</") + element + ">";
    is_in_tag_ = false;
  }
  std::string Finish() {
    while (!open_.empty()) End();
    return std::move(xml_);
  }

 private:
  void Close() {
    if (is_in_tag_) xml_ += ">";
    is_in_tag_ = false;
  }

  std::string xml_;
  std::vector<const char*> open_;
  bool is_in_tag_ = false;
};

// A ribbon has other access keys, but as in a menu a single "&" is none of its text.
std::string LabelOf(const char* caption) {
  std::string label;
  for (const char c : ModCaption::Plain(caption)) label += c == '&' ? "&&" : std::string(1, c);
  return label;
}

void WriteLooks(Writer& writer, const Command& command) {
  writer.Set("id", command.name).Set("label", LabelOf(command.caption));
  if (command.HasTooltip()) {
    writer.Set("screentip", ModCaption::Plain(command.caption)).Set("supertip", command.tooltip);
  }
  if (command.HasPicture()) writer.Set("getImage", ribbon_callback::kGetImage);
}

void WriteButton(Writer& writer, const Command& command) {
  writer.Begin("button");
  WriteLooks(writer, command);
  if (command.style == ButtonStyle::kIcon) writer.Set("showLabel", "false");
  writer.Set("onAction", ribbon_callback::kOnAction).End();
}

void WriteMenu(Writer& writer, RibbonKind kind, std::span<const Command> commands) {
  writer.Begin("menu").Set("id", kRibbonMenu).Set("label", kModuleName);
  writer.Set("getImage", ribbon_callback::kGetImage);
  Place open = Place::kMenu;
  for (const Command& command : commands) {
    if (command.place == Place::kBar || !command.IsIn(kind == RibbonKind::kComposeWindow)) continue;
    if (command.place == Place::kMenu && open == Place::kReportsMenu) writer.End();
    open = command.IsMenu() ? Place::kReportsMenu : command.place;
    if (command.IsMenu()) {
      WriteLooks(writer.Begin("menu"), command);
    } else {
      WriteButton(writer, command);
    }
  }
  if (open == Place::kReportsMenu) writer.End();
  writer.End();
}

void WriteMergeList(Writer& writer) {
  writer.Begin("comboBox")
      .Set("id", kRibbonMergeList)
      .Set("label", ModMailMerge::kMergeListCaption)
      .Set("sizeString", kMergeListWidth)
      .Set("getEnabled", ribbon_callback::kGetEnabled)
      .Set("getItemCount", ribbon_callback::kGetItemCount)
      .Set("getItemLabel", ribbon_callback::kGetItemLabel)
      .Set("getText", ribbon_callback::kGetText)
      .Set("onChange", ribbon_callback::kOnChange)
      .End();
}

}  // namespace

std::optional<RibbonKind> RibbonKindOf(std::string_view ribbon_id) {
  if (ribbon_id == "Microsoft.Outlook.Explorer") return RibbonKind::kMainWindow;
  if (ribbon_id == "Microsoft.Outlook.Mail.Compose") return RibbonKind::kComposeWindow;
  return std::nullopt;
}

std::string RibbonXml(RibbonKind kind, std::span<const Command> commands) {
  const bool composes = kind == RibbonKind::kComposeWindow;
  Writer writer;
  writer.Begin("customUI")
      .Set("xmlns", "http://schemas.microsoft.com/office/2009/07/customui")
      .Set("onLoad", composes ? ribbon_callback::kComposeLoad : ribbon_callback::kMainLoad);
  writer.Begin("ribbon").Begin("tabs").Begin("tab").Set("idMso", composes ? kComposeTab : kMainTab);
  writer.Begin("group")
      .Set("id", kRibbonGroup)
      .Set("label", kModuleName)
      .Set("getVisible", ribbon_callback::kGetVisible);
  WriteMenu(writer, kind, commands);
  for (const Command& command : commands) {
    if (command.place != Place::kBar || !command.IsIn(composes)) continue;
    if (command.begins_group) {
      writer.Begin("separator").Set("id", std::string(command.name) + "Separator").End();
    }
    WriteButton(writer, command);
  }
  if (composes) WriteMergeList(writer);
  return writer.Finish();
}

std::optional<RibbonPicture> RibbonPictureOf(std::string_view id,
                                             std::span<const Command> commands) {
  if (id == kRibbonMenu) return RibbonPicture{"VESPRO", PictureKind::kIcon};
  for (const Command& command : commands) {
    if (id == command.name && command.HasPicture()) {
      return RibbonPicture{command.picture, command.picture_kind};
    }
  }
  return std::nullopt;
}

void Ribbons::Load(RibbonKind kind, std::shared_ptr<Ribbon> ribbon) {
  if (!given_) return;
  // What was there before is let go when everything is right again.
  const auto before = std::exchange(loaded_[kind], std::move(ribbon));
}

void Ribbons::InvalidateControl(RibbonKind kind, std::string_view id) const {
  const auto found = loaded_.find(kind);
  const std::shared_ptr<Ribbon> ribbon = found != loaded_.end() ? found->second : nullptr;
  // A host that can't be told goes on showing what it knows.
  if (ribbon != nullptr) ribbon->InvalidateControl(id).Ignore();
}

std::vector<std::shared_ptr<Ribbon>> Ribbons::Release() {
  std::vector<std::shared_ptr<Ribbon>> released;
  for (auto& [kind, ribbon] : std::exchange(loaded_, {})) released.push_back(std::move(ribbon));
  return released;
}

Status RibbonComboBox::AddItem(std::string_view text) {
  items_.emplace_back(text);
  Changed();
  return {};
}

}  // namespace vespro
