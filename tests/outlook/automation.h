// outlook/automation.h - what all objects of the stand-in are: IDispatch over a table of members,
// and sources of events. Calls are as strict as Outlook's: a name that is not there, a property
// called as a method, a put without DISPID_PROPERTYPUT, a wrong number or type of arguments are
// refused. What is returned comes in all forms that Outlook and Office use for it.
#pragma once

#include <windows.h>

#include <oaidl.h>
#include <ocidl.h>
#include <olectl.h>

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "outlook/com_ptr.h"
#include "outlook/ledger.h"
#include "outlook/variant.h"

namespace vespro::standin {

class Object;

// What an argument must be. kVariant: a text or a number, as the member says.
enum class Takes { kInt, kBool, kText, kObject, kVariant };

// One call, once its form has been found right.
class Call {
 public:
  Call(Ledger& ledger, WORD way, std::vector<Variant> arguments, VARIANT* result,
       EXCEPINFO* exception, UINT* wrong_argument);

  // DISPATCH_PROPERTYPUT or DISPATCH_PROPERTYPUTREF; what is put follows the arguments.
  bool puts() const { return (way_ & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0; }
  // Arguments in the order of the member's own, from 0. One that is left out is not there.
  bool Has(std::size_t index) const;
  const Variant& At(std::size_t index) const { return arguments_[index]; }
  int IntAt(std::size_t index, int otherwise) const;
  bool BoolAt(std::size_t index, bool otherwise) const;
  std::string TextAt(std::size_t index) const;
  // One of our objects; nullptr for Nothing and for others' objects.
  Object* ObjectAt(std::size_t index) const;

  // What is put; DISP_E_TYPEMISMATCH when it is something else.
  HRESULT Take(std::string& into);
  HRESULT Take(int& into);
  HRESULT Take(bool& into);
  HRESULT TakeObject(Object*& into);

  HRESULT Return(int value);
  HRESULT Return(bool value);
  HRESULT Return(const std::string& value);
  // nullptr: Nothing.
  HRESULT Return(Object* object);
  // An exception, as the objects raise it.
  HRESULT Fail(HRESULT code, const char* description) const;
  HRESULT Mismatch(std::size_t index) const;

  static bool Fits(const Variant& value, Takes takes);

 private:
  HRESULT Give(Variant value);

  Ledger& ledger_;
  const WORD way_;
  std::vector<Variant> arguments_;
  VARIANT* result_;
  EXCEPINFO* exception_;
  UINT* wrong_argument_;
};

using Handler = HRESULT (*)(Object& self, Call& call);

struct Member {
  const wchar_t* name;
  DISPID id;
  WORD ways;  // DISPATCH_METHOD, or the PROPERTY ones that it has
  Handler handler;
  std::vector<Takes> takes = {};
  std::size_t optional = 0;  // how many of the last may be left out
};

inline constexpr WORD kMethod = DISPATCH_METHOD;
inline constexpr WORD kGet = DISPATCH_PROPERTYGET;
inline constexpr WORD kGetPut = DISPATCH_PROPERTYGET | DISPATCH_PROPERTYPUT;
inline constexpr WORD kGetPutRef = DISPATCH_PROPERTYGET | DISPATCH_PROPERTYPUTREF;

struct Kind {
  const char* name;
  std::vector<Member> members;
  std::vector<IID> events;  // the interfaces of its events
};

// Two tables as one; what the second one has takes the place of the first one's.
std::vector<Member> Joined(std::vector<Member> base, std::vector<Member> more);

// COM's interfaces have no virtual destructors, and need none.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Whatever comes to the objects through COM goes to the ledger, too. The ledger is the owner; what
// AddRef and Release count are the add-in's references alone.
class Object : public IDispatch, public IConnectionPointContainer {
 public:
  Object(Ledger& ledger, const Kind& kind);
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object();

  Ledger& ledger() const { return ledger_; }
  std::string name() const { return kind_.name; }
  IDispatch* dispatch() { return this; }
  IUnknown* unknown() { return static_cast<IDispatch*>(this); }
  // Outlook has done away with it; calls fail from now on, and are faults.
  void End() { ended_ = true; }
  bool ended() const { return ended_; }
  void ReportHeld(std::vector<std::string>& into) const;
  std::size_t SinkCount() const;

  // Tells every sink.
  void Raise(REFIID events, DISPID id);
  // With an object as argument; nullptr: Nothing.
  void Raise(REFIID events, DISPID id, Object* argument);
  // The same with a second argument by reference; what the sinks make of that.
  bool RaiseCancellable(REFIID events, DISPID id, Object* argument);

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP GetTypeInfoCount(UINT* count) override;
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID language,
                             DISPID* ids) override;
  STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID language, WORD flags, DISPPARAMS* parameters,
                      VARIANT* result, EXCEPINFO* exception, UINT* wrong_argument) override;
  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
  STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** out) override;

 protected:
  // Another interface of it, with its own references; nullptr: none of that name.
  virtual IUnknown* Another(REFIID) { return nullptr; }

 private:
  class Point;
  friend class Point;

  void Tell(REFIID events, DISPID id, std::vector<VARIANT>& reversed);
  // What `what` comes to before it is done; S_OK: go on.
  HRESULT Admit(std::string_view what, bool only_asks_for_name = false);
  HRESULT Refuse(HRESULT code, const std::string& what, const char* why) const;
  std::string Described(const Variant& argument) const;
  HRESULT Arguments(const Member& member, WORD way, const DISPPARAMS& parameters,
                    std::vector<Variant>& into, UINT* wrong_argument) const;

  Ledger& ledger_;
  const Kind& kind_;
  std::vector<std::unique_ptr<Point>> points_;
  long references_ = 0;
  bool ended_ = false;
};

#pragma GCC diagnostic pop

// Handlers from members: On<&T::field> is a property, On<&T::Method> whatever the method does,
// Is<&T::object> a property that gives another object.
template <class>
struct MemberOf;
template <class Class_, class Type_>
struct MemberOf<Type_ Class_::*> {
  using Class = Class_;
  using Type = Type_;
};
template <auto Pointer>
HRESULT On(Object& self, Call& call) {
  using Of = MemberOf<decltype(Pointer)>;
  auto& object = static_cast<typename Of::Class&>(self);
  if constexpr (std::is_member_function_pointer_v<decltype(Pointer)>) {
    return (object.*Pointer)(call);
  } else {
    return call.puts() ? call.Take(object.*Pointer) : call.Return(object.*Pointer);
  }
}
// A constant number.
template <int Number>
HRESULT Gives(Object&, Call& call) {
  return call.Return(Number);
}

}  // namespace vespro::standin
