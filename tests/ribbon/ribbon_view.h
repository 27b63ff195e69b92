// tests/ribbon/ribbon_view.h - the ribbon of one window, as a host has it: what its description
// leaves to callbacks is asked once and kept until it is invalidated. A person finds controls by
// their labels.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "base/status.h"
#include "ribbon/markup.h"

namespace vespro {

// A picture is a text that says how it looks.
using RibbonAnswer = std::variant<std::monostate, bool, int, std::string>;

// Calls the add-in for the control of that id in the view's window.
using RibbonAsk = std::function<Result<RibbonAnswer>(const std::string& name, const std::string& id,
                                                     const std::vector<RibbonAnswer>& more)>;

// A control that is to be seen.
struct RibbonControlLook {
  std::string path;  // labels from the group on, such as "Vespro / Delivery Reports / Purge All"
  std::string tooltip, picture, text;
  std::vector<std::string> items;
  bool enabled = true, labelled = true;
};

class RibbonView {
 public:
  // Asks for all that is to be seen.
  RibbonView(std::shared_ptr<const RibbonNode> markup, RibbonAsk call);

  void Invalidate() { known_.clear(); }
  void InvalidateControl(const std::string& id);

  // kNotFound where a person finds nothing that can be used; else what the add-in made of it.
  Status Click(std::string_view label);
  // An entry of a combo box, or a text that is typed there. What is shown already is no change.
  Status Choose(std::string_view entry);
  Status Type(std::string_view text);
  std::vector<RibbonControlLook> Looks();

 private:
  const RibbonNode* FindBox();
  const RibbonNode* FindButton(const RibbonNode& node, std::string_view label);
  Status Change(const RibbonNode& box, std::string_view text);
  RibbonAnswer Ask(const RibbonNode& node, const char* attribute, int index = -1);
  bool IsTrue(const RibbonNode& node, const char* fixed, const char* asked);
  std::string Text(const RibbonNode& node, const char* fixed, const char* asked);
  void AddLooks(const RibbonNode& node, const std::string& path,
                std::vector<RibbonControlLook>& looks);

  const std::shared_ptr<const RibbonNode> markup_;
  const RibbonAsk call_;
  // By the control's id, and the attribute with an entry's number.
  std::map<std::pair<std::string, std::string>, RibbonAnswer> known_;
};

}  // namespace vespro
