#include "outlook/outlook_client.h"

#include <ole2.h>

#include <utility>

#include "outlook/outlook_item.h"
#include "outlook/outlook_windows.h"

namespace vespro {
namespace {

// What the application gives under that name; nullptr where it gives nothing. By value: the call
// may end who holds it.
template <class Window>
std::shared_ptr<Window> MakeOf(HostObject application, const wchar_t* name, ObjectKind kind) {
  Result<Dispatch> found = application.object.Object(name, kind);
  if (!found.ok()) return nullptr;
  return std::make_shared<Window>(application.With(std::move(found).value()));
}

}  // namespace

OutlookClient::OutlookClient(ComPtr<IDispatch> application,
                             std::shared_ptr<const HostContext> context)
    : application_{context,
                   Dispatch(std::move(application), ObjectKind::kApplication, context->ids)} {}

std::string OutlookClient::Version() const {
  Result<std::string> version = application_.object.Text(L"Version");
  return version.ok() ? std::move(version).value() : std::string();
}

std::shared_ptr<Inspector> OutlookClient::ActiveInspector() {
  return MakeOf<OutlookInspector>(application_, L"ActiveInspector", ObjectKind::kInspector);
}

std::shared_ptr<Explorer> OutlookClient::ActiveExplorer() {
  return MakeOf<OutlookExplorer>(application_, L"ActiveExplorer", ObjectKind::kExplorer);
}

std::shared_ptr<Inspectors> OutlookClient::Inspectors() {
  return MakeOf<OutlookInspectors>(application_, L"Inspectors", ObjectKind::kInspectors);
}

Result<int> OutlookClient::ExplorerCount() const {
  Result<Dispatch> all = application_.object.Object(L"Explorers", ObjectKind::kExplorers);
  if (!all.ok()) return all.status();
  const Result<std::int32_t> count = all->Int(L"Count");
  if (!count.ok()) return count.status();
  return static_cast<int>(count.value());
}

Result<std::shared_ptr<MailItem>> OutlookClient::NewMail() {
  constexpr std::int32_t kMailItem = 0;
  const HostObject application = application_;
  Result<Dispatch> item = application.object.Object(L"CreateItem", ObjectKind::kAny, {kMailItem});
  if (!item.ok()) return item.status();
  return std::shared_ptr<MailItem>(OutlookItem::Make(application, std::move(item).value()));
}

HWND OutlookClient::ActiveWindow() const {
  Result<Dispatch> window = application_.object.Object(L"ActiveWindow", ObjectKind::kAny);
  if (!window.ok()) return nullptr;
  const auto ole = ComPtr<IDispatch>(window->get()).As<IOleWindow>(IID_IOleWindow);
  HWND handle = nullptr;
  if (!ole || FAILED(ole->GetWindow(&handle))) return nullptr;
  return handle;
}

}  // namespace vespro
