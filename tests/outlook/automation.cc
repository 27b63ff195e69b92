#include "outlook/automation.h"

#include <algorithm>
#include <cwchar>
#include <utility>

#include "base/win32/wide.h"
#include "outlook/com_edge.h"

namespace vespro::standin {
namespace {

bool IsPut(WORD way) { return (way & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0; }

BSTR TextFor(const char* text) { return SysAllocString(ModWide::FromUtf8(text).c_str()); }

// What an exception says when it is asked.
HRESULT STDAPICALLTYPE FillIn(EXCEPINFO* exception) {
  exception->bstrSource = TextFor("Outlook");
  exception->bstrDescription = TextFor("The operation failed.");
  return S_OK;
}

}  // namespace

// Calls ------------------------------------------------------------------------------------------

Call::Call(Ledger& ledger, WORD way, std::vector<Variant> arguments, VARIANT* result,
           EXCEPINFO* exception, UINT* wrong_argument)
    : ledger_(ledger),
      way_(way),
      arguments_(std::move(arguments)),
      result_(result),
      exception_(exception),
      wrong_argument_(wrong_argument) {}

bool Call::Fits(const Variant& value, Takes takes) {
  const VARTYPE type = value.type();
  switch (takes) {
    case Takes::kInt:
      return type == VT_I4 || type == VT_I2 || type == VT_INT || type == VT_UI1;
    case Takes::kBool:
      return type == VT_BOOL;
    case Takes::kText:
      return type == VT_BSTR;
    case Takes::kObject:
      return type == VT_DISPATCH || type == VT_UNKNOWN;
    case Takes::kVariant:
      return type == VT_BSTR || Fits(value, Takes::kInt);
  }
  return false;
}

bool Call::Has(std::size_t index) const {
  return index < arguments_.size() && arguments_[index].type() != VT_ERROR;
}

int Call::IntAt(std::size_t index, int otherwise) const {
  const Result<std::int32_t> number = Has(index) ? arguments_[index].ToInt() : otherwise;
  return number.ok() ? number.value() : otherwise;
}

bool Call::BoolAt(std::size_t index, bool otherwise) const {
  const Result<bool> value = Has(index) ? arguments_[index].ToBool() : otherwise;
  return value.ok() ? value.value() : otherwise;
}

std::string Call::TextAt(std::size_t index) const {
  const Result<std::string> text = Has(index) ? arguments_[index].ToText() : std::string();
  return text.ok() ? text.value() : std::string();
}

Object* Call::ObjectAt(std::size_t index) const {
  if (!Has(index)) return nullptr;
  const Result<ComPtr<IDispatch>> object = arguments_[index].ToObject();
  return object.ok() ? ledger_.Find(object.value().get()) : nullptr;
}

HRESULT Call::Mismatch(std::size_t index) const {
  // Counted as COM has them, from the last one.
  if (wrong_argument_ != nullptr) {
    *wrong_argument_ = static_cast<UINT>(arguments_.size() - 1 - index);
  }
  return DISP_E_TYPEMISMATCH;
}

HRESULT Call::Take(std::string& into) {
  const std::size_t last = arguments_.size() - 1;
  if (!Fits(arguments_[last], Takes::kText)) return Mismatch(last);
  into = TextAt(last);
  return S_OK;
}

HRESULT Call::Take(int& into) {
  const std::size_t last = arguments_.size() - 1;
  if (!Fits(arguments_[last], Takes::kInt)) return Mismatch(last);
  into = IntAt(last, 0);
  return S_OK;
}

HRESULT Call::Take(bool& into) {
  const std::size_t last = arguments_.size() - 1;
  if (!Fits(arguments_[last], Takes::kBool)) return Mismatch(last);
  into = BoolAt(last, false);
  return S_OK;
}

HRESULT Call::TakeObject(Object*& into) {
  const std::size_t last = arguments_.size() - 1;
  if (!Fits(arguments_[last], Takes::kObject)) return Mismatch(last);
  into = ObjectAt(last);
  return S_OK;
}

HRESULT Call::Give(Variant value) {
  if (result_ != nullptr) *result_ = value.Detach();
  return S_OK;
}

HRESULT Call::Return(int value) {
  VARIANT number;
  VariantInit(&number);
  const int form = value >= -32768 && value <= 32767 ? ledger_.Turn(3) : ledger_.Turn(2);
  if (form == 0) {
    V_VT(&number) = VT_I4;
    V_I4(&number) = value;
  } else if (form == 1) {
    V_VT(&number) = VT_INT;
    V_INT(&number) = value;
  } else {
    V_VT(&number) = VT_I2;
    V_I2(&number) = static_cast<SHORT>(value);
  }
  if (result_ != nullptr) *result_ = number;
  return S_OK;
}

HRESULT Call::Return(bool value) { return Give(Variant(value)); }

HRESULT Call::Return(const std::string& value) {
  if (!value.empty() || ledger_.Turn(2) == 0) return Give(Variant(value));
  // An empty text may be none at all.
  VARIANT none;
  VariantInit(&none);
  V_VT(&none) = VT_BSTR;
  V_BSTR(&none) = nullptr;
  if (result_ != nullptr) *result_ = none;
  return S_OK;
}

HRESULT Call::Return(Object* object) {
  if (result_ == nullptr) return S_OK;
  VariantInit(result_);
  if (object == nullptr || ledger_.Turn(2) == 0) {
    V_VT(result_) = VT_DISPATCH;
    V_DISPATCH(result_) = object == nullptr ? nullptr : object->dispatch();
  } else {
    V_VT(result_) = VT_UNKNOWN;
    V_UNKNOWN(result_) = object->unknown();
  }
  if (object != nullptr) object->AddRef();
  return S_OK;
}

HRESULT Call::Fail(HRESULT code, const char* description) const {
  if (exception_ == nullptr) return DISP_E_EXCEPTION;
  *exception_ = {};
  exception_->scode = code;
  if (ledger_.Turn(2) == 0) {
    exception_->bstrSource = TextFor("Outlook");
    exception_->bstrDescription = TextFor(description);
  } else {
    exception_->pfnDeferredFillIn = FillIn;
  }
  return DISP_E_EXCEPTION;
}

std::vector<Member> Joined(std::vector<Member> base, std::vector<Member> more) {
  std::erase_if(base, [&](const Member& member) {
    return std::any_of(more.begin(), more.end(), [&](const Member& other) {
      return std::wcscmp(member.name, other.name) == 0;
    });
  });
  base.insert(base.end(), more.begin(), more.end());
  return base;
}

// Sources of events ------------------------------------------------------------------------------

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class Object::Point final : public IConnectionPoint {
 public:
  Point(Object& source, REFIID events) : source_(source), events_(events) {}

  const IID& events() const { return events_; }
  long references() const { return references_; }
  std::size_t sink_count() const { return sinks_.size(); }
  // As they are now: what a sink does may add some and end some.
  std::vector<ComPtr<IDispatch>> sinks() const {
    std::vector<ComPtr<IDispatch>> now;
    for (const Sink& sink : sinks_) now.push_back(sink.receiver);
    return now;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IConnectionPoint) return E_NOINTERFACE;
    *out = static_cast<IConnectionPoint*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++references_); }
  STDMETHODIMP_(ULONG) Release() override {
    if (references_ == 0) {
      source_.ledger_.Fault(source_.name() + ": a connection point is released too often");
      return 0;
    }
    return static_cast<ULONG>(--references_);
  }
  STDMETHODIMP GetConnectionInterface(IID* out) override {
    if (out == nullptr) return E_POINTER;
    *out = events_;
    return S_OK;
  }
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** out) override {
    return source_.QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(out));
  }
  STDMETHODIMP EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

  STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override {
    return AtComEdge("Advise", [&]() -> HRESULT {
      if (sink == nullptr || cookie == nullptr) return E_POINTER;
      *cookie = 0;
      if (const HRESULT admitted = source_.Admit("Advise"); FAILED(admitted)) return admitted;
      ComPtr<IDispatch> receiver;
      if (FAILED(sink->QueryInterface(events_, receiver.OutVoid())) || !receiver) {
        source_.ledger_.Refused(source_.name() + ".Advise: the sink does not know the events");
        return CONNECT_E_CANNOTCONNECT;
      }
      sinks_.push_back({++last_cookie_, std::move(receiver)});
      *cookie = last_cookie_;
      return S_OK;
    });
  }
  STDMETHODIMP Unadvise(DWORD cookie) override {
    return AtComEdge("Unadvise", [&]() -> HRESULT {
      const auto found = std::find_if(sinks_.begin(), sinks_.end(),
                                      [&](const Sink& sink) { return sink.cookie == cookie; });
      if (found == sinks_.end()) {
        source_.ledger_.Fault(source_.name() + ".Unadvise: nobody is connected with that number");
        return CONNECT_E_NOCONNECTION;
      }
      // It goes when it is no longer in the list.
      const ComPtr<IDispatch> receiver = std::move(found->receiver);
      sinks_.erase(found);
      return S_OK;
    });
  }

 private:
  struct Sink {
    DWORD cookie;
    ComPtr<IDispatch> receiver;
  };

  Object& source_;
  const IID events_;
  std::vector<Sink> sinks_;
  DWORD last_cookie_ = 0;
  long references_ = 0;
};

#pragma GCC diagnostic pop

// Objects ----------------------------------------------------------------------------------------

Object::Object(Ledger& ledger, const Kind& kind) : ledger_(ledger), kind_(kind) {
  for (const IID& events : kind.events) points_.push_back(std::make_unique<Point>(*this, events));
}

Object::~Object() = default;

std::size_t Object::SinkCount() const {
  std::size_t count = 0;
  for (const auto& point : points_) count += point->sink_count();
  return count;
}

void Object::ReportHeld(std::vector<std::string>& into) const {
  const auto report = [&](long count, const char* of_what) {
    if (count > 0) into.push_back(name() + ": " + std::to_string(count) + of_what);
  };
  report(references_, references_ == 1 ? " reference" : " references");
  for (const auto& point : points_) {
    report(point->references(), " references to a connection point");
    report(static_cast<long>(point->sink_count()), " sinks");
  }
}

void Object::Raise(REFIID events, DISPID id) {
  std::vector<VARIANT> none;
  Tell(events, id, none);
}

void Object::Raise(REFIID events, DISPID id, Object* argument) {
  const Variant object(argument == nullptr ? nullptr : argument->dispatch());
  std::vector<VARIANT> arguments{object.get()};
  Tell(events, id, arguments);
}

bool Object::RaiseCancellable(REFIID events, DISPID id, Object* argument) {
  const Variant object(argument == nullptr ? nullptr : argument->dispatch());
  VARIANT_BOOL cancel = VARIANT_FALSE;
  VARIANT by_reference;
  VariantInit(&by_reference);
  V_VT(&by_reference) = VT_BOOL | VT_BYREF;
  V_BOOLREF(&by_reference) = &cancel;
  std::vector<VARIANT> reversed{by_reference, object.get()};
  Tell(events, id, reversed);
  return cancel != VARIANT_FALSE;
}

void Object::Tell(REFIID events, DISPID id, std::vector<VARIANT>& reversed) {
  DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  for (const auto& point : points_) {
    if (point->events() != events) continue;
    for (const ComPtr<IDispatch>& sink : point->sinks()) {
      sink->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr,
                   nullptr, nullptr);
    }
  }
}

HRESULT Object::Admit(std::string_view what, bool only_asks_for_name) {
  const std::string call = name() + "." + std::string(what);
  if (!ledger_.OnOwnThread()) {
    ledger_.Fault(call + ": from another thread");
    return RPC_E_WRONG_THREAD;
  }
  if (ledger_.closed()) ledger_.Fault(call + ": after the add-in was disconnected");
  if (references_ == 0) ledger_.Fault(call + ": without a reference");
  if (ended_) {
    ledger_.Gone(call);
    return RPC_E_DISCONNECTED;
  }
  return ledger_.CountCall(*this, what, only_asks_for_name) ? E_FAIL : S_OK;
}

HRESULT Object::Refuse(HRESULT code, const std::string& what, const char* why) const {
  ledger_.Refused(name() + "." + what + ": " + why);
  return code;
}

STDMETHODIMP Object::QueryInterface(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (iid == IID_IUnknown || iid == IID_IDispatch) {
    *out = static_cast<IDispatch*>(this);
  } else if (iid == IID_IConnectionPointContainer && !points_.empty()) {
    *out = static_cast<IConnectionPointContainer*>(this);
  } else {
    *out = Another(iid);
  }
  if (*out == nullptr) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) Object::AddRef() { return static_cast<ULONG>(++references_); }

STDMETHODIMP_(ULONG) Object::Release() {
  if (references_ == 0) {
    ledger_.Fault(name() + ": released too often");
    return 0;
  }
  return static_cast<ULONG>(--references_);
}

STDMETHODIMP Object::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 0;
  return S_OK;
}

STDMETHODIMP Object::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  return AtComEdge("GetIDsOfNames", [&]() -> HRESULT {
    if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
    std::fill(ids, ids + count, DISPID_UNKNOWN);
    const std::string asked = ModWide::ToUtf8(names[0]);
    if (const HRESULT admitted = Admit(asked, true); FAILED(admitted)) return admitted;
    for (const Member& member : kind_.members) {
      if (_wcsicmp(member.name, names[0]) != 0) continue;
      ids[0] = member.id;
      // Arguments have no names here.
      return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
    }
    return Refuse(DISP_E_UNKNOWNNAME, asked, "there is no such member");
  });
}

HRESULT Object::Arguments(const Member& member, WORD way, const DISPPARAMS& parameters,
                          std::vector<Variant>& into, UINT* wrong_argument) const {
  const std::string what = ModWide::ToUtf8(member.name);
  const std::size_t named = parameters.cNamedArgs;
  if (IsPut(way)) {
    if (named != 1 || parameters.rgdispidNamedArgs[0] != DISPID_PROPERTYPUT) {
      return Refuse(DISP_E_PARAMNOTFOUND, what, "a put does not say which argument is its value");
    }
  } else if (named != 0) {
    return Refuse(DISP_E_NONAMEDARGS, what, "arguments with names");
  }
  const std::size_t value = IsPut(way) ? 1 : 0;
  const std::size_t given = parameters.cArgs - value;
  const std::size_t most = member.takes.size();
  if (parameters.cArgs < value || given > most || given + member.optional < most) {
    return Refuse(DISP_E_BADPARAMCOUNT, what, "a wrong number of arguments");
  }
  for (UINT i = 0; i < parameters.cArgs; ++i) {
    into.push_back(Variant::CopyOf(parameters.rgvarg[parameters.cArgs - 1 - i]));
  }
  for (std::size_t i = 0; i < given; ++i) {
    const bool left_out = into[i].type() == VT_ERROR &&
                          V_ERROR(&into[i].get()) == DISP_E_PARAMNOTFOUND &&
                          i + member.optional >= most;
    if (left_out || Call::Fits(into[i], member.takes[i])) continue;
    if (wrong_argument != nullptr) *wrong_argument = static_cast<UINT>(parameters.cArgs - 1 - i);
    return Refuse(DISP_E_TYPEMISMATCH, what, "an argument of a wrong type");
  }
  return S_OK;
}

// As a line of the ledger's has it.
std::string Object::Described(const Variant& argument) const {
  if (argument.type() == VT_ERROR) return "-";
  if (Call::Fits(argument, Takes::kObject)) {
    const Result<ComPtr<IDispatch>> given = argument.ToObject();
    const Object* object = given.ok() ? ledger_.Find(given.value().get()) : nullptr;
    return object == nullptr ? "Nothing" : object->name();
  }
  const Result<std::string> text = argument.ToText();
  return text.ok() ? text.value() : "?";
}

STDMETHODIMP Object::Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* parameters,
                            VARIANT* result, EXCEPINFO* exception, UINT* wrong_argument) {
  return AtComEdge("Invoke", [&]() -> HRESULT {
    if (parameters == nullptr) return E_INVALIDARG;
    if (iid != IID_NULL) return Refuse(DISP_E_UNKNOWNINTERFACE, "Invoke", "an interface's name");
    const auto found = std::find_if(kind_.members.begin(), kind_.members.end(),
                                    [&](const Member& member) { return member.id == id; });
    const std::string what = found == kind_.members.end() ? "member " + std::to_string(id)
                                                          : ModWide::ToUtf8(found->name);
    if (const HRESULT admitted = Admit(what); FAILED(admitted)) return admitted;
    if (found == kind_.members.end()) {
      return Refuse(DISP_E_MEMBERNOTFOUND, what, "there is no such member");
    }
    // A read may be asked for together with a call, a put with nothing else.
    const WORD way = flags & found->ways;
    const WORD puts = flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF);
    if (way == 0 || (puts != 0 && puts != flags)) {
      return Refuse(DISP_E_MEMBERNOTFOUND, what, "called as what it is not");
    }
    std::vector<Variant> arguments;
    const HRESULT fitting = Arguments(*found, way, *parameters, arguments, wrong_argument);
    if (FAILED(fitting)) return fitting;
    for (const Variant& argument : arguments) ledger_.AddToCall(" " + Described(argument));
    if (result != nullptr) VariantInit(result);
    Call call(ledger_, way, std::move(arguments), result, exception, wrong_argument);
    const HRESULT done = found->handler(*this, call);
    return done == DISP_E_TYPEMISMATCH ? Refuse(done, what, "a value of a wrong type") : done;
  });
}

STDMETHODIMP Object::FindConnectionPoint(REFIID iid, IConnectionPoint** out) {
  return AtComEdge("FindConnectionPoint", [&]() -> HRESULT {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (const HRESULT admitted = Admit("FindConnectionPoint"); FAILED(admitted)) return admitted;
    for (const auto& point : points_) {
      if (point->events() == iid) {
        return point->QueryInterface(IID_IConnectionPoint, reinterpret_cast<void**>(out));
      }
    }
    return Refuse(CONNECT_E_NOCONNECTION, "FindConnectionPoint", "no such events");
  });
}

}  // namespace vespro::standin
