// The stand-in itself: that it refuses what Outlook refuses, tells what Outlook tells, and sees
// what an add-in does wrong. A stand-in that lets things pass proves nothing about an add-in.
#include "outlook/client.h"

#include <gtest/gtest.h>

#include <set>

#include "outlook/dispatch.h"
#include "outlook/event_sink.h"
#include "outlook/host_context.h"

namespace vespro::standin {
namespace {

constexpr IID Outlook(unsigned long number) {
  return {number, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
}
constexpr IID kInspectorEvents = Outlook(0x0006307D);
constexpr IID kButtonEvents = Outlook(0x000C0351);
constexpr IID kExplorerEvents = Outlook(0x0006304F);

class Heard final : public EventReceiver {
 public:
  explicit Heard(std::function<void(DISPID, const DISPPARAMS&)> handler = {})
      : handler_(std::move(handler)) {}
  void OnEvent(DISPID id, const DISPPARAMS& arguments) override {
    ids.push_back(id);
    counts.push_back(arguments.cArgs);
    if (handler_) handler_(id, arguments);
  }
  std::vector<DISPID> ids;
  std::vector<UINT> counts;

 private:
  std::function<void(DISPID, const DISPPARAMS&)> handler_;
};

class ClientTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
  static void TearDownTestSuite() { CoUninitialize(); }

  Dispatch Of(Object& object) {
    return Dispatch(ComPtr<IDispatch>(object.dispatch()), ObjectKind::kAny, ids);
  }
  Dispatch Get(const Dispatch& object, const wchar_t* name, Dispatch::Arguments arguments = {}) {
    Result<Dispatch> got = object.Object(name, ObjectKind::kAny, arguments);
    EXPECT_TRUE(got.ok()) << got.status().text();
    return got.ok() ? got.value() : Dispatch();
  }
  Dispatch StandardBar(std::string_view window) {
    return Get(Get(Of(*client.Find(window)), L"CommandBars"), L"Item", {"Standard"});
  }
  Dispatch AddButton(std::string_view window, const char* caption) {
    const Dispatch controls = Get(StandardBar(window), L"Controls");
    const Dispatch button = Get(
        controls, L"Add", {1, Variant::Missing(), Variant::Missing(), Variant::Missing(), true});
    EXPECT_TRUE(button.Put(L"Caption", caption).ok());
    EXPECT_TRUE(button.Put(L"Tag", caption).ok());
    return button;
  }
  // A call as it comes from outside, without the help of Dispatch.
  HRESULT Raw(Object& object, DISPID id, WORD flags, std::vector<VARIANT> reversed,
              bool names_value) {
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), names_value ? &put : nullptr,
                          static_cast<UINT>(reversed.size()), names_value ? 1U : 0U};
    Variant result;
    const ComPtr<IDispatch> held(object.dispatch());
    return held->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, result.Out(),
                        nullptr, nullptr);
  }

  Client client;
  ModuleUse use;
  HostContext context{use};
  std::shared_ptr<MemberIds> ids = std::make_shared<MemberIds>();
};

TEST_F(ClientTest, RefusesWhatOutlookRefuses) {
  ASSERT_TRUE(client.OpenItem("A", {}).ok());
  Object& application = client.application();
  Object& item = static_cast<Inspector*>(client.Find("A"))->item;
  Bar& bar = *client.Find("A")->bars().Find("Standard");
  Control& button = *bar.list.front();
  const Variant text("x"), number(7), missing = Variant::Missing(), truth(true);
  constexpr WORD kCallOrGet = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
  const struct {
    const char* why;
    Object& object;
    DISPID id;
    WORD flags;
    std::vector<VARIANT> reversed;
    bool names_value;
    HRESULT wanted;
  } rows[] = {
      {"a property read", application, 278, DISPATCH_PROPERTYGET, {}, false, S_OK},
      {"a method, asked for as either", application, 273, kCallOrGet, {}, false, S_OK},
      {"a property is no method",
       application,
       278,
       DISPATCH_METHOD,
       {},
       false,
       DISP_E_MEMBERNOTFOUND},
      {"a method is no property",
       application,
       273,
       DISPATCH_PROPERTYGET,
       {},
       false,
       DISP_E_MEMBERNOTFOUND},
      {"an unknown number", application, 99, kCallOrGet, {}, false, DISP_E_MEMBERNOTFOUND},
      {"the number of another object's member",
       application,
       8448,
       kCallOrGet,
       {},
       false,
       DISP_E_MEMBERNOTFOUND},
      {"an argument too many",
       application,
       278,
       kCallOrGet,
       {number.get()},
       false,
       DISP_E_BADPARAMCOUNT},
      {"an argument too few", application, 266, kCallOrGet, {}, false, DISP_E_BADPARAMCOUNT},
      {"an argument that can't be left out",
       application,
       266,
       kCallOrGet,
       {missing.get()},
       false,
       DISP_E_TYPEMISMATCH},
      {"a text for a number",
       application,
       266,
       kCallOrGet,
       {text.get()},
       false,
       DISP_E_TYPEMISMATCH},
      {"a put that says so", item, 55, DISPATCH_PROPERTYPUT, {text.get()}, true, S_OK},
      {"a put that does not name its value",
       item,
       55,
       DISPATCH_PROPERTYPUT,
       {text.get()},
       false,
       DISP_E_PARAMNOTFOUND},
      {"a put of a wrong type",
       item,
       55,
       DISPATCH_PROPERTYPUT,
       {number.get()},
       true,
       DISP_E_TYPEMISMATCH},
      {"a put of what can only be read",
       item,
       61450,
       DISPATCH_PROPERTYPUT,
       {number.get()},
       true,
       DISP_E_MEMBERNOTFOUND},
      {"a reference is put by reference",
       item,
       62465,
       DISPATCH_PROPERTYPUT,
       {number.get()},
       true,
       DISP_E_MEMBERNOTFOUND},
      {"a number for yes or no",
       button,
       0x6004000A,
       DISPATCH_PROPERTYPUT,
       {number.get()},
       true,
       DISP_E_TYPEMISMATCH},
      {"yes or no", button, 0x6004000A, DISPATCH_PROPERTYPUT, {truth.get()}, true, S_OK},
      {"FindControl by a tag that is a number",
       bar,
       0x60040007,
       kCallOrGet,
       {number.get(), missing.get(), missing.get()},
       false,
       DISP_E_TYPEMISMATCH},
      {"no such bar",
       client.Find("A")->bars(),
       0,
       kCallOrGet,
       {text.get()},
       false,
       DISP_E_EXCEPTION},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    client.ledger.TakeRefusals();
    EXPECT_EQ(Raw(row.object, row.id, row.flags, row.reversed, row.names_value), row.wanted);
    EXPECT_EQ(client.ledger.refusals().size(),
              FAILED(row.wanted) && row.wanted != DISP_E_EXCEPTION ? 1U : 0U);
  }
  wchar_t unknown[] = L"NoSuchThing";
  wchar_t known[] = L"vErSiOn";
  LPOLESTR name = unknown;
  DISPID id = 0;
  const ComPtr<IDispatch> held(application.dispatch());
  EXPECT_EQ(held->GetIDsOfNames(IID_NULL, &name, 1, 0, &id), DISP_E_UNKNOWNNAME);
  EXPECT_EQ(id, DISPID_UNKNOWN);
  name = known;
  EXPECT_EQ(held->GetIDsOfNames(IID_NULL, &name, 1, 0, &id), S_OK);
  EXPECT_EQ(id, 278);
}

TEST_F(ClientTest, GivesValuesInAllTheirForms) {
  ASSERT_TRUE(client.OpenItem("A", {}).ok());
  const Dispatch item = Get(Of(*client.Find("A")), L"CurrentItem");
  std::set<VARTYPE> numbers, objects;
  bool null_text = false;
  for (int i = 0; i < 30; ++i) {
    numbers.insert(item.Call(L"Class").value().type());
    objects.insert(item.Call(L"Attachments").value().type());
    const Result<Variant> subject = item.Call(L"Subject");
    null_text = null_text || V_BSTR(&subject.value().get()) == nullptr;
  }
  EXPECT_EQ(numbers, (std::set<VARTYPE>{VT_I4, VT_INT, VT_I2}));
  EXPECT_EQ(objects, (std::set<VARTYPE>{VT_DISPATCH, VT_UNKNOWN}));
  EXPECT_TRUE(null_text);
}

TEST_F(ClientTest, AClickReachesAllSinksWithTheTag) {
  ASSERT_TRUE(client.OpenItem("A", {}).ok());
  ASSERT_TRUE(client.OpenItem("B", {}).ok());
  const Dispatch in_a = AddButton("A", "Send it"), in_b = AddButton("B", "Send it");
  const Dispatch other = AddButton("B", "Something else");
  Heard heard_a, heard_b, heard_other;
  EventConnection a, b, c;
  ASSERT_TRUE(a.Connect(in_a.get(), kButtonEvents, heard_a, context).ok());
  ASSERT_TRUE(b.Connect(in_b.get(), kButtonEvents, heard_b, context).ok());
  ASSERT_TRUE(c.Connect(other.get(), kButtonEvents, heard_other, context).ok());
  // No button has these.
  EXPECT_FALSE(c.Connect(other.get(), kInspectorEvents, heard_other, context).ok());
  ASSERT_TRUE(c.Connect(other.get(), kButtonEvents, heard_other, context).ok());

  EXPECT_TRUE(client.Command("Send it").ok());
  EXPECT_EQ(heard_a.ids, std::vector<DISPID>{1});
  EXPECT_EQ(heard_b.counts, std::vector<UINT>{2});
  EXPECT_TRUE(heard_other.ids.empty());

  EXPECT_TRUE(in_a.Do(L"Delete").ok());
  EXPECT_TRUE(client.Command("Send it").ok());
  EXPECT_EQ(heard_a.ids.size(), 1U) << "a control that was deleted is not clicked";
  EXPECT_EQ(heard_b.ids.size(), 2U);
  EXPECT_TRUE(in_b.Put(L"Visible", false).ok());
  EXPECT_FALSE(client.Command("Send it").ok()) << "nobody can click what is hidden";
}

// As a Send command does it: the window goes below the handler that closes the mail.
TEST_F(ClientTest, ClosingAMailTellsItAndTakesItsWindow) {
  ASSERT_TRUE(client.OpenItem("A", {}).ok());
  ASSERT_TRUE(client.OpenItem("B", {}).ok());
  const Dispatch inspector = Of(*client.Find("B"));
  const Dispatch item = Get(inspector, L"CurrentItem");
  const Dispatch button = AddButton("B", "Send it");
  bool open_while_told = false;
  Heard windows([&](DISPID id, const DISPPARAMS&) {
    if (id == 0xF008) open_while_told = button.Put(L"Visible", false).ok();
  });
  Heard clicks([&](DISPID, const DISPPARAMS&) {
    EXPECT_FALSE(item.Do(L"Move", {Get(item, L"SaveSentMessageFolder").get()}).ok());
    EXPECT_TRUE(item.Do(L"Close", {0}).ok());
    EXPECT_EQ(Get(Of(client.application()), L"ActiveInspector").get(),
              client.Find("A")->dispatch());
    EXPECT_TRUE(item.Do(L"Move", {Get(item, L"SaveSentMessageFolder").get()}).ok());
  });
  EventConnection a, b;
  ASSERT_TRUE(a.Connect(inspector.get(), kInspectorEvents, windows, context).ok());
  ASSERT_TRUE(b.Connect(button.get(), kButtonEvents, clicks, context).ok());
  ASSERT_TRUE(button.Put(L"Visible", true).ok());
  ASSERT_TRUE(client.Command("Send it").ok());
  EXPECT_EQ(windows.ids, (std::vector<DISPID>{0xF008}));
  EXPECT_TRUE(open_while_told) << "the bars are there until the close was told";
  EXPECT_EQ(client.Find("B"), nullptr);
  ASSERT_EQ(client.sent().size(), 1U);
  EXPECT_EQ(client.sent()[0].folder, "Sent Items");

  EXPECT_TRUE(client.ledger.faults().empty());
  EXPECT_TRUE(client.ledger.gone().empty());
  EXPECT_FALSE(button.Put(L"Visible", true).ok());
  EXPECT_EQ(client.ledger.gone(), std::vector<std::string>{"CommandBarButton.Visible"});
}

TEST_F(ClientTest, SeesWhatIsHeldAndGivenBackTooOften) {
  Heard heard;
  EventConnection events;
  {
    const Dispatch explorer = Get(Of(client.application()), L"ActiveExplorer");
    ASSERT_TRUE(events.Connect(explorer.get(), kExplorerEvents, heard, context).ok());
  }
  EXPECT_EQ(client.ledger.Held(),
            (std::vector<std::string>{"Explorer: 1 reference",
                                      "Explorer: 1 references to a connection point",
                                      "Explorer: 1 sinks"}));
  EXPECT_TRUE(client.SwitchFolder(1).ok());
  EXPECT_TRUE(client.SwitchFolder({}).ok());
  EXPECT_EQ(heard.counts, (std::vector<UINT>{2, 2}));
  events.Disconnect();
  EXPECT_TRUE(client.ledger.Held().empty());

  client.application().Release();
  const Dispatch late = Of(client.application());
  client.ledger.CloseForAddIn();
  EXPECT_TRUE(late.Text(L"Version").ok());
  EXPECT_EQ(client.ledger.faults(),
            (std::vector<std::string>{"Application: released too often",
                                      "Application.Version: after the add-in was disconnected",
                                      "Application.Version: after the add-in was disconnected"}))
      << "once for the name, once for the call";
}

TEST_F(ClientTest, OneCallFailsOnce) {
  const Dispatch application = Of(client.application());
  EXPECT_TRUE(application.Text(L"Version").ok());
  client.ledger.FailCall(client.ledger.calls() + 2);  // the name, then the call
  EXPECT_FALSE(application.Text(L"Version").ok());
  EXPECT_EQ(client.ledger.failed_call(), "Application.Version");
  EXPECT_TRUE(application.Text(L"Version").ok());

  client.ledger.FailCall("Application.Version", 2);
  EXPECT_TRUE(application.Text(L"Version").ok());
  EXPECT_FALSE(application.Text(L"Version").ok());
  EXPECT_TRUE(application.Text(L"Version").ok());
}

TEST_F(ClientTest, PasteFaceWantsAPicture) {
  ASSERT_TRUE(client.OpenItem("A", {}).ok());
  const Dispatch button = AddButton("A", "Face");
  ASSERT_TRUE(OpenClipboard(nullptr));
  EmptyClipboard();
  CloseClipboard();
  EXPECT_FALSE(button.Do(L"PasteFace").ok());
  const HDC screen = GetDC(nullptr);
  const HBITMAP picture = CreateCompatibleBitmap(screen, 16, 16);
  ReleaseDC(nullptr, screen);
  ASSERT_TRUE(OpenClipboard(nullptr));
  EmptyClipboard();
  SetClipboardData(CF_BITMAP, picture);
  CloseClipboard();
  EXPECT_TRUE(button.Do(L"PasteFace").ok());
  EXPECT_EQ(client.Find("A")->bars().Find("Standard")->list.back()->face_looks, "16x16");
}

TEST_F(ClientTest, PlaysLaterVersions) {
  Client later("16.0.0.4266");
  ASSERT_TRUE(later.OpenItem("A", {kMailClass, 2, false, true}).ok());
  const Dispatch inspector = Of(*later.Find("A"));
  EXPECT_EQ(inspector.Int(L"EditorType").value(), 4);
  EXPECT_TRUE(inspector.Bool(L"IsWordMail").value());
}

}  // namespace
}  // namespace vespro::standin
