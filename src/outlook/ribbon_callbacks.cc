#include "outlook/ribbon_callbacks.h"

#include <iterator>
#include <string>
#include <utility>

#include "base/text.h"
#include "base/win32/wide.h"
#include "outlook/event_sink.h"
#include "outlook/office_ribbon.h"
#include "outlook/picture.h"
#include "outlook/variant.h"

namespace vespro::ModRibbonCallbacks {
namespace {

struct Asked {
  std::string id;  // of the control
  // The object of its window; nullptr when the add-in has nothing there.
  std::shared_ptr<MyAddIn> window;
  Variant more = {};  // the second argument
};
using Answer = HRESULT (*)(const Asked& asked, Variant& result);

std::shared_ptr<const RibbonComboBox> MergeList(const Asked& asked) {
  const bool is_list = asked.window != nullptr && asked.id == kRibbonMergeList;
  return is_list ? asked.window->ribbon_merge_list() : nullptr;
}

HRESULT GetVisible(const Asked& asked, Variant& result) {
  result = Variant(asked.window != nullptr);
  return S_OK;
}

HRESULT GetImage(const Asked& asked, Variant& result) {
  const auto picture = RibbonPictureOf(asked.id, MyAddIn::Commands());
  if (!picture) return E_INVALIDARG;
  result = Variant(OlePicture(picture->resource, picture->kind).get());
  return S_OK;
}

HRESULT OnAction(const Asked& asked, Variant& result) {
  result = Variant();
  const bool clicked = asked.window != nullptr && asked.window->RibbonClick(asked.id);
  return clicked ? S_OK : E_INVALIDARG;
}

HRESULT GetEnabled(const Asked& asked, Variant& result) {
  const auto list = MergeList(asked);
  result = Variant(list != nullptr && list->Enabled());
  return S_OK;
}

HRESULT GetItemCount(const Asked& asked, Variant& result) {
  const auto list = MergeList(asked);
  result = Variant(list == nullptr ? 0 : static_cast<std::int32_t>(list->items().size()));
  return S_OK;
}

HRESULT GetItemLabel(const Asked& asked, Variant& result) {
  const Result<std::int32_t> index = asked.more.ToInt();
  if (!index.ok()) return DISP_E_TYPEMISMATCH;
  const auto list = MergeList(asked);
  const auto at = static_cast<std::size_t>(index.value());
  if (list == nullptr || index.value() < 0 || at >= list->items().size()) return DISP_E_BADINDEX;
  result = Variant(list->items()[at]);
  return S_OK;
}

HRESULT GetText(const Asked& asked, Variant& result) {
  const auto list = MergeList(asked);
  result = Variant(list == nullptr ? std::string() : list->Text());
  return S_OK;
}

HRESULT OnChange(const Asked& asked, Variant& result) {
  result = Variant();
  const Result<std::string> text = asked.more.ToText();
  if (!text.ok()) return DISP_E_TYPEMISMATCH;
  const bool changed = MergeList(asked) != nullptr && asked.window->RibbonChange(text.value());
  return changed ? S_OK : E_INVALIDARG;
}

struct Callback {
  const char* name;
  UINT arguments;
  Answer answer;  // nullptr: ribbons have been made
  RibbonKind kind = RibbonKind::kMainWindow;
};
constexpr Callback kCallbacks[] = {
    {ribbon_callback::kMainLoad, 1, nullptr, RibbonKind::kMainWindow},
    {ribbon_callback::kComposeLoad, 1, nullptr, RibbonKind::kComposeWindow},
    {ribbon_callback::kGetVisible, 1, GetVisible},
    {ribbon_callback::kGetImage, 1, GetImage},
    {ribbon_callback::kOnAction, 1, OnAction},
    {ribbon_callback::kGetEnabled, 1, GetEnabled},
    {ribbon_callback::kGetItemCount, 1, GetItemCount},
    {ribbon_callback::kGetItemLabel, 2, GetItemLabel},
    {ribbon_callback::kGetText, 1, GetText},
    {ribbon_callback::kOnChange, 2, OnChange},
};

// The object that a callback is called with.
HostObject First(const DISPPARAMS& arguments, ObjectKind kind,
                 const std::shared_ptr<const HostContext>& context) {
  return {context, Dispatch(ObjectArgument(arguments, 0), kind, context->ids)};
}

}  // namespace

std::optional<DISPID> Find(std::wstring_view name) {
  const std::string sought = ModWide::ToUtf8(name);
  for (std::size_t i = 0; i < std::size(kCallbacks); ++i) {
    if (ModText::EqualsIgnoringAsciiCase(sought, kCallbacks[i].name)) {
      return kFirst + static_cast<DISPID>(i);
    }
  }
  return std::nullopt;
}

HRESULT Invoke(DISPID id, const DISPPARAMS& arguments, VARIANT* result, Connect& connect,
               const std::shared_ptr<const HostContext>& context) {
  if (id < kFirst || id >= kFirst + static_cast<DISPID>(std::size(kCallbacks))) {
    return DISP_E_MEMBERNOTFOUND;
  }
  const Callback& callback = kCallbacks[id - kFirst];
  if (arguments.cNamedArgs != 0) return DISP_E_NONAMEDARGS;
  if (arguments.cArgs != callback.arguments) return DISP_E_BADPARAMCOUNT;
  if (!ObjectArgument(arguments, 0)) return DISP_E_TYPEMISMATCH;
  if (callback.answer == nullptr) {
    connect.RibbonLoad(callback.kind, std::make_shared<OfficeRibbon>(
                                          First(arguments, ObjectKind::kRibbon, context)));
    return S_OK;
  }
  Variant value(false);
  HRESULT answered = S_OK;
  if (connect.gives_ribbons()) {
    Result<RibbonControl> control =
        ReadRibbonControl(First(arguments, ObjectKind::kRibbonControl, context));
    if (!control.ok()) return E_INVALIDARG;
    Asked asked{control->id, connect.OnRibbonOf(control->window.get())};
    control->window = nullptr;  // which a handler may outlive
    if (arguments.cArgs > 1) asked.more = Variant::CopyOf(arguments.rgvarg[0]);
    answered = callback.answer(asked, value);
  } else if (callback.answer != GetVisible) {
    return E_UNEXPECTED;
  }
  if (SUCCEEDED(answered) && result != nullptr) *result = value.Detach();
  return answered;
}

}  // namespace vespro::ModRibbonCallbacks
