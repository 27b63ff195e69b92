#include "ribbon/markup.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>

#include "base/text.h"

namespace vespro {
namespace {

constexpr std::string_view kNamespace = "http://schemas.microsoft.com/office/2009/07/customui";
constexpr std::size_t kLongestText = 1024;

Status Fault(const std::string& what) { return Status(Code::kBadInput, what); }

// XML, as far as a description needs it: elements, attributes, comments, character references.
class Reader {
 public:
  explicit Reader(std::string_view xml) : rest_(xml) {}

  Result<RibbonNode> Read() {
    if (Take("<?xml")) {
      if (!TakeThrough("?>")) return Fault("the declaration has no end");
    }
    if (Status skipped = Skip(); !skipped.ok()) return skipped;
    RibbonNode root;
    if (Status read = ReadElement(root); !read.ok()) return read;
    if (Status skipped = Skip(); !skipped.ok()) return skipped;
    if (!rest_.empty()) return Fault("there is more after the end of the root element");
    return root;
  }

 private:
  static bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
  static bool IsNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
  }
  static bool IsNamePart(char c) {
    return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ':';
  }

  bool Take(std::string_view token) {
    if (!rest_.starts_with(token)) return false;
    rest_.remove_prefix(token.size());
    return true;
  }
  bool TakeThrough(std::string_view token) {
    const std::size_t at = rest_.find(token);
    if (at == rest_.npos) return false;
    rest_.remove_prefix(at + token.size());
    return true;
  }
  bool SkipSpace() {
    const std::size_t before = rest_.size();
    while (!rest_.empty() && IsSpace(rest_.front())) rest_.remove_prefix(1);
    return rest_.size() != before;
  }
  Status Skip() {
    SkipSpace();
    while (Take("<!--")) {
      if (!TakeThrough("-->")) return Fault("a comment has no end");
      SkipSpace();
    }
    return {};
  }
  std::string TakeName() {
    std::size_t size = 0;
    if (!rest_.empty() && IsNameStart(rest_.front())) {
      while (size < rest_.size() && IsNamePart(rest_[size])) ++size;
    }
    std::string name(rest_.substr(0, size));
    rest_.remove_prefix(size);
    return name;
  }

  Status ReadElement(RibbonNode& node) {
    if (!Take("<")) return Fault("text or nothing where an element has to be");
    node.element = TakeName();
    if (node.element.empty()) return Fault("an element without a name");
    while (true) {
      const bool spaced = SkipSpace();
      if (Take("/>")) return {};
      if (Take(">")) break;
      if (!spaced) return Fault("attributes of <" + node.element + "> are not parted");
      if (Status read = ReadAttribute(node); !read.ok()) return read;
    }
    while (true) {
      if (Status skipped = Skip(); !skipped.ok()) return skipped;
      if (Take("</")) break;
      if (Status read = ReadElement(node.children.emplace_back()); !read.ok()) return read;
    }
    const std::string closed = TakeName();
    SkipSpace();
    if (closed == node.element && Take(">")) return {};
    return Fault("<" + node.element + "> is closed by </" + closed + ">");
  }

  Status ReadAttribute(RibbonNode& node) {
    const std::string name = TakeName();
    const std::string where = "attribute '" + name + "' of <" + node.element + ">";
    SkipSpace();
    if (name.empty() || !Take("=")) return Fault(where + " has no value");
    SkipSpace();
    const char quote = rest_.empty() ? '\0' : rest_.front();
    if (quote != '"' && quote != '\'') return Fault(where + " is not quoted");
    const std::size_t end = rest_.find(quote, 1);
    if (end == rest_.npos) return Fault(where + " has no end");
    std::string value;
    if (!Decode(rest_.substr(1, end - 1), value)) return Fault(where + " is not well-formed");
    rest_.remove_prefix(end + 1);
    if (node.attributes.emplace(name, std::move(value)).second) return {};
    return Fault(where + " is there twice");
  }

  static bool Decode(std::string_view raw, std::string& into) {
    static const std::map<std::string_view, char> kEntities = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    while (!raw.empty()) {
      const char c = raw.front();
      if (c == '<' || (static_cast<unsigned char>(c) < ' ' && !IsSpace(c))) return false;
      if (c != '&') {
        into += IsSpace(c) ? ' ' : c;  // as XML has it
        raw.remove_prefix(1);
        continue;
      }
      const std::size_t end = raw.find(';');
      if (end == raw.npos) return false;
      const std::string_view name = raw.substr(1, end - 1);
      if (const auto entity = kEntities.find(name); entity != kEntities.end()) {
        into += entity->second;
      } else if (name.starts_with('#')) {
        const std::int64_t number = ModText::LeadingInt16(name.substr(1));
        if (number < 9 || number > 126) return false;  // no others are needed
        into += static_cast<char>(number);
      } else {
        return false;
      }
      raw.remove_prefix(end + 1);
    }
    return true;
  }

  std::string_view rest_;
};

using Names = std::set<std::string_view>;

// What each control may have.
const Names kControl = {"id",         "tag",          "label",       "getLabel",     "screentip",
                        "supertip",   "keytip",       "visible",     "getVisible",   "enabled",
                        "getEnabled", "image",        "imageMso",    "getImage",     "showImage",
                        "showLabel",  "getScreentip", "getSupertip", "getShowLabel", "getKeytip"};
Names With(Names base, const Names& more) {
  base.insert(more.begin(), more.end());
  return base;
}

struct Form {
  Names children, attributes, required;
};
// By the element, after "/" of that which it is in where that makes a difference.
const Form* FormOf(const std::string& element, const std::string& parent) {
  static const Names kInMenu = {"button", "menu", "menuSeparator"};
  static const std::map<std::string, Form> kForms = {
      {"/customUI", {{"ribbon"}, {"xmlns", "onLoad", "loadImage"}, {"xmlns"}}},
      {"customUI/ribbon", {{"tabs"}, {"startFromScratch"}, {}}},
      {"ribbon/tabs", {{"tab"}, {}, {}}},
      {"tabs/tab",
       {{"group"}, {"id", "idMso", "label", "visible", "getVisible", "insertAfterMso"}, {}}},
      {"tab/group",
       {{"button", "menu", "separator", "comboBox"},
        {"id", "tag", "label", "getLabel", "visible", "getVisible", "insertAfterMso", "autoScale"},
        {"id"}}},
      {"group/separator", {{}, {"id", "visible", "getVisible"}, {"id"}}},
      {"group/button", {{}, With(kControl, {"onAction", "size"}), {"id"}}},
      {"menu/button", {{}, With(kControl, {"onAction", "description"}), {"id"}}},
      {"group/menu", {kInMenu, With(kControl, {"size", "itemSize"}), {"id"}}},
      {"menu/menu", {kInMenu, With(kControl, {"itemSize"}), {"id"}}},
      {"menu/menuSeparator", {{}, {"id", "title"}, {"id"}}},
      {"group/comboBox",
       {{"item"},
        With(kControl, {"sizeString", "maxLength", "getItemCount", "getItemLabel", "getItemID",
                        "getText", "onChange", "invalidateContentOnDrop"}),
        {"id"}}},
  };
  const auto found = kForms.find(parent + "/" + element);
  return found == kForms.end() ? nullptr : &found->second;
}

bool IsCallback(const std::string& attribute) {
  return attribute.starts_with("get") || attribute.starts_with("on") || attribute == "loadImage";
}

class Checker {
 public:
  Checker(std::string_view tab, const std::function<bool(const std::string&)>& has)
      : tab_(tab), has_(has) {}

  Status Check(const RibbonNode& node, const std::string& parent) {
    const std::string where = "<" + node.element + "> in <" + parent + ">";
    const Form* form = FormOf(node.element, parent);
    if (form == nullptr) return Fault(where + " is not allowed");
    for (const std::string_view required : form->required) {
      if (node[std::string(required)].empty())
        return Fault(where + " lacks " + std::string(required));
    }
    for (const auto& [name, value] : node.attributes) {
      if (form->attributes.count(name) == 0) return Fault(where + " can't have '" + name + "'");
      if (Status checked = CheckValue(name, value); !checked.ok()) return checked;
    }
    if (node.element == "tab" && node["idMso"].empty() == node["id"].empty()) {
      return Fault("a tab has either an id or a built-in one's");
    }
    for (const RibbonNode& child : node.children) {
      if (Status checked = Check(child, node.element); !checked.ok()) return checked;
    }
    return {};
  }

 private:
  Status CheckValue(const std::string& name, const std::string& value) {
    const std::string where = name + "=\"" + value + "\"";
    if (value.empty()) return Fault(where + " is empty");
    if (value.size() > kLongestText) return Fault(where + " is too long");
    if (name == "xmlns" && value != kNamespace) return Fault(where + " is another language");
    if (name == "idMso" && value != tab_) return Fault(where + " is not in such a window");
    if (name == "id" && !ids_.insert(value).second) return Fault(where + " is there twice");
    if (name == "id" && value.find_first_of(" &:/") != value.npos)
      return Fault(where + " is no id");
    if (name == "size" && value != "normal" && value != "large") return Fault(where);
    const bool is_truth = name == "visible" || name == "enabled" || name.starts_with("show");
    if (is_truth && value != "true" && value != "false") return Fault(where);
    if (IsCallback(name) && !has_(value)) return Fault(where + " is no function of the add-in");
    return {};
  }

  const std::string_view tab_;
  const std::function<bool(const std::string&)>& has_;
  std::set<std::string> ids_;
};

}  // namespace

const std::string& RibbonNode::operator[](const std::string& attribute) const {
  static const std::string none;
  const auto found = attributes.find(attribute);
  return found == attributes.end() ? none : found->second;
}

Result<RibbonNode> ParseRibbon(std::string_view xml, std::string_view tab,
                               const std::function<bool(const std::string&)>& has) {
  Result<RibbonNode> root = Reader(xml).Read();
  if (!root.ok()) return root;
  if (Status checked = Checker(tab, has).Check(root.value(), ""); !checked.ok()) return checked;
  return root;
}

}  // namespace vespro
