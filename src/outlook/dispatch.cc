#include "outlook/dispatch.h"

#include <array>
#include <charconv>
#include <vector>

#include "base/text.h"
#include "base/win32/wide.h"

namespace vespro {
namespace {

// Of an exception that names no HRESULT but a number of Visual Basic's.
constexpr HRESULT kBasicError = static_cast<HRESULT>(0x800A0000);

std::string Hex(HRESULT result) {
  std::array<char, 8> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                 static_cast<std::uint32_t>(result), 16)
                       .ptr;
  return "0x" + std::string(digits.data(), end);
}

// What an object says about its failure.
class Exception {
 public:
  Exception() = default;
  Exception(const Exception&) = delete;
  Exception& operator=(const Exception&) = delete;
  ~Exception() {
    for (const BSTR text : {info_.bstrSource, info_.bstrDescription, info_.bstrHelpFile}) {
      SysFreeString(text);
    }
  }

  EXCEPINFO* Out() { return &info_; }
  // Some objects leave the rest for the one who asks.
  void Complete() {
    if (info_.pfnDeferredFillIn != nullptr) info_.pfnDeferredFillIn(&info_);
  }
  HRESULT result() const {
    if (FAILED(info_.scode)) return info_.scode;
    return info_.wCode != 0 ? kBasicError + info_.wCode : DISP_E_EXCEPTION;
  }
  std::string description() const { return TextOf(info_.bstrDescription); }

 private:
  EXCEPINFO info_{};
};

}  // namespace

const char* KindName(ObjectKind kind) {
  switch (kind) {
    case ObjectKind::kAny:
      break;
    case ObjectKind::kAddInInstance:
      return "COMAddIn";
    case ObjectKind::kApplication:
      return "Application";
    case ObjectKind::kAttachment:
      return "Attachment";
    case ObjectKind::kAttachments:
      return "Attachments";
    case ObjectKind::kButton:
      return "CommandBarButton";
    case ObjectKind::kComboBox:
      return "CommandBarComboBox";
    case ObjectKind::kCommandBar:
      return "CommandBar";
    case ObjectKind::kCommandBars:
      return "CommandBars";
    case ObjectKind::kControl:
      return "CommandBarControl";
    case ObjectKind::kControls:
      return "CommandBarControls";
    case ObjectKind::kExplorer:
      return "Explorer";
    case ObjectKind::kExplorers:
      return "Explorers";
    case ObjectKind::kInspector:
      return "Inspector";
    case ObjectKind::kInspectors:
      return "Inspectors";
    case ObjectKind::kMailItem:
      return "MailItem";
    case ObjectKind::kPopup:
      return "CommandBarPopup";
    case ObjectKind::kRibbon:
      return "IRibbonUI";
    case ObjectKind::kRibbonControl:
      return "IRibbonControl";
  }
  return "Object";
}

HRESULT MemberIds::Find(IDispatch& object, ObjectKind kind, const wchar_t* name, DISPID* id) {
  const std::pair<ObjectKind, std::wstring_view> member(kind, name);
  if (const auto known = ids_.find(member); known != ids_.end()) {
    *id = known->second;
    return S_OK;
  }
  auto* asked = const_cast<LPOLESTR>(name);  // it is only read
  const HRESULT result = object.GetIDsOfNames(IID_NULL, &asked, 1, LOCALE_USER_DEFAULT, id);
  if (SUCCEEDED(result) && kind != ObjectKind::kAny) ids_.emplace(member, *id);
  return result;
}

Result<Variant> Dispatch::Call(const wchar_t* name, Arguments arguments) const {
  // COM wants the last one first. The values stay ours.
  std::vector<VARIANT> reversed;
  reversed.reserve(arguments.size());
  for (const Variant* argument = arguments.end(); argument != arguments.begin();) {
    reversed.push_back((--argument)->get());
  }
  DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  // Both, since objects differ in what they take for a property.
  return Invoke(name, DISPATCH_METHOD | DISPATCH_PROPERTYGET, parameters);
}

Status Dispatch::Do(const wchar_t* name, Arguments arguments) const {
  return Call(name, arguments).status();
}

template <class T>
Result<T> Dispatch::Converted(const wchar_t* name, Arguments arguments,
                              Result<T> (Variant::*convert)() const) const {
  const Dispatch self = *this;  // the call may end us
  Result<Variant> value = self.Call(name, arguments);
  if (!value.ok()) return value.status();
  Result<T> converted = (value.value().*convert)();
  if (converted.ok()) return converted;
  const Status& wrong = converted.status();
  return Status(wrong.code(), self.FullName(name) + " is " + wrong.text(), wrong.native());
}

Result<std::string> Dispatch::Text(const wchar_t* name, Arguments arguments) const {
  return Converted(name, arguments, &Variant::ToText);
}

Result<std::int32_t> Dispatch::Int(const wchar_t* name, Arguments arguments) const {
  return Converted(name, arguments, &Variant::ToInt);
}

Result<bool> Dispatch::Bool(const wchar_t* name, Arguments arguments) const {
  return Converted(name, arguments, &Variant::ToBool);
}

Result<Dispatch> Dispatch::Object(const wchar_t* name, ObjectKind kind, Arguments arguments) const {
  const Dispatch self = *this;
  Result<ComPtr<IDispatch>> object = Converted(name, arguments, &Variant::ToObject);
  if (!object.ok()) return object.status();
  if (!object.value()) return Status(Code::kNotFound, self.FullName(name) + " is nothing");
  return self.Other(std::move(object).value(), kind);
}

Status Dispatch::Put(const wchar_t* name, const Variant& value) const {
  VARIANT argument = value.get();
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters{&argument, &put, 1, 1};
  return Invoke(name, DISPATCH_PROPERTYPUT, parameters).status();
}

Result<Variant> Dispatch::Invoke(const wchar_t* name, WORD flags, DISPPARAMS& parameters) const {
  if (!object_) return Failed(name, E_POINTER, "there is no such object any more");
  // The call may take the last other reference to the object, and end us.
  const Dispatch self = *this;
  const ComPtr<IDispatch>& object = self.object_;
  DISPID id = DISPID_UNKNOWN;
  HRESULT result = ids_->Find(*object.get(), kind_, name, &id);
  if (FAILED(result)) return self.Failed(name, result);
  Variant value;
  Exception exception;
  const bool puts = flags == DISPATCH_PROPERTYPUT;
  result = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters,
                          puts ? nullptr : value.Out(), exception.Out(), nullptr);
  if (SUCCEEDED(result)) return value;
  value.Detach();  // what a failed call leaves there is nobody's
  if (result != DISP_E_EXCEPTION) return self.Failed(name, result);
  exception.Complete();
  return self.Failed(name, exception.result(), exception.description());
}

std::string Dispatch::FullName(const wchar_t* name) const {
  return std::string("Outlook's ") + KindName(kind_) + "." + ModWide::ToUtf8(name);
}

Status Dispatch::Failed(const wchar_t* name, HRESULT result, std::string_view description) const {
  std::string text = FullName(name) + " failed with " + Hex(result);
  if (!description.empty()) text += ": " + ModText::Printable(description);
  return Status(Code::kUnavailable, std::move(text), static_cast<std::uint32_t>(result));
}

}  // namespace vespro
