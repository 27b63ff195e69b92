#include "outlook/outlook_client.h"

#include <ole2.h>

#include <utility>

#include "outlook/outlook_item.h"
#include "outlook/outlook_windows.h"

namespace vespro {

OutlookClient::OutlookClient(ComPtr<IDispatch> application,
                             std::shared_ptr<const HostContext> context)
    : application_{context,
                   Dispatch(std::move(application), ObjectKind::kApplication, context->ids)} {}

std::string OutlookClient::Version() const {
  Result<std::string> version = application_.object.Text(L"Version");
  return version.ok() ? std::move(version).value() : std::string();
}

std::shared_ptr<Inspector> OutlookClient::ActiveInspector() {
  Result<Dispatch> window = application_.object.Object(L"ActiveInspector", ObjectKind::kInspector);
  if (!window.ok()) return nullptr;
  return std::make_shared<OutlookInspector>(application_.With(std::move(window).value()));
}

std::shared_ptr<Explorer> OutlookClient::ActiveExplorer() {
  Result<Dispatch> window = application_.object.Object(L"ActiveExplorer", ObjectKind::kExplorer);
  if (!window.ok()) return nullptr;
  return std::make_shared<OutlookExplorer>(application_.With(std::move(window).value()));
}

std::shared_ptr<Inspectors> OutlookClient::Inspectors() {
  Result<Dispatch> all = application_.object.Object(L"Inspectors", ObjectKind::kInspectors);
  if (!all.ok()) return nullptr;
  return std::make_shared<OutlookInspectors>(application_.With(std::move(all).value()));
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
  Result<Dispatch> item = application_.object.Object(L"CreateItem", ObjectKind::kAny, {kMailItem});
  if (!item.ok()) return item.status();
  return std::shared_ptr<MailItem>(OutlookItem::Make(application_, std::move(item).value()));
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
