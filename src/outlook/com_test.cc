#include "outlook/com_object.h"

#include <gtest/gtest.h>
#include <olectl.h>

#include <cwchar>
#include <functional>
#include <map>
#include <stdexcept>
#include <vector>

#include "base/win32/wide.h"
#include "outlook/com_edge.h"
#include "outlook/com_ptr.h"
#include "outlook/dispatch.h"
#include "outlook/event_sink.h"
#include "outlook/variant.h"

namespace vespro {
namespace {

constexpr IID kEvents = {0x1b3c5d7e, 0x0102, 0x4304, {0x85, 6, 7, 8, 9, 10, 11, 12}};
constexpr IID kOtherEvents = {0x1b3c5d7f, 0x0102, 0x4304, {0x85, 6, 7, 8, 9, 10, 11, 12}};

std::uint32_t Native(HRESULT result) { return static_cast<std::uint32_t>(result); }

// An object with one member, "Thing", of number 7, that records how it was called.
class Recorder final : public ComObject<IDispatch> {
 public:
  explicit Recorder(ModuleUse& use) : ComObject(use) {}

  std::function<HRESULT(VARIANT* result, EXCEPINFO* exception)> answer;
  int lookups = 0;
  WORD flags = 0;
  std::vector<Variant> arguments;  // as they came: the last one first
  std::vector<DISPID> named;
  bool wants_result = false;

  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* id) override {
    ++lookups;
    *id = std::wcscmp(names[0], L"Thing") == 0 ? 7 : DISPID_UNKNOWN;
    return *id == 7 ? S_OK : DISP_E_UNKNOWNNAME;
  }
  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD wflags, DISPPARAMS* parameters, VARIANT* result,
                      EXCEPINFO* exception, UINT*) override {
    if (id != 7) return DISP_E_MEMBERNOTFOUND;
    flags = wflags;
    arguments.clear();
    for (UINT i = 0; i < parameters->cArgs; ++i) {
      arguments.push_back(Variant::CopyOf(parameters->rgvarg[i]));
    }
    named.assign(parameters->rgdispidNamedArgs,
                 parameters->rgdispidNamedArgs + parameters->cNamedArgs);
    wants_result = result != nullptr;
    return answer ? answer(result, exception) : S_OK;
  }

 private:
  ~Recorder() override = default;
};

class ComTest : public testing::Test {
 protected:
  ~ComTest() override { EXPECT_EQ(use_.count(), 0) << "objects are still alive"; }
  Dispatch Wrap(const ComPtr<Recorder>& object, ObjectKind kind = ObjectKind::kExplorer) {
    return Dispatch(ComPtr<IDispatch>(object.get()), kind, ids_);
  }
  // The object answers each call with this value.
  Dispatch Giving(Variant value) {
    auto object = MakeComObject<Recorder>(use_);
    auto kept = std::make_shared<Variant>(std::move(value));
    object->answer = [kept](VARIANT* result, EXCEPINFO*) {
      return VariantCopy(result, const_cast<VARIANT*>(&kept->get()));
    };
    return Wrap(object);
  }

  ModuleUse use_;
  HostContext context_{use_};
  std::shared_ptr<MemberIds> ids_ = std::make_shared<MemberIds>();
};

// Two interfaces, one of them with a second name.
class TwoFaces final : public ComObject<IDispatch, IClassFactory> {
 public:
  explicit TwoFaces(ModuleUse& use) : ComObject(use) {}
  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP CreateInstance(IUnknown*, REFIID, void**) override { return E_NOTIMPL; }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  ~TwoFaces() override = default;
  bool AlsoAnswers(REFIID iid) const override { return iid == kEvents; }
};

TEST_F(ComTest, AnObjectHasOneIdentityAndGoesWithItsLastReference) {
  auto object = MakeComObject<TwoFaces>(use_);
  const ComPtr<IDispatch> dispatch(object.get());
  auto factory = dispatch.As<IClassFactory>(IID_IClassFactory);
  ASSERT_TRUE(factory);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK) << "the right table of functions";
  EXPECT_EQ(factory.As<IUnknown>(IID_IUnknown).get(), dispatch.As<IUnknown>(IID_IUnknown).get());
  EXPECT_EQ(factory.As<IDispatch>(kEvents).get(), dispatch.get());
  void* out = &out;
  EXPECT_EQ(object->QueryInterface(kOtherEvents, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(object->AddRef(), 4u);
  EXPECT_EQ(object->Release(), 3u);
  object.Reset();
  factory = nullptr;
  EXPECT_EQ(use_.count(), 1);
}

TEST_F(ComTest, NothingEscapesAnEntry) {
  const auto edge = [](auto work) { return AtComEdge("a test", work); };
  EXPECT_EQ(edge([]() -> HRESULT { throw std::bad_alloc(); }), E_OUTOFMEMORY);
  EXPECT_EQ(edge([]() -> HRESULT { throw std::runtime_error("no"); }), E_UNEXPECTED);
  EXPECT_EQ(edge([]() -> HRESULT { throw 7; }), E_UNEXPECTED);
  EXPECT_EQ(edge([] { return S_FALSE; }), S_FALSE);
}

TEST_F(ComTest, TextKeepsEveryCharacter) {
  using namespace std::string_view_literals;
  for (const std::string_view text : {""sv, "plain"sv, "Gr\u00fc\u00dfe \U0001F4E7"sv, "a\0b"sv}) {
    const Bstr bstr(text);
    EXPECT_NE(bstr.get(), nullptr);
    EXPECT_EQ(bstr.ToText(), text);
    EXPECT_EQ(Variant(text).ToText().value(), text);
  }
  EXPECT_EQ(TextOf(nullptr), "");
  const wchar_t half[] = {L'a', 0xD800, L'b', 0};
  Bstr lone;
  *lone.Out() = SysAllocString(half);
  EXPECT_EQ(lone.ToText(), "a\uFFFDb");
}

TEST_F(ComTest, ValuesAreConvertedAndWrongOnesRefused) {
  Variant small;
  V_VT(small.Out()) = VT_I2;
  V_I2(&const_cast<VARIANT&>(small.get())) = 43;
  EXPECT_EQ(small.ToInt().value(), 43);
  EXPECT_EQ(small.ToText().value(), "43");
  EXPECT_EQ(Variant("12").ToInt().value(), 12);
  EXPECT_EQ(Variant().ToText().value(), "");
  EXPECT_TRUE(Variant(true).ToBool().value());
  EXPECT_EQ(Variant(true).ToInt().value(), -1);
  EXPECT_FALSE(Variant(0).ToBool().value());

  const auto object = MakeComObject<Recorder>(use_);
  int asked = 0;
  object->answer = [&](VARIANT*, EXCEPINFO*) { return ++asked, S_OK; };
  const auto refused = [](const auto& result) {
    return !result.ok() && result.status().code() == Code::kBadInput &&
           FAILED(static_cast<HRESULT>(result.status().native()));
  };
  EXPECT_TRUE(refused(Variant(object.get()).ToInt()));
  EXPECT_TRUE(refused(Variant(object.get()).ToText()));
  EXPECT_EQ(asked, 0) << "an object's default property is none of our business";
  EXPECT_TRUE(refused(Variant(static_cast<IDispatch*>(nullptr)).ToInt()));
  EXPECT_TRUE(refused(Variant("many").ToInt()));
  EXPECT_TRUE(refused(Variant().ToInt()));
  EXPECT_TRUE(refused(Variant().ToBool()));
  EXPECT_TRUE(refused(Variant::Missing().ToText()));
  EXPECT_TRUE(refused(Variant(7).ToObject()));
  EXPECT_TRUE(refused(Variant().ToObject()));
}

TEST_F(ComTest, ObjectsComeInTwoWaysAndMayBeNothing) {
  const auto object = MakeComObject<Recorder>(use_);
  EXPECT_EQ(Variant(object.get()).ToObject().value().get(), object.get());
  Variant unknown;
  VARIANT* value = unknown.Out();
  V_VT(value) = VT_UNKNOWN;
  V_UNKNOWN(value) = ComPtr<IUnknown>(object.get()).Detach();
  EXPECT_EQ(unknown.ToObject().value().get(), object.get());

  EXPECT_EQ(Giving(Variant(object.get())).Object(L"Thing", ObjectKind::kAny).value().get(),
            object.get());
  const auto nothing =
      Giving(Variant(static_cast<IDispatch*>(nullptr))).Object(L"Thing", ObjectKind::kAny);
  EXPECT_EQ(nothing.status().code(), Code::kNotFound);
  EXPECT_EQ(nothing.status().text(), "Outlook's Explorer.Thing is nothing");
  const auto wrong = Giving(Variant(5)).Object(L"Thing", ObjectKind::kAny);
  EXPECT_EQ(wrong.status().code(), Code::kBadInput);
  EXPECT_EQ(wrong.status().text(), "Outlook's Explorer.Thing is something else than an object");
}

TEST_F(ComTest, CallsPassArgumentsTheWayOfficeTakesThem) {
  const auto object = MakeComObject<Recorder>(use_);
  const Dispatch wrapped = Wrap(object);
  ASSERT_TRUE(wrapped.Do(L"Thing", {10, Variant::Missing(), "tag", true}).ok());
  EXPECT_EQ(object->flags, DISPATCH_METHOD | DISPATCH_PROPERTYGET);
  EXPECT_TRUE(object->wants_result);
  ASSERT_EQ(object->arguments.size(), 4u);
  EXPECT_EQ(V_BOOL(&object->arguments[0].get()), VARIANT_TRUE);
  EXPECT_EQ(object->arguments[1].ToText().value(), "tag");
  EXPECT_EQ(object->arguments[2].type(), VT_ERROR);
  EXPECT_EQ(V_ERROR(&object->arguments[2].get()), DISP_E_PARAMNOTFOUND);
  EXPECT_EQ(V_I4(&object->arguments[3].get()), 10);
  EXPECT_TRUE(object->named.empty());

  ASSERT_TRUE(wrapped.Put(L"Thing", "new").ok());
  EXPECT_EQ(object->flags, DISPATCH_PROPERTYPUT);
  EXPECT_FALSE(object->wants_result);
  ASSERT_EQ(object->arguments.size(), 1u);
  EXPECT_EQ(object->arguments[0].ToText().value(), "new");
  EXPECT_EQ(object->named, std::vector<DISPID>{DISPID_PROPERTYPUT});
}

TEST_F(ComTest, AMemberIsLookedUpOnceForAKindOfObject) {
  const auto one = MakeComObject<Recorder>(use_);
  const auto other = MakeComObject<Recorder>(use_);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(Wrap(one).Do(L"Thing").ok());
    EXPECT_TRUE(Wrap(other).Put(L"Thing", 1).ok());
  }
  EXPECT_EQ(one->lookups + other->lookups, 1);
  EXPECT_TRUE(Wrap(other, ObjectKind::kInspector).Do(L"Thing").ok());
  EXPECT_EQ(other->lookups, 1) << "the same number means something else there";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Wrap(other).Do(L"Nothing").native(), Native(DISP_E_UNKNOWNNAME));
    EXPECT_TRUE(Wrap(other, ObjectKind::kAny).Do(L"Thing").ok());
  }
  EXPECT_EQ(other->lookups, 5) << "a missing member may come, and what kAny is changes";
}

HRESULT STDMETHODCALLTYPE FillIn(EXCEPINFO* exception) {
  exception->bstrDescription = Bstr("filled in\r\nlater").Detach();
  exception->scode = E_ACCESSDENIED;
  return S_OK;
}

TEST_F(ComTest, FailuresSayWhatTheObjectSaid) {
  const auto object = MakeComObject<Recorder>(use_);
  const Dispatch wrapped = Wrap(object);
  const auto failing = [&](auto answer) {
    object->answer = answer;
    return wrapped.Do(L"Thing");
  };
  const Status plain = failing([](VARIANT* result, EXCEPINFO*) {
    V_VT(result) = VT_DISPATCH;  // some objects leave that behind
    V_DISPATCH(result) = nullptr;
    return DISP_E_BADPARAMCOUNT;
  });
  EXPECT_EQ(plain.native(), Native(DISP_E_BADPARAMCOUNT));
  EXPECT_EQ(plain.text(), "Outlook's Explorer.Thing failed with 0x8002000e");
  const Status described = failing([](VARIANT*, EXCEPINFO* exception) {
    exception->scode = E_FAIL;
    exception->bstrDescription = Bstr("The item has gone.").Detach();
    exception->bstrSource = Bstr("Outlook").Detach();
    return DISP_E_EXCEPTION;
  });
  EXPECT_EQ(described.code(), Code::kUnavailable);
  EXPECT_EQ(described.native(), Native(E_FAIL));
  EXPECT_EQ(described.text(),
            "Outlook's Explorer.Thing failed with 0x80004005: The item has gone.");
  const Status basic = failing([](VARIANT*, EXCEPINFO* exception) {
    exception->wCode = 5;
    return DISP_E_EXCEPTION;
  });
  EXPECT_EQ(basic.native(), 0x800A0005u);
  const Status later = failing([](VARIANT*, EXCEPINFO* exception) {
    exception->pfnDeferredFillIn = FillIn;
    return DISP_E_EXCEPTION;
  });
  EXPECT_EQ(later.native(), Native(E_ACCESSDENIED));
  EXPECT_NE(later.text().find("filled in??later"), std::string::npos) << later.text();
  EXPECT_EQ(failing([](VARIANT*, EXCEPINFO*) { return DISP_E_EXCEPTION; }).native(),
            Native(DISP_E_EXCEPTION));
  EXPECT_EQ(Dispatch().Do(L"Thing").code(), Code::kUnavailable);
}

TEST_F(ComTest, ACallMayEndTheOneWhoCalls) {
  auto object = MakeComObject<Recorder>(use_);
  auto wrapped = std::make_unique<Dispatch>(Wrap(object));
  object->answer = [&](VARIANT*, EXCEPINFO*) {
    wrapped.reset();
    return E_FAIL;
  };
  object.Reset();
  EXPECT_EQ(wrapped->Object(L"Thing", ObjectKind::kAny).status().native(), Native(E_FAIL));
}

// A source of kEvents. Strict: it asks the sink for them.
class Source final : public ComObject<IConnectionPointContainer, IConnectionPoint> {
 public:
  explicit Source(ModuleUse& use) : ComObject(use) {}

  std::map<DWORD, ComPtr<IDispatch>> sinks;
  int unadvised = 0;
  std::function<void()> on_unadvise;

  void Raise(DISPID id, std::vector<VARIANT> reversed = {}) {
    DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
    const auto all = sinks;
    for (const auto& [cookie, sink] : all) {
      last_result = sink->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters,
                                 nullptr, nullptr, nullptr);
    }
  }
  HRESULT last_result = S_OK;

  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
  STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** point) override {
    if (iid != kEvents) return CONNECT_E_NOCONNECTION;
    *point = ComPtr<IConnectionPoint>(this).Detach();
    return S_OK;
  }
  STDMETHODIMP GetConnectionInterface(IID*) override { return E_NOTIMPL; }
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer**) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) override {
    const auto events = ComPtr<IUnknown>(sink).As<IDispatch>(kEvents);
    if (!events) return CONNECT_E_CANNOTCONNECT;
    *cookie = ++last_cookie_;
    sinks[*cookie] = events;
    return S_OK;
  }
  STDMETHODIMP Unadvise(DWORD cookie) override {
    ++unadvised;
    if (on_unadvise) on_unadvise();
    return sinks.erase(cookie) == 1 ? S_OK : CONNECT_E_NOCONNECTION;
  }
  STDMETHODIMP EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  ~Source() override = default;
  DWORD last_cookie_ = 40;
};

struct Receiver final : EventReceiver {
  std::vector<DISPID> seen;
  std::vector<IDispatch*> first;
  std::function<void()> then;
  void OnEvent(DISPID id, const DISPPARAMS& arguments) override {
    seen.push_back(id);
    first.push_back(ObjectArgument(arguments, 0).get());
    if (const auto next = then) next();
  }
};

IUnknown* Unknown(const ComPtr<Source>& source) {
  return static_cast<IConnectionPointContainer*>(source.get());
}

TEST_F(ComTest, EventsArriveUntilTheyAreEnded) {
  const auto source = MakeComObject<Source>(use_);
  Receiver receiver;
  EventConnection connection;
  ASSERT_TRUE(connection.Connect(Unknown(source), kEvents, receiver, context_).ok());
  const auto object = MakeComObject<Recorder>(use_);
  VARIANT cancel;
  VARIANT_BOOL cancelled = VARIANT_FALSE;
  V_VT(&cancel) = VT_BOOL | VT_BYREF;
  V_BOOLREF(&cancel) = &cancelled;
  Variant given(object.get());
  VARIANT reference;
  V_VT(&reference) = VT_VARIANT | VT_BYREF;
  V_VARIANTREF(&reference) = const_cast<VARIANT*>(&given.get());
  source->Raise(1, {cancel, given.get()});
  source->Raise(2, {cancel, reference});
  source->Raise(3);
  EXPECT_EQ(receiver.seen, (std::vector<DISPID>{1, 2, 3}));
  EXPECT_EQ(receiver.first, (std::vector<IDispatch*>{object.get(), object.get(), nullptr}));

  connection.Disconnect();
  connection.Disconnect();
  source->Raise(4);
  EXPECT_EQ(receiver.seen.size(), 3u);
  EXPECT_EQ(source->unadvised, 1);
  EXPECT_TRUE(source->sinks.empty());
}

TEST_F(ComTest, ALateEventReachesNobody) {
  const auto source = MakeComObject<Source>(use_);
  Receiver receiver;
  EventConnection connection;
  ASSERT_TRUE(connection.Connect(Unknown(source), kEvents, receiver, context_).ok());
  source->on_unadvise = [&] {
    source->Raise(9);         // on its way already
    connection.Disconnect();  // and somebody cleans up because of it
  };
  connection.Disconnect();
  EXPECT_TRUE(receiver.seen.empty());
  EXPECT_EQ(source->unadvised, 1);
}

TEST_F(ComTest, AnEventMayDestroyItsReceiver) {
  const auto source = MakeComObject<Source>(use_);
  struct Owner {
    Receiver receiver;
    EventConnection connection;
  };
  auto owner = std::make_unique<Owner>();
  auto state = std::make_shared<int>(1);
  const std::weak_ptr<int> watched = state;
  context_.kept_by_handlers = state;
  ASSERT_TRUE(owner->connection.Connect(Unknown(source), kEvents, owner->receiver, context_).ok());
  owner->receiver.then = [&] {
    owner.reset();
    state.reset();
    EXPECT_FALSE(watched.expired()) << "the handler's own state";
  };
  source->Raise(1);
  EXPECT_EQ(owner, nullptr);
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(source->last_result, S_OK);
}

TEST_F(ComTest, AFaultInAHandlerStaysThere) {
  const auto source = MakeComObject<Source>(use_);
  Receiver receiver;
  receiver.then = [] { throw std::runtime_error("no"); };
  EventConnection connection;
  ASSERT_TRUE(connection.Connect(Unknown(source), kEvents, receiver, context_).ok());
  source->Raise(1);
  EXPECT_EQ(source->last_result, E_UNEXPECTED);
  EXPECT_EQ(source->sinks.begin()->second->Invoke(5, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr,
                                                  nullptr, nullptr),
            E_UNEXPECTED);
  EXPECT_EQ(receiver.seen.size(), 2u) << "no arguments at all are no crash";
}

TEST_F(ComTest, ASourceWithoutTheEventsIsAFailure) {
  Receiver receiver;
  EventConnection connection;
  const auto source = MakeComObject<Source>(use_);
  EXPECT_EQ(connection.Connect(Unknown(source), kOtherEvents, receiver, context_).native(),
            Native(CONNECT_E_NOCONNECTION));
  const auto plain = MakeComObject<Recorder>(use_);
  EXPECT_EQ(connection.Connect(plain.get(), kEvents, receiver, context_).native(),
            Native(E_NOINTERFACE));
  EXPECT_EQ(connection.Connect(nullptr, kEvents, receiver, context_).native(),
            Native(E_NOINTERFACE));
  EXPECT_FALSE(connection.connected());
}

}  // namespace
}  // namespace vespro
