#include "outlook/outlook_windows.h"

#include <utility>

#include "outlook/office_bars.h"
#include "outlook/outlook_events.h"
#include "outlook/outlook_item.h"

namespace vespro {
namespace {

// Office's numbers of built-in controls.
constexpr int kEditMenu = 30003;
constexpr int kPaste = 22;

// A handler may end its own object: what runs is a copy, and the last thing its caller does.
void Call(const std::function<void()>& handler) {
  if (const auto copy = handler) copy();
}

// What is written with Word; it stays Word's where the mail does not say. Outlook 2000 knows no
// such property. Its numbers are the editors'.
EditorType FormatOfItem(const Dispatch& window) {
  const Result<Dispatch> item = window.Object(L"CurrentItem", ObjectKind::kAny);
  const Result<std::int32_t> format =
      item.ok() ? item.value().Int(L"BodyFormat") : Result<std::int32_t>(item.status());
  const bool is_known = format.ok() && format.value() >= 1 && format.value() <= 3;
  return is_known ? static_cast<EditorType>(format.value()) : EditorType::kWord;
}

// Connects, or disconnects where nothing is listened to. A window whose events can't be had is one
// in which nothing happens.
void Follow(EventConnection& connection, bool listens, const HostObject& source, REFIID events,
            EventReceiver& receiver) {
  if (!listens) {
    connection.Disconnect();
  } else if (!connection.connected()) {
    connection.Connect(source.object.get(), events, receiver, *source.context).Ignore();
  }
}

// What all windows tell. Each case is the last thing done, since a handler may end the window's
// object.
template <class Events>
void CallWindowEvent(const Events& events, DISPID id) {
  switch (id) {
    case event_id::kActivate:
      return Call(events.activate);
    case event_id::kDeactivate:
      return Call(events.deactivate);
    case event_id::kClose:
      return Call(events.close);
    default:
      return;
  }
}

}  // namespace

OutlookInspector::OutlookInspector(HostObject window)
    : window_(std::move(window)),
      identity_(ComPtr<IDispatch>(window_.object.get()).As<IUnknown>(IID_IUnknown)) {}

EditorType OutlookInspector::Editor() const {
  const Dispatch window = window_.object;  // a call may end us
  const Result<std::int32_t> editor = window.Int(L"EditorType");
  if (!editor.ok()) return EditorType::kPlainText;
  if (static_cast<EditorType>(editor.value()) == EditorType::kWord) return FormatOfItem(window);
  return static_cast<EditorType>(editor.value());
}

Result<bool> OutlookInspector::IsWordMail() const { return window_.object.Bool(L"IsWordMail"); }

std::shared_ptr<MailItem> OutlookInspector::CurrentItem() {
  const HostObject window = window_;  // the call may end us
  Result<Dispatch> item = window.object.Object(L"CurrentItem", ObjectKind::kAny);
  return item.ok() ? OutlookItem::Make(window, std::move(item).value()) : nullptr;
}

std::shared_ptr<CommandBars> OutlookInspector::Bars() { return BarsOf(window_); }

Status OutlookInspector::PasteAtCaret() {
  const auto bars = BarsOf(window_);
  const auto menu_bar = bars != nullptr ? bars->ActiveMenuBar() : nullptr;
  const auto edit = menu_bar != nullptr ? std::dynamic_pointer_cast<CommandBarPopup>(menu_bar->Find(
                                              {.type = ControlType::kPopup, .id = kEditMenu}))
                                        : nullptr;
  const auto entries = edit != nullptr ? edit->Bar() : nullptr;
  const auto paste = entries != nullptr ? entries->Find({.id = kPaste}) : nullptr;
  if (paste != nullptr) return paste->Execute();
  if (bars != nullptr) return bars->ExecuteByName("Paste");
  return Status(Code::kNotFound, "the window has no Paste command");
}

void OutlookInspector::Listen(InspectorEvents events) {
  events_ = std::move(events);
  Follow(connection_, events_.activate || events_.deactivate || events_.close, window_,
         kInspectorEvents, *this);
}

void OutlookInspector::OnEvent(DISPID id, const DISPPARAMS&) { CallWindowEvent(events_, id); }

std::shared_ptr<CommandBars> OutlookExplorer::Bars() { return BarsOf(window_); }

void OutlookExplorer::Listen(ExplorerEvents events) {
  events_ = std::move(events);
  Follow(connection_,
         events_.activate || events_.deactivate || events_.before_folder_switch || events_.close,
         window_, kExplorerEvents, *this);
}

std::optional<int> OutlookExplorer::ItemTypeOf(const DISPPARAMS& arguments) const {
  const Dispatch folder = window_.object.Other(ObjectArgument(arguments, 0), ObjectKind::kAny);
  const Result<std::int32_t> type = folder.Int(L"DefaultItemType");
  return type.ok() ? std::optional<int>(type.value()) : std::nullopt;
}

void OutlookExplorer::OnEvent(DISPID id, const DISPPARAMS& arguments) {
  if (id != event_id::kBeforeFolderSwitch) return CallWindowEvent(events_, id);
  const auto handler = events_.before_folder_switch;
  if (handler) handler(ItemTypeOf(arguments));
}

Result<int> OutlookInspectors::Count() const {
  const Result<std::int32_t> count = all_.object.Int(L"Count");
  if (!count.ok()) return count.status();
  return static_cast<int>(count.value());
}

void OutlookInspectors::OnNewInspector(std::function<void(std::shared_ptr<Inspector>)> handler) {
  handler_ = std::move(handler);
  Follow(connection_, static_cast<bool>(handler_), all_, kInspectorsEvents, *this);
}

void OutlookInspectors::OnEvent(DISPID id, const DISPPARAMS& arguments) {
  const auto handler = handler_;
  ComPtr<IDispatch> window = ObjectArgument(arguments, 0);
  if (id != event_id::kNewInspector || !handler || !window) return;
  handler(std::make_shared<OutlookInspector>(
      all_.With(all_.object.Other(std::move(window), ObjectKind::kInspector))));
}

}  // namespace vespro
