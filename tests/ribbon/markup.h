// tests/ribbon/markup.h - the description of a ribbon, read as strictly as Office reads it, which
// shows nothing at all of one with a fault.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace vespro {

struct RibbonNode {
  std::string element;
  std::map<std::string, std::string> attributes;
  std::vector<RibbonNode> children;

  // "" where there is no such attribute.
  const std::string& operator[](const std::string& attribute) const;
};

// A description for windows that have the built-in tab of that name. kBadInput, with the place: it
// is no well-formed XML, has elements or attributes that the form does not allow there, ids that
// are missing or there twice, or callbacks that `has` does not know.
Result<RibbonNode> ParseRibbon(std::string_view xml, std::string_view tab,
                               const std::function<bool(const std::string&)>& has);

}  // namespace vespro
