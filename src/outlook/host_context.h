// outlook/host_context.h - what all objects of the adaptor share. One thread: Outlook's own.
#pragma once

#include <memory>

#include "outlook/com_object.h"
#include "outlook/dispatch.h"

namespace vespro {

struct HostContext {
  // Of the module whose objects Outlook gets; outlives all of them.
  ModuleUse& use;
  // What handlers of events work with: each keeps it for as long as it runs.
  std::weak_ptr<void> kept_by_handlers = {};
  std::shared_ptr<MemberIds> ids = std::make_shared<MemberIds>();
};

// One of Outlook's objects.
struct HostObject {
  std::shared_ptr<const HostContext> context;
  Dispatch object;

  // Another one, reached from this.
  HostObject With(Dispatch other) const { return {context, std::move(other)}; }
};

}  // namespace vespro
