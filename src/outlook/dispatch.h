// outlook/dispatch.h - an object of Outlook's or Office's, called by names. One thread: Outlook's
// own. Any call may let Outlook's events run.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <initializer_list>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "base/status.h"
#include "outlook/com_ptr.h"
#include "outlook/variant.h"

namespace vespro {

// Kinds of objects. The same number of a member means different things in two of them.
enum class ObjectKind {
  kAny,  // looked up at each call: not known what it is
  kAddInInstance,
  kApplication,
  kAttachment,
  kAttachments,
  kButton,
  kComboBox,
  kCommandBar,
  kCommandBars,
  kControl,
  kControls,
  kExplorer,
  kExplorers,
  kInspector,
  kInspectors,
  kMailItem,
  kPopup,
  kRibbon,
  kRibbonControl,
};
const char* KindName(ObjectKind kind);

// The numbers of members, each looked up once for a kind of object. Names are literals.
class MemberIds {
 public:
  // A failed HRESULT when `object` has no such member; that is asked again the next time.
  HRESULT Find(IDispatch& object, ObjectKind kind, const wchar_t* name, DISPID* id);

 private:
  std::map<std::pair<ObjectKind, std::wstring_view>, DISPID> ids_;
};

// Failures are kUnavailable with the HRESULT as native(): the exception's own where there was one.
// A result of another type than was asked for is kBadInput.
class Dispatch {
 public:
  using Arguments = std::initializer_list<Variant>;

  // No object: each call fails.
  Dispatch() = default;
  Dispatch(ComPtr<IDispatch> object, ObjectKind kind, std::shared_ptr<MemberIds> ids)
      : object_(std::move(object)), kind_(kind), ids_(std::move(ids)) {}

  explicit operator bool() const { return static_cast<bool>(object_); }
  IDispatch* get() const { return object_.get(); }
  // Another of Outlook's objects.
  Dispatch Other(ComPtr<IDispatch> object, ObjectKind kind) const {
    return Dispatch(std::move(object), kind, ids_);
  }

  // Calls a method or reads a property; `arguments` in the order of the method's own.
  Result<Variant> Call(const wchar_t* name, Arguments arguments = {}) const;
  Status Do(const wchar_t* name, Arguments arguments = {}) const;
  Result<std::string> Text(const wchar_t* name, Arguments arguments = {}) const;
  Result<std::int32_t> Int(const wchar_t* name, Arguments arguments = {}) const;
  Result<bool> Bool(const wchar_t* name, Arguments arguments = {}) const;
  // kNotFound for "Nothing".
  Result<Dispatch> Object(const wchar_t* name, ObjectKind kind, Arguments arguments = {}) const;

  Status Put(const wchar_t* name, const Variant& value) const;

 private:
  Result<Variant> Invoke(const wchar_t* name, WORD flags, DISPPARAMS& parameters) const;
  template <class T>
  Result<T> Converted(const wchar_t* name, Arguments arguments,
                      Result<T> (Variant::*convert)() const) const;
  std::string FullName(const wchar_t* name) const;
  Status Failed(const wchar_t* name, HRESULT result, std::string_view description = {}) const;

  ComPtr<IDispatch> object_;
  ObjectKind kind_ = ObjectKind::kAny;
  std::shared_ptr<MemberIds> ids_;
};

}  // namespace vespro
