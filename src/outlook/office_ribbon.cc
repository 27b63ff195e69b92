#include "outlook/office_ribbon.h"

namespace vespro {
namespace {

// OlObjectClass.
constexpr std::int32_t kExplorerClass = 34;
constexpr std::int32_t kInspectorClass = 35;

}  // namespace

Status OfficeRibbon::InvalidateControl(std::string_view id) {
  const Dispatch ribbon = ribbon_.object;  // the call may end us
  return ribbon.Do(L"InvalidateControl", {id});
}

Result<RibbonControl> ReadRibbonControl(const HostObject& control) {
  Result<std::string> id = control.object.Text(L"Id");
  if (!id.ok()) return id.status();
  Result<Dispatch> window = control.object.Object(L"Context", ObjectKind::kInspector);
  if (!window.ok()) return window.status();
  // Which kind of window it is tells only the object, whose numbers are looked up afresh.
  const Dispatch any = window->Other(ComPtr<IDispatch>(window->get()), ObjectKind::kAny);
  const Result<std::int32_t> window_class = any.Int(L"Class");
  if (!window_class.ok()) return window_class.status();
  RibbonControl read;
  read.id = std::move(id).value();
  if (window_class.value() == kExplorerClass) return read;
  if (window_class.value() != kInspectorClass) {
    return Status(Code::kBadInput, "a control of a ribbon is in no window");
  }
  read.window = std::make_shared<OutlookInspector>(control.With(std::move(window).value()));
  return read;
}

}  // namespace vespro
