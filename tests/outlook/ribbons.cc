#include "outlook/ribbons.h"

#include <olectl.h>

#include <utility>

#include "base/win32/wide.h"
#include "outlook/client.h"

namespace vespro::standin {
namespace {

constexpr IID kExtensibilityIid = {
    0x000C0396, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
constexpr int kOutlook2007 = 12, kOutlook2010 = 14;
constexpr char kExplorerRibbon[] = "Microsoft.Outlook.Explorer";
constexpr char kComposeRibbon[] = "Microsoft.Outlook.Mail.Compose";
constexpr char kContactRibbon[] = "Microsoft.Outlook.Contact";

const char* TabOf(const std::string& ribbon_id) {
  if (ribbon_id == kExplorerRibbon) return "TabMail";
  return ribbon_id == kComposeRibbon ? "TabNewMailMessage" : "TabContact";
}

// Such as "16x16".
std::string LooksOf(const Variant& value) {
  const Result<ComPtr<IDispatch>> object = value.ToObject();
  const auto picture = object.ok() ? object.value().As<IPicture>(IID_IPicture) : nullptr;
  OLE_HANDLE handle = 0;
  short type = PICTYPE_NONE;
  BITMAP info{};
  if (!picture || FAILED(picture->get_Type(&type)) || FAILED(picture->get_Handle(&handle)) ||
      type != PICTYPE_BITMAP ||
      GetObjectW(reinterpret_cast<HGDIOBJ>(static_cast<LONG_PTR>(static_cast<LONG>(handle))),
                 sizeof(info), &info) == 0) {
    return "no picture";
  }
  return std::to_string(info.bmWidth) + "x" + std::to_string(info.bmHeight);
}

RibbonAnswer ValueOf(const Variant& value) {
  if (value.type() == VT_BOOL) return value.ToBool().value();
  if (value.type() == VT_I4) return static_cast<int>(value.ToInt().value());
  if (value.type() == VT_BSTR) return value.ToText().value();
  if (value.type() == VT_DISPATCH) return LooksOf(value);
  return {};
}

}  // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

struct Ribbons::Extensibility : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE GetCustomUI(BSTR ribbon_id, BSTR* xml) = 0;
};

#pragma GCC diagnostic pop

// What an add-in gets to have its controls asked for anew.
class RibbonUi final : public Object {
 public:
  RibbonUi(Ledger& ledger, Ribbons& ribbons) : Object(ledger, KindOf()), ribbons_(ribbons) {}

 private:
  static const Kind& KindOf() {
    static const Kind kind{
        "IRibbonUI",
        {
            {L"Invalidate", 1, kMethod, On<&RibbonUi::Invalidate>},
            {L"InvalidateControl", 2, kMethod, On<&RibbonUi::InvalidateControl>, {Takes::kText}},
        },
        {}};
    return kind;
  }
  HRESULT Invalidate(Call&) {
    ribbons_.Invalidate();
    return S_OK;
  }
  HRESULT InvalidateControl(Call& call) {
    ribbons_.InvalidateControl(call.TextAt(0));
    return S_OK;
  }

  Ribbons& ribbons_;
};

RibbonControl::RibbonControl(Ledger& ledger, Object& context, std::string_view id)
    : Object(ledger, KindOf()), context_(context), id_(id) {}

const Kind& RibbonControl::KindOf() {
  static const Kind kind{"IRibbonControl",
                         {
                             {L"Id", 1, kGet, On<&RibbonControl::id_>},
                             {L"Context", 2, kGet, On<&RibbonControl::Context>},
                             {L"Tag", 3, kGet, On<&RibbonControl::tag_>},
                         },
                         {}};
  return kind;
}

void Ribbons::Attach(IUnknown& add_in) {
  if (client_.Major() < kOutlook2007) return;
  void* found = nullptr;
  if (FAILED(add_in.QueryInterface(kExtensibilityIid, &found))) return;
  extensibility_ = static_cast<Extensibility*>(found);
  if (FAILED(add_in.QueryInterface(IID_IDispatch, add_in_.OutVoid()))) add_in_.Detach();
}

void Ribbons::Detach() {
  described_.clear();
  for (Window* window : client_.windows()) window->ribbon = nullptr;
  add_in_.Reset();
  if (extensibility_ != nullptr) std::exchange(extensibility_, nullptr)->Release();
}

void Ribbons::AskForMainWindows() {
  if (client_.Major() < kOutlook2010) return;
  Ask(kExplorerRibbon);
  for (Window* window : std::vector<Window*>(client_.windows())) Show(*window);
}

// What this version has there; empty: no ribbon.
std::string Ribbons::NameOf(const Window& window) const {
  if (window.is_explorer()) return client_.Major() < kOutlook2010 ? "" : kExplorerRibbon;
  if (client_.Major() < kOutlook2007) return {};
  const int item_class = static_cast<const Inspector&>(window).item.content.item_class;
  return item_class == kMailClass ? kComposeRibbon : kContactRibbon;
}

void Ribbons::Ask(const std::string& ribbon_id) {
  if (extensibility_ == nullptr || described_.count(ribbon_id) != 0) return;
  described_[ribbon_id] = nullptr;
  Bstr xml;
  const HRESULT asked = extensibility_->GetCustomUI(Bstr(ribbon_id).get(), xml.Out());
  if (FAILED(asked)) client_.ledger.Refused("GetCustomUI failed for " + ribbon_id);
  if (FAILED(asked) || xml.ToText().empty()) return;
  Result<RibbonNode> read =
      ParseRibbon(xml.ToText(), TabOf(ribbon_id), [this](const std::string& name) {
        std::wstring wide = ModWide::FromUtf8(name);
        LPOLESTR asked_name = wide.data();
        DISPID id = DISPID_UNKNOWN;
        return add_in_ && SUCCEEDED(add_in_->GetIDsOfNames(IID_NULL, &asked_name, 1,
                                                           LOCALE_USER_DEFAULT, &id));
      });
  if (!read.ok()) return client_.ledger.Refused(ribbon_id + ": " + read.status().text());
  described_[ribbon_id] = std::make_shared<const RibbonNode>(std::move(read).value());
  const std::string load = (*described_[ribbon_id])["onLoad"];
  if (load.empty()) return;
  std::vector<Variant> arguments;
  arguments.emplace_back(client_.ledger.Make<RibbonUi>(*this).dispatch());
  Variant nothing;
  Call(load, std::move(arguments), nothing);
}

void Ribbons::Show(Window& window) {
  const std::string ribbon_id = NameOf(window);
  if (ribbon_id.empty() || extensibility_ == nullptr) return;
  if (client_.asks_for_ribbons == Client::Asks::kNever) return;
  Ask(ribbon_id);
  const std::shared_ptr<const RibbonNode> markup = described_[ribbon_id];
  if (markup == nullptr || window.ended()) return;
  window.ribbon = std::make_shared<RibbonView>(
      markup, [this, &window](const std::string& name, const std::string& id,
                              const std::vector<RibbonAnswer>& more) {
        return Answer(window, name, id, more);
      });
}

void Ribbons::Invalidate() {
  for (Window* window : client_.windows()) {
    if (window->ribbon != nullptr) window->ribbon->Invalidate();
  }
}

void Ribbons::InvalidateControl(const std::string& id) {
  for (Window* window : client_.windows()) {
    if (window->ribbon != nullptr) window->ribbon->InvalidateControl(id);
  }
}

Result<RibbonAnswer> Ribbons::Answer(Window& window, const std::string& name, const std::string& id,
                                     const std::vector<RibbonAnswer>& more) {
  std::vector<Variant> arguments;
  arguments.emplace_back(client_.ledger.Make<RibbonControl>(window, id).dispatch());
  for (const RibbonAnswer& value : more) {
    if (const int* number = std::get_if<int>(&value)) arguments.emplace_back(*number);
    if (const auto* text = std::get_if<std::string>(&value)) arguments.emplace_back(*text);
  }
  Variant result;
  const HRESULT called = Call(name, std::move(arguments), result);
  if (SUCCEEDED(called)) return ValueOf(result);
  // Where a call of its own was made to fail it may.
  if (client_.ledger.failed_call().empty()) client_.ledger.Refused(name + " failed for " + id);
  return Status(Code::kUnavailable, "the add-in refuses", static_cast<std::uint32_t>(called));
}

HRESULT Ribbons::Call(const std::string& name, std::vector<Variant> arguments, Variant& result) {
  const ComPtr<IDispatch> add_in = add_in_;  // it may go below the call
  std::wstring wide = ModWide::FromUtf8(name);
  LPOLESTR asked = wide.data();
  DISPID id = DISPID_UNKNOWN;
  if (!add_in) return E_NOINTERFACE;
  const HRESULT found = add_in->GetIDsOfNames(IID_NULL, &asked, 1, LOCALE_USER_DEFAULT, &id);
  if (FAILED(found)) return found;
  std::vector<VARIANT> reversed;
  for (auto argument = arguments.rbegin(); argument != arguments.rend(); ++argument) {
    reversed.push_back(argument->get());
  }
  DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  return add_in->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                        result.Out(), nullptr, nullptr);
}

}  // namespace vespro::standin
