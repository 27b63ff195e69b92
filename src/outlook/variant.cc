#include "outlook/variant.h"

#include "base/win32/wide.h"

namespace vespro {
namespace {

Status Mismatch(const char* wanted, HRESULT result) {
  return Status(Code::kBadInput, std::string("something else than ") + wanted,
                static_cast<std::uint32_t>(result));
}

bool IsObject(VARTYPE type) { return type == VT_DISPATCH || type == VT_UNKNOWN; }

// Objects are left alone: converting one would read its default property.
Result<Variant> Converted(const VARIANT& value, VARTYPE type, const char* wanted) {
  if (IsObject(V_VT(&value))) return Mismatch(wanted, DISP_E_TYPEMISMATCH);
  Variant converted;
  VARIANT from = value;  // a view, since the call doesn't promise to only read
  const HRESULT result =
      VariantChangeTypeEx(converted.Out(), &from, LOCALE_INVARIANT, VARIANT_ALPHABOOL, type);
  if (FAILED(result)) return Mismatch(wanted, result);
  return converted;
}

Result<Variant> Number(const VARIANT& value, VARTYPE type, const char* wanted) {
  if (V_VT(&value) == VT_EMPTY) return Mismatch(wanted, DISP_E_TYPEMISMATCH);
  return Converted(value, type, wanted);
}

}  // namespace

std::string TextOf(BSTR text) {
  return ModWide::ToUtf8(std::wstring_view(text == nullptr ? L"" : text, SysStringLen(text)));
}

Bstr::Bstr(std::string_view utf8) {
  const std::wstring wide = ModWide::FromUtf8(utf8);
  text_ = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
}

Variant::Variant(std::int32_t number) {
  V_VT(&value_) = VT_I4;
  V_I4(&value_) = number;
}

Variant::Variant(std::string_view utf8) {
  Bstr text(utf8);
  V_VT(&value_) = text.get() == nullptr ? VT_ERROR : VT_BSTR;
  if (text.get() == nullptr) {
    V_ERROR(&value_) = E_OUTOFMEMORY;
  } else {
    V_BSTR(&value_) = text.Detach();
  }
}

Variant::Variant(IDispatch* object) {
  V_VT(&value_) = VT_DISPATCH;
  V_DISPATCH(&value_) = ComPtr<IDispatch>(object).Detach();
}

Variant Variant::Missing() {
  Variant missing;
  V_VT(&missing.value_) = VT_ERROR;
  V_ERROR(&missing.value_) = DISP_E_PARAMNOTFOUND;
  return missing;
}

Variant Variant::CopyOf(const VARIANT& value) {
  Variant copy;
  VARIANT from = value;
  if (FAILED(VariantCopyInd(&copy.value_, &from))) VariantInit(&copy.value_);
  return copy;
}

Result<std::string> Variant::ToText() const {
  if (type() == VT_BSTR) return TextOf(V_BSTR(&value_));
  Result<Variant> text = Converted(value_, VT_BSTR, "text");
  if (!text.ok()) return text.status();
  return TextOf(V_BSTR(&text.value().get()));
}

Result<std::int32_t> Variant::ToInt() const {
  Result<Variant> number = Number(value_, VT_I4, "a number");
  if (!number.ok()) return number.status();
  return V_I4(&number.value().get());
}

Result<bool> Variant::ToBool() const {
  Result<Variant> truth = Number(value_, VT_BOOL, "yes or no");
  if (!truth.ok()) return truth.status();
  return V_BOOL(&truth.value().get()) != VARIANT_FALSE;
}

Result<ComPtr<IDispatch>> Variant::ToObject() const {
  const Status wrong = Mismatch("an object", DISP_E_TYPEMISMATCH);
  if (type() == VT_DISPATCH) return ComPtr<IDispatch>(V_DISPATCH(&value_));
  if (type() != VT_UNKNOWN) return wrong;
  const ComPtr<IUnknown> unknown(V_UNKNOWN(&value_));
  ComPtr<IDispatch> object = unknown.As<IDispatch>(IID_IDispatch);
  if (unknown && !object) return wrong;
  return object;
}

}  // namespace vespro
