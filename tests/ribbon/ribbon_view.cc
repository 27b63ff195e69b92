#include "ribbon/ribbon_view.h"

namespace vespro {
namespace {

// As it is drawn: "&&" is one, a single one none.
std::string Drawn(std::string_view label) {
  std::string drawn;
  for (std::size_t i = 0; i < label.size(); ++i) {
    if (label[i] == '&' && i + 1 < label.size()) ++i;
    drawn += label[i];
  }
  return drawn;
}

template <class T>
T Or(const RibbonAnswer& value, T otherwise) {
  const T* held = std::get_if<T>(&value);
  return held == nullptr ? otherwise : *held;
}

}  // namespace

RibbonView::RibbonView(std::shared_ptr<const RibbonNode> markup, RibbonAsk call)
    : markup_(std::move(markup)), call_(std::move(call)) {
  Looks();
}

void RibbonView::InvalidateControl(const std::string& id) {
  std::erase_if(known_, [&](const auto& entry) { return entry.first.first == id; });
}

// What fails is as if it were not there, as in Office.
RibbonAnswer RibbonView::Ask(const RibbonNode& node, const char* attribute, int index) {
  const std::string& callback = node[attribute];
  if (callback.empty()) return {};
  const std::pair<std::string, std::string> key(
      node["id"], attribute + std::string(" ") + std::to_string(index));
  if (const auto known = known_.find(key); known != known_.end()) return known->second;
  std::vector<RibbonAnswer> more;
  if (index >= 0) more.emplace_back(index);
  const Result<RibbonAnswer> answer = call_(callback, node["id"], more);
  return known_[key] = answer.ok() ? answer.value() : RibbonAnswer();
}

bool RibbonView::IsTrue(const RibbonNode& node, const char* fixed, const char* asked) {
  if (!node[asked].empty()) return Or<bool>(Ask(node, asked), false);
  return node[fixed] != "false";
}

std::string RibbonView::Text(const RibbonNode& node, const char* fixed, const char* asked) {
  return node[asked].empty() ? node[fixed] : Or<std::string>(Ask(node, asked), {});
}

std::vector<RibbonControlLook> RibbonView::Looks() {
  std::vector<RibbonControlLook> looks;
  AddLooks(*markup_, "", looks);
  return looks;
}

void RibbonView::AddLooks(const RibbonNode& node, const std::string& path,
                          std::vector<RibbonControlLook>& looks) {
  if (!IsTrue(node, "visible", "getVisible")) return;
  const bool is_box = node.element == "comboBox";
  const bool is_control = is_box || node.element == "button" || node.element == "menu";
  std::string inner = path;
  if (is_control || node.element == "group") {
    inner += (path.empty() ? "" : " / ") + Drawn(Text(node, "label", "getLabel"));
  }
  if (is_control) {
    RibbonControlLook look;
    look.path = inner;
    look.tooltip = Text(node, "supertip", "getSupertip");
    look.picture = Text(node, "image", "getImage");
    look.enabled = IsTrue(node, "enabled", "getEnabled");
    look.labelled = IsTrue(node, "showLabel", "getShowLabel");
    if (is_box) {
      look.text = Or<std::string>(Ask(node, "getText"), {});
      const int count = Or<int>(Ask(node, "getItemCount"), 0);
      for (int i = 0; i < count; ++i) {
        look.items.push_back(Or<std::string>(Ask(node, "getItemLabel", i), {}));
      }
    }
    looks.push_back(std::move(look));
  }
  for (const RibbonNode& child : node.children) AddLooks(child, inner, looks);
}

const RibbonNode* RibbonView::FindButton(const RibbonNode& node, std::string_view label) {
  if (!IsTrue(node, "visible", "getVisible") || !IsTrue(node, "enabled", "getEnabled")) {
    return nullptr;
  }
  if (node.element == "button" && Drawn(Text(node, "label", "getLabel")) == label) return &node;
  for (const RibbonNode& child : node.children) {
    if (const RibbonNode* found = FindButton(child, label)) return found;
  }
  return nullptr;
}

Status RibbonView::Click(std::string_view label) {
  const RibbonNode* button = FindButton(*markup_, label);
  if (button == nullptr) return Status(Code::kNotFound, "the ribbon has no such button");
  const RibbonAsk call = call_;  // the window may close below it
  const Result<RibbonAnswer> done = call((*button)["onAction"], (*button)["id"], {});
  return done.ok() ? Status() : done.status();
}

// The first one that can be used.
const RibbonNode* RibbonView::FindBox() {
  const std::function<const RibbonNode*(const RibbonNode&)> find =
      [&](const RibbonNode& node) -> const RibbonNode* {
    if (!IsTrue(node, "visible", "getVisible") || !IsTrue(node, "enabled", "getEnabled")) {
      return nullptr;
    }
    if (node.element == "comboBox") return &node;
    for (const RibbonNode& child : node.children) {
      if (const RibbonNode* found = find(child)) return found;
    }
    return nullptr;
  };
  return find(*markup_);
}

Status RibbonView::Choose(std::string_view entry) {
  const RibbonNode* box = FindBox();
  const int count = box == nullptr ? 0 : Or<int>(Ask(*box, "getItemCount"), 0);
  for (int i = 0; i < count; ++i) {
    if (Or<std::string>(Ask(*box, "getItemLabel", i), {}) == entry) return Change(*box, entry);
  }
  return Status(Code::kNotFound, "the ribbon has no box that offers that");
}

Status RibbonView::Type(std::string_view text) {
  const RibbonNode* box = FindBox();
  if (box == nullptr) return Status(Code::kNotFound, "the ribbon has no box to type into");
  return Change(*box, text);
}

Status RibbonView::Change(const RibbonNode& box, std::string_view text) {
  if (Or<std::string>(Ask(box, "getText"), {}) == text) return {};
  known_[{box["id"], "getText -1"}] = std::string(text);
  const RibbonAsk call = call_;  // the window may close below it
  const Result<RibbonAnswer> done = call(box["onChange"], box["id"], {std::string(text)});
  return done.ok() ? Status() : done.status();
}

}  // namespace vespro
