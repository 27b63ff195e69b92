#include "outlook/ribbon_callbacks.h"

#include <string>
#include <utility>

#include "addin/ribbon_callbacks.h"
#include "base/text.h"
#include "base/win32/wide.h"
#include "outlook/event_sink.h"
#include "outlook/office_ribbon.h"
#include "outlook/picture.h"
#include "outlook/variant.h"

namespace vespro::ModRibbonCallbacks {
namespace {

using Takes = RibbonCallback::Takes;

// The object that a callback is called with.
HostObject First(const DISPPARAMS& arguments, ObjectKind kind,
                 const std::shared_ptr<const HostContext>& context) {
  return {context, Dispatch(ObjectArgument(arguments, 0), kind, context->ids)};
}

Variant VariantOf(const RibbonValue& value) {
  struct {
    Variant operator()(std::monostate) const { return {}; }
    Variant operator()(bool truth) const { return truth; }
    Variant operator()(std::int32_t number) const { return number; }
    Variant operator()(const std::string& text) const { return text; }
    Variant operator()(const RibbonPicture& picture) const {
      return OlePicture(picture.resource, picture.kind).get();
    }
  } convert;
  return std::visit(convert, value);
}

HRESULT Read(const DISPPARAMS& arguments, Takes takes, RibbonCall& call) {
  if (takes == Takes::kControl) return S_OK;
  const Variant more = Variant::CopyOf(arguments.rgvarg[0]);  // the last one comes first
  if (takes == Takes::kControlAndIndex) {
    const Result<std::int32_t> index = more.ToInt();
    if (index.ok()) call.index = index.value();
    return index.ok() ? S_OK : DISP_E_TYPEMISMATCH;
  }
  Result<std::string> text = more.ToText();
  if (text.ok()) call.text = std::move(text).value();
  return text.ok() ? S_OK : DISP_E_TYPEMISMATCH;
}

}  // namespace

std::optional<DISPID> Find(std::wstring_view name) {
  const std::string sought = ModWide::ToUtf8(name);
  DISPID id = kFirst;
  for (const RibbonCallback& callback : RibbonCallbacks()) {
    if (ModText::EqualsIgnoringAsciiCase(sought, callback.name)) return id;
    ++id;
  }
  return std::nullopt;
}

HRESULT Invoke(DISPID id, const DISPPARAMS& arguments, VARIANT* result, Connect& connect,
               const std::shared_ptr<const HostContext>& context) {
  const auto at = static_cast<std::size_t>(id - kFirst);
  if (id < kFirst || at >= RibbonCallbacks().size()) return DISP_E_MEMBERNOTFOUND;
  const RibbonCallback& callback = RibbonCallbacks()[at];
  const bool takes_more = callback.takes > Takes::kControl;
  if (arguments.cNamedArgs != 0) return DISP_E_NONAMEDARGS;
  if (arguments.cArgs != (takes_more ? 2U : 1U)) return DISP_E_BADPARAMCOUNT;
  if (!ObjectArgument(arguments, 0)) return DISP_E_TYPEMISMATCH;
  if (callback.takes == Takes::kRibbon) {
    connect.RibbonLoad(callback.kind, std::make_shared<OfficeRibbon>(
                                          First(arguments, ObjectKind::kRibbon, context)));
    return S_OK;
  }
  RibbonCall call;
  if (connect.gives_ribbons()) {
    Result<RibbonControl> control =
        ReadRibbonControl(First(arguments, ObjectKind::kRibbonControl, context));
    if (!control.ok()) return E_INVALIDARG;
    call.id = std::move(control->id);
    call.window = connect.OnRibbonOf(control->window.get());
  }
  // Nothing of Outlook's is held from here on: a handler may outlive it.
  if (const HRESULT read = Read(arguments, callback.takes, call); FAILED(read)) return read;
  const std::optional<RibbonValue> answer = callback.answer(call);
  if (!answer) return callback.takes == Takes::kControlAndIndex ? DISP_E_BADINDEX : E_INVALIDARG;
  if (result != nullptr) *result = VariantOf(*answer).Detach();
  return S_OK;
}

}  // namespace vespro::ModRibbonCallbacks
