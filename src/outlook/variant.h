// outlook/variant.h - owners of COM's text and values. Text is UTF-8 on our side and UTF-16 in COM;
// what can't be converted becomes U+FFFD. A NUL inside a text stays.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "base/status.h"
#include "outlook/com_ptr.h"

namespace vespro {

// A null BSTR is an empty text.
std::string TextOf(BSTR text);

class Bstr {
 public:
  Bstr() = default;
  // Null when memory runs out, never for an empty text.
  explicit Bstr(std::string_view utf8);
  Bstr(Bstr&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  Bstr& operator=(Bstr other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }
  ~Bstr() { SysFreeString(text_); }

  BSTR get() const { return text_; }
  BSTR Detach() { return std::exchange(text_, nullptr); }
  // Where a call puts a text.
  BSTR* Out() {
    SysFreeString(Detach());
    return &text_;
  }
  std::string ToText() const { return TextOf(text_); }

 private:
  BSTR text_ = nullptr;
};

class Variant {
 public:
  // Empty.
  Variant() { VariantInit(&value_); }
  // NOLINTBEGIN: implicit on purpose, so that arguments read as they are meant
  Variant(std::int32_t number);
  // When memory runs out it is an error, which no object takes for a text.
  Variant(std::string_view utf8);
  Variant(const char* utf8) : Variant(std::string_view(utf8)) {}
  Variant(const std::string& utf8) : Variant(std::string_view(utf8)) {}
  // A reference of its own; null is "Nothing".
  Variant(IDispatch* object);
  template <std::same_as<bool> Bool>
  Variant(Bool value) {
    V_VT(&value_) = VT_BOOL;
    V_BOOL(&value_) = value ? VARIANT_TRUE : VARIANT_FALSE;
  }
  // NOLINTEND
  // An argument that is left out.
  static Variant Missing();
  // What `value` says, through references; empty when that can't be copied.
  static Variant CopyOf(const VARIANT& value);

  Variant(Variant&& other) noexcept : value_(other.value_) { VariantInit(&other.value_); }
  Variant& operator=(Variant other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Variant() { VariantClear(&value_); }

  const VARIANT& get() const { return value_; }
  VARTYPE type() const { return V_VT(&value_); }
  // Where a call puts a value.
  VARIANT* Out() {
    VariantClear(&value_);
    return &value_;
  }
  // Gives the value away.
  VARIANT Detach() {
    const VARIANT value = value_;
    VariantInit(&value_);
    return value;
  }

  // Converted as COM does it, without regard to the user's language. kBadInput, with
  // DISP_E_TYPEMISMATCH or the like, for an object and for what has no such value; an empty value
  // is an empty text, but no number.
  Result<std::string> ToText() const;
  Result<std::int32_t> ToInt() const;
  Result<bool> ToBool() const;
  // Null for "Nothing". kBadInput for what is no object, or has no IDispatch.
  Result<ComPtr<IDispatch>> ToObject() const;

 private:
  VARIANT value_;
};

}  // namespace vespro
