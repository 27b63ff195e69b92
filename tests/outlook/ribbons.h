// outlook/ribbons.h - Office's ribbons: asks the add-in for its descriptions, makes a ribbon of
// them in each window, and calls the add-in late-bound, by the names that the descriptions have.
// The stand-in's own thread.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "outlook/automation.h"
#include "outlook/com_ptr.h"
#include "outlook/ledger.h"
#include "ribbon/ribbon_view.h"

namespace vespro::standin {

class Client;
class RibbonUi;
class Window;

// A control as a callback gets it, for the time of one call.
class RibbonControl final : public Object {
 public:
  RibbonControl(Ledger& ledger, Object& context, std::string_view id);

 private:
  static const Kind& KindOf();
  HRESULT Context(Call& call) { return call.Return(&context_); }

  Object& context_;
  std::string id_, tag_;
};

class Ribbons {
 public:
  explicit Ribbons(Client& client) : client_(client) {}

  // Asks the add-in whether it has ribbons. Versions before 2007 do not.
  void Attach(IUnknown& add_in);
  // Asks for the ribbons of main windows, if this version has them there, and shows them.
  void AskForMainWindows();
  // The window is about to be shown. The first one of its kind has Office ask.
  void Show(Window& window);
  // The add-in goes, and what it has on ribbons.
  void Detach();

  // As the add-in asks for it.
  void Invalidate();
  void InvalidateControl(const std::string& id);
  // Calls one of the add-in's functions.
  HRESULT Call(const std::string& name, std::vector<Variant> arguments, Variant& result);

 private:
  struct Extensibility;

  std::string NameOf(const Window& window) const;
  void Ask(const std::string& ribbon_id);
  Result<RibbonAnswer> Answer(Window& window, const std::string& name, const std::string& id,
                              const std::vector<RibbonAnswer>& more);

  Client& client_;
  ComPtr<IDispatch> add_in_;
  Extensibility* extensibility_ = nullptr;
  // Those that were asked for; nullptr: there is nothing of the add-in's.
  std::map<std::string, std::shared_ptr<const RibbonNode>> described_;
};

}  // namespace vespro::standin
