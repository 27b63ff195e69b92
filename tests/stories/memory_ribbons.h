// tests/stories/memory_ribbons.h - the ribbons of a mail client in memory: asks the add-in for its
// descriptions, makes a ribbon of them in each window, and calls back by the names in them.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "addin/connect.h"
#include "host/memory_client.h"
#include "ribbon/ribbon_view.h"

namespace vespro {

class MemoryRibbons {
 public:
  explicit MemoryRibbons(MemoryClient& client);
  MemoryRibbons(const MemoryRibbons&) = delete;
  MemoryRibbons& operator=(const MemoryRibbons&) = delete;

  // Asks that add-in, which must live until Detach; nobody is asked in versions without ribbons.
  void Attach(Connect& connect);
  // What there is of it goes.
  void Detach();
  // nullptr: there is nothing of the add-in's.
  std::shared_ptr<RibbonView> In(const std::string& window) const;

 private:
  void Show(const std::string& window, bool is_explorer);
  void Ask(const std::string& ribbon_id, const char* tab);
  Result<RibbonAnswer> Answer(const std::string& window, const std::string& name,
                              const std::string& id, const std::vector<RibbonAnswer>& more);

  MemoryClient& client_;
  Connect* connect_ = nullptr;
  std::map<std::string, std::shared_ptr<const RibbonNode>> described_;  // nullptr: asked in vain
  std::map<std::string, std::shared_ptr<RibbonView>> views_;            // by window
};

}  // namespace vespro
