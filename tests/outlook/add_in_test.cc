// The add-in's DLL in Outlook: connected, used and let go as Outlook does it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>

#include "base/files.h"
#include "base/win32/wide.h"
#include "outlook/client.h"
#include "outlook/installed.h"
#include "outlook/loading.h"
#include "outlook/outlook_driver.h"

namespace vespro::standin {
namespace {

// Outlook with the add-in in it, on a thread of its own.
class AddInTest : public testing::Test {
 protected:
  AddInTest() : installed_("add-in") {}
  ~AddInTest() override {
    driver_.End();
    driver_.Do([&] {
      loaded_ = nullptr;
      client_ = nullptr;
    });
  }

  void SetUp() override { ASSERT_TRUE(installed_.status().ok()) << installed_.status().text(); }

  void StartOutlook(const std::string& version = "10.0.0.2627", bool bare = false) {
    driver_.Do([&] { client_ = std::make_unique<Client>(version, bare); });
  }
  HRESULT Connect(const Custom& custom = {}) {
    if (client_ == nullptr) StartOutlook();
    HRESULT result = E_PENDING;
    driver_.Do([&, custom] {
      const std::vector<ListedAddIn> listed = ListedAddIns();
      if (listed.size() != 1) return;
      Result<std::unique_ptr<LoadedAddIn>> loaded = LoadedAddIn::Load(listed[0]);
      if (!loaded.ok()) return;
      loaded_ = std::move(loaded).value();
      result = loaded_->Connect(*client_, custom);
    });
    return result;
  }
  // As at Outlook's end; what is wrong then.
  void DisconnectCleanly() {
    bool unloaded = false;
    driver_.Do([&] {
      loaded_->Disconnect(*client_);
      unloaded = loaded_->Unload();
    });
    EXPECT_EQ(client_->ledger.Held(), std::vector<std::string>());
    EXPECT_EQ(client_->ledger.faults(), std::vector<std::string>());
    EXPECT_EQ(client_->ledger.gone(), std::vector<std::string>());
    EXPECT_EQ(client_->ledger.refusals(), std::vector<std::string>());
    EXPECT_TRUE(unloaded);
  }
  // A person's action in Outlook; ok where it leads to a dialog.
  Status Do(std::function<Status()> action) {
    // With a dialog open it goes on after this call.
    const auto status = std::make_shared<Status>();
    const bool over = driver_.Do([status, action] { *status = action(); });
    return over ? *status : Status();
  }
  Status Open(const std::string& name, const NewItem& looks = {}) {
    return Do([this, name, looks] { return client_->OpenItem(name, looks); });
  }
  Status Command(const std::string& caption) {
    return Do([this, caption] { return client_->Command(caption); });
  }
  // Captions of the add-in's controls in a window, such as "Menu Bar/Vespro/About".
  std::vector<std::string> Controls(const std::string& window) {
    std::vector<std::string> found;
    driver_.Do([&] {
      const std::function<void(const Bar&, const std::string&)> list =
          [&](const Bar& bar, const std::string& path) {
            for (const Control* control : bar.list) {
              if (control->built_in || control->tag == "Else") continue;
              const std::string name = path + "/" + control->PlainCaption();
              found.push_back((control->visible ? "" : "hidden ") + name);
              if (control->bar != nullptr) list(*control->bar, name);
            }
          };
      for (const Bar* bar : client_->Find(window)->bars().list) list(*bar, bar->bar_name);
    });
    return found;
  }

  Installed installed_;
  OutlookDriver driver_;
  std::unique_ptr<Client> client_;
  std::unique_ptr<LoadedAddIn> loaded_;
};

const std::vector<std::string> kMainMenu = {
    "Menu Bar/Vespro",
    "Menu Bar/Vespro/Distribution File",
    "hidden Menu Bar/Vespro/Insert Attachment",
    "Menu Bar/Vespro/Options ...",
    "Menu Bar/Vespro/Delivery Reports",
    "Menu Bar/Vespro/Delivery Reports/View & Refresh",
    "Menu Bar/Vespro/Delivery Reports/Purge All",
    "Menu Bar/Vespro/Delivery Reports/Entries per report page",
    "Menu Bar/Vespro/Help File",
    "Menu Bar/Vespro/Tech Support ...",
    "Menu Bar/Vespro/About",
};

TEST_F(AddInTest, ConnectsAndLeavesNothingBehind) {
  ASSERT_EQ(Connect(), S_OK);
  EXPECT_EQ(Controls("main"), kMainMenu);
  EXPECT_TRUE(std::filesystem::is_directory(installed_.data_folder() / "session"));
  ASSERT_TRUE(Open("A").ok());
  ASSERT_TRUE(Open("B").ok());
  for (const char* window : {"A", "B"}) {
    const std::vector<std::string> controls = Controls(window);
    EXPECT_EQ(controls.size(), 14U);
    EXPECT_EQ(controls.back(), "Standard/MailMerge with Vespro");
  }
  driver_.Do([&] {
    const Bar& bar = *client_->Find("A")->bars().Find("Standard");
    EXPECT_EQ(bar.list[1]->face_looks, "16x16");
    EXPECT_EQ(bar.list[1]->on_action, "<!Vespro.Connect>");
    EXPECT_EQ(bar.list[2]->face_looks, "16x16");
  });
  ASSERT_TRUE(Do([&] { return client_->Close("A"); }).ok());
  DisconnectCleanly();
}

TEST(ListTest, TheUsersClassLiesOverTheMachines) {
  const Installed installed("list");
  ASSERT_TRUE(installed.status().ok());
  const Hive machine(HKEY_LOCAL_MACHINE, "StandInMachine");
  const auto set = [](const wchar_t* key, const wchar_t* name, const wchar_t* text) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_SZ, text,
                    static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t)));
  };
  set(L"Software\\Classes\\CLSID\\{2776C028-9AA2-4CF7-B449-BFD23F4EE5AD}\\InprocServer32", nullptr,
      L"C:\\an\\older\\Vespro.dll");
  set(L"Software\\Microsoft\\Office\\Outlook\\Addins\\Somebody.Else", L"FriendlyName", L"Else");
  const std::vector<ListedAddIn> listed = ListedAddIns();
  ASSERT_EQ(listed.size(), 2U);
  EXPECT_EQ(listed[0].prog_id, "Vespro.Connect");
  EXPECT_EQ(listed[0].dll, installed.dll);
  EXPECT_EQ(listed[0].threading_model, "Apartment");
  EXPECT_TRUE(listed[0].LoadsAtStart());
  EXPECT_EQ(listed[1].class_id, "");
  EXPECT_FALSE(LoadedAddIn::Load(listed[1]).ok());
}

TEST_F(AddInTest, StartsUnlessAProgramHasStartedOutlook) {
  using Form = Custom::Form;
  const struct {
    const char* why;
    Custom custom;
    bool starts;
  } rows[] = {
      {"by the user", {1, Form::kArray, 1, VT_I4}, true},
      {"embedded", {2, Form::kArray, 1, VT_I4}, false},
      {"by a program, small number", {3, Form::kArray, 1, VT_I2}, false},
      {"an array that begins at 0", {3, Form::kArray, 0, VT_I4}, false},
      {"something else", {7, Form::kArray, 1, VT_I4}, true},
      {"an array without elements", {0, Form::kEmptyArray, 1, VT_I4}, true},
      {"no array", {0, Form::kNoArray, 1, VT_I4}, true},
      {"no pointer to one", {0, Form::kNoPointer, 1, VT_I4}, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    driver_.Do([&] { client_ = std::make_unique<Client>(); });
    std::filesystem::remove_all(installed_.data_folder());
    ASSERT_EQ(Connect(row.custom), S_OK);
    EXPECT_EQ(!Controls("main").empty(), row.starts);
    EXPECT_EQ(std::filesystem::exists(installed_.data_folder()), row.starts);
    ASSERT_TRUE(Open("A").ok());
    EXPECT_EQ(!Controls("A").empty(), row.starts);
    DisconnectCleanly();
  }
}

TEST_F(AddInTest, FollowsMailsInOutlooksOwnEditorOnly) {
  ASSERT_EQ(Connect(), S_OK);
  const struct {
    const char* why;
    NewItem looks;
    bool wrapped;
  } rows[] = {
      {"plain", {}, true},
      {"HTML", {kMailClass, 2, false, true}, true},
      {"rich text", {kMailClass, 3, false, true}, true},
      {"Word", {kMailClass, 4, true, true}, false},
      {"a contact", {40, 1, false, true}, false},
      {"an item that can't be read", {kMailClass, 1, false, false}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    ASSERT_TRUE(Open("A", row.looks).ok());
    EXPECT_EQ(!Controls("A").empty(), row.wrapped);
    ASSERT_TRUE(Do([&] { return client_->Close("A"); }).ok());
  }
  DisconnectCleanly();
}

TEST_F(AddInTest, TheMenuIsThereForMailFolders) {
  ASSERT_EQ(Connect(), S_OK);
  const auto menu_after = [&](std::optional<int> folder) {
    EXPECT_TRUE(Do([&] { return client_->SwitchFolder(folder); }).ok());
    return Controls("main").front();
  };
  EXPECT_EQ(menu_after(1), "hidden Menu Bar/Vespro");
  EXPECT_EQ(menu_after(0), "Menu Bar/Vespro");
  EXPECT_EQ(menu_after(std::nullopt), "hidden Menu Bar/Vespro");
  DisconnectCleanly();
}

// What a person sees of ours on a window's ribbon.
std::vector<std::string> OnRibbon(const Window& window) {
  std::vector<std::string> lines;
  if (window.ribbon == nullptr) return lines;
  for (const RibbonControlLook& look : window.ribbon->Looks()) {
    std::string line = look.path + (look.enabled ? "" : ", disabled");
    if (!look.picture.empty()) line += ", " + look.picture;
    if (!look.text.empty()) line += ", '" + look.text + "'";
    for (const std::string& item : look.items) line += " [" + item + "]";
    lines.push_back(line);
  }
  return lines;
}

using Lines = std::vector<std::string>;
using Asks = Client::Asks;

class RibbonTest : public AddInTest {
 protected:
  // Outlook 2016, with a table for the merge list.
  void SetUp() override {
    AddInTest::SetUp();
    StartOutlook("16.0.0.4266");
    const auto list = installed_.folder / "club.csv";
    ASSERT_TRUE(ModFiles::ReplaceWith(list, "Name,E-mail\r\nAnn,ann@example.org\r\n").ok());
    ASSERT_TRUE(installed_.settings()
                    .Write(setting::kMailList, ModFiles::ToUtf8(list) + ",CSV,1,HEADER")
                    .ok());
  }
  Lines Ribbon(const std::string& window) {
    Lines lines;
    driver_.Do([&] { lines = OnRibbon(*client_->Find(window)); });
    return lines;
  }
  // In a window that need not be in front.
  Status Click(const std::string& window, const std::string& label) {
    return Do([this, window, label] { return client_->Find(window)->ribbon->Click(label); });
  }
  std::string BodyOf(const std::string& window) {
    return static_cast<Inspector*>(client_->Find(window))->item.content.body;
  }
};

const Lines kMainRibbon = {
    "Vespro / Vespro, 16x16",
    "Vespro / Vespro / Distribution File",
    "Vespro / Vespro / Options ...",
    "Vespro / Vespro / Delivery Reports",
    "Vespro / Vespro / Delivery Reports / View & Refresh",
    "Vespro / Vespro / Delivery Reports / Purge All",
    "Vespro / Vespro / Delivery Reports / Entries per report page",
    "Vespro / Vespro / Help File",
    "Vespro / Vespro / Tech Support ...",
    "Vespro / Vespro / About",
};
const Lines kComposeRibbon = {
    "Vespro / Vespro, 16x16",
    "Vespro / Vespro / Distribution File",
    "Vespro / Vespro / Insert Attachment, 16x16",
    "Vespro / Vespro / Options ...",
    "Vespro / Vespro / Help File",
    "Vespro / Vespro / Tech Support ...",
    "Vespro / Vespro / About",
    "Vespro / Vespro Attach, 16x16",
    "Vespro / Send Vespro, 16x16",
    "Vespro / MailMerge with Vespro [NAME] [E-MAIL] [Date & Time]",
};

TEST_F(RibbonTest, HasTheCommandsWheneverItIsAskedFor) {
  for (const Asks asks : {Asks::kBeforeConnection, Asks::kAfterConnection, Asks::kUnannounced}) {
    SCOPED_TRACE(static_cast<int>(asks));
    StartOutlook("16.0.0.4266");
    client_->asks_for_ribbons = asks;
    ASSERT_EQ(Connect(), S_OK);
    EXPECT_EQ(Controls("main"), Lines());
    EXPECT_EQ(Ribbon("main"), kMainRibbon);
    ASSERT_TRUE(Open("A").ok());
    EXPECT_EQ(Controls("A"), Lines());
    EXPECT_EQ(Ribbon("A"), kComposeRibbon);
    ASSERT_TRUE(Open("contact", {40, 1, false, true}).ok());
    EXPECT_EQ(Ribbon("contact"), Lines());
    ASSERT_TRUE(Open("unread", {kMailClass, 1, false, false}).ok());
    EXPECT_EQ(Ribbon("unread"), Lines()) << "not followed";
    DisconnectCleanly();
  }
}

// It knows whether there are ribbons, but nobody asks for ours.
TEST_F(RibbonTest, BarsHaveTheCommandsWhereItIsNeverAskedFor) {
  client_->asks_for_ribbons = Asks::kNever;
  ASSERT_EQ(Connect(), S_OK);
  EXPECT_EQ(Controls("main"), kMainMenu);
  ASSERT_TRUE(Open("A").ok());
  EXPECT_EQ(Controls("A").size(), 14U);
  DisconnectCleanly();
}

// Started by a mail link: there is no main window, and the first one to ask is that of the mail.
TEST_F(RibbonTest, AMailMayBeAllThereIs) {
  for (const Asks asks : {Asks::kBeforeConnection, Asks::kUnannounced}) {
    StartOutlook("16.0.0.4266", true);
    client_->asks_for_ribbons = asks;
    ASSERT_EQ(Connect(), S_OK);
    ASSERT_TRUE(Open("A").ok());
    EXPECT_EQ(Controls("A"), Lines());
    EXPECT_EQ(Ribbon("A"), kComposeRibbon);
    DisconnectCleanly();
  }
}

TEST_F(RibbonTest, ShowsWhatIsSoNow) {
  ASSERT_TRUE(installed_.settings().Write(setting::kDefaultBccMode, "1").ok());
  ASSERT_EQ(Connect(), S_OK);
  const auto after_switch = [&](std::optional<int> folder) {
    EXPECT_TRUE(Do([&] { return client_->SwitchFolder(folder); }).ok());
    return Ribbon("main");
  };
  EXPECT_EQ(after_switch(1), Lines());
  EXPECT_EQ(after_switch(0), kMainRibbon);
  EXPECT_EQ(after_switch(std::nullopt), Lines());
  EXPECT_EQ(after_switch(0), kMainRibbon);

  ASSERT_TRUE(Open("A").ok());
  ASSERT_TRUE(Command("Options ...").ok());
  EXPECT_TRUE(driver_.Click("CmdMailMerge").ok());
  EXPECT_TRUE(driver_.Type("TextMailMerge1", "Greeting").ok());
  EXPECT_TRUE(driver_.Click("OKButton").ok());
  EXPECT_EQ(Ribbon("A").back(),
            "Vespro / MailMerge with Vespro [NAME] [E-MAIL] [Date & Time] [Greeting]");
  EXPECT_TRUE(driver_.Click("OptionTurboMode").ok());
  EXPECT_TRUE(driver_.Type("TextBccTo", "Members").ok());
  EXPECT_TRUE(driver_.Click("cmdOK").ok());
  EXPECT_EQ(Ribbon("A").back(),
            "Vespro / MailMerge with Vespro, 'Switch to Personalised Mode for MailMerge'");

  // The last main window ends the add-in; mails stay open, and have nothing of it.
  ASSERT_TRUE(Do([&] { return client_->OpenExplorer("second"); }).ok());
  EXPECT_EQ(Ribbon("second"), kMainRibbon);
  ASSERT_TRUE(Do([&] { return client_->Close("second"); }).ok());
  EXPECT_EQ(Ribbon("main"), kMainRibbon);
  ASSERT_TRUE(Do([&] { return client_->Close("main"); }).ok());
  EXPECT_EQ(client_->ledger.Held(), Lines()) << "Outlook could end";
  EXPECT_EQ(Ribbon("A"), Lines());
  DisconnectCleanly();
}

// Whatever Outlook has told about which window is in front.
TEST_F(RibbonTest, ActsInTheWindowThatItIsIn) {
  ASSERT_EQ(Connect(), S_OK);
  ASSERT_TRUE(Open("A").ok());
  ASSERT_TRUE(Open("B").ok());
  ASSERT_TRUE(Do([&] { return client_->Find("A")->ribbon->Choose("NAME"); }).ok());
  ASSERT_TRUE(Do([&] { return client_->Find("A")->ribbon->Choose("NAME"); }).ok())
      << "the box is empty again";
  ASSERT_TRUE(Do([&] { return client_->Find("B")->ribbon->Type("shoe"); }).ok());
  EXPECT_EQ(BodyOf("A"), "#NAME#NAME");
  EXPECT_EQ(BodyOf("B"), "#SHOE");
  ASSERT_TRUE(Click("A", "Vespro Attach").ok());
  EXPECT_EQ(driver_.Windows(), Lines{"Vespro Attachments"});
  EXPECT_TRUE(driver_.Click("CmdClose").ok());
  EXPECT_TRUE(driver_.Ended());
  ASSERT_TRUE(Click("main", "About").ok());
  EXPECT_EQ(driver_.Windows(), Lines{"About Vespro"});
  driver_.End();
  DisconnectCleanly();
}

TEST_F(RibbonTest, ItMayBeLetGoBelowADialog) {
  ASSERT_EQ(Connect(), S_OK);
  ASSERT_TRUE(Open("A").ok());
  ASSERT_TRUE(Command("Distribution File").ok());
  bool unloaded = true;
  driver_.Do([&] {
    loaded_->Disconnect(*client_);
    unloaded = loaded_->Unload();
  });
  EXPECT_FALSE(unloaded) << "its code is still in use";
  EXPECT_EQ(client_->ledger.Held(), Lines{"IRibbonControl: 1 reference"})
      << "the call's own argument";
  EXPECT_TRUE(driver_.Click("CmdCancel").ok());
  EXPECT_TRUE(driver_.Ended());
  driver_.Do([&] { unloaded = loaded_->Unload(); });
  EXPECT_TRUE(unloaded);
  EXPECT_EQ(client_->ledger.Held(), Lines());
  EXPECT_EQ(client_->ledger.faults(), Lines());
}

// Whatever an old or a later Outlook, or another add-in, has done to the bars.
TEST_F(AddInTest, DoesWithoutBarsAndBesideOthers) {
  StartOutlook();
  client_->foreign_popup = true;
  ASSERT_EQ(Connect(), S_OK);
  EXPECT_EQ(Controls("main"), kMainMenu);
  ASSERT_TRUE(Open("A").ok());
  EXPECT_EQ(Controls("A").size(), 14U);
  client_->lacking = {"Standard"};
  ASSERT_TRUE(Open("B").ok());
  EXPECT_EQ(Controls("B").size(), 11U);
  client_->lacking = {"Menu Bar", "Standard", "Web"};
  ASSERT_TRUE(Open("C").ok());
  EXPECT_EQ(Controls("C").size(), 0U);
  DisconnectCleanly();

  StartOutlook();
  client_->lacking = {"Menu Bar"};
  ASSERT_TRUE(Do([&] { return client_->OpenExplorer("other"); }).ok());
  ASSERT_EQ(Connect(), S_OK);
  ASSERT_TRUE(Do([&] { return client_->SwitchFolder(0); }).ok());
  DisconnectCleanly();

  StartOutlook("10.0.0.2627", true);
  ASSERT_EQ(Connect(), S_OK) << "without a main window";
  DisconnectCleanly();
}

TEST_F(AddInTest, AClickActsOnceInTheWindowInFront) {
  ASSERT_EQ(Connect(), S_OK);
  ASSERT_TRUE(Open("A").ok());
  ASSERT_TRUE(Open("B").ok());
  ASSERT_TRUE(Command("Distribution File").ok());
  EXPECT_EQ(driver_.Windows(), std::vector<std::string>{"Vespro - Select Distribution File"});
  EXPECT_TRUE(driver_.Click("CmdCancel").ok());
  EXPECT_TRUE(driver_.Ended());

  // Below an open dialog its window may be closed, and the dialog goes with it.
  ASSERT_TRUE(Command("Distribution File").ok());
  ASSERT_TRUE(Open("C").ok());
  EXPECT_EQ(driver_.Windows().size(), 1U);
  ASSERT_TRUE(Do([&] { return client_->Close("B"); }).ok());
  EXPECT_TRUE(driver_.Ended());
  ASSERT_TRUE(Command("Distribution File").ok()) << "the windows can be used again";
  EXPECT_TRUE(driver_.Click("CmdCancel").ok());
  DisconnectCleanly();
}

// As when a person takes its tick away, or Outlook ends, behind a dialog.
TEST_F(AddInTest, ItMayBeLetGoBelowAnOpenDialog) {
  ASSERT_EQ(Connect(), S_OK);
  ASSERT_TRUE(Open("A").ok());
  ASSERT_TRUE(Command("Distribution File").ok());
  EXPECT_EQ(GetWindow(driver_.Top(), GW_OWNER), client_->Find("A")->frame().window());
  bool unloaded = true;
  driver_.Do([&] {
    loaded_->Disconnect(*client_);
    unloaded = loaded_->Unload();
  });
  EXPECT_FALSE(unloaded) << "its code is still in use";
  EXPECT_EQ(client_->ledger.Held(), std::vector<std::string>{"CommandBarButton: 1 reference"})
      << "the click's own argument";
  EXPECT_TRUE(driver_.Click("CmdCancel").ok());
  EXPECT_TRUE(driver_.Ended());
  driver_.Do([&] { unloaded = loaded_->Unload(); });
  EXPECT_TRUE(unloaded);
  EXPECT_EQ(client_->ledger.Held(), std::vector<std::string>());
  EXPECT_EQ(client_->ledger.faults(), std::vector<std::string>());
}

TEST_F(AddInTest, TheLastMainWindowEndsIt) {
  ASSERT_EQ(Connect(), S_OK);
  ASSERT_TRUE(Open("A").ok());
  ASSERT_TRUE(Do([&] { return client_->OpenExplorer("second"); }).ok());
  ASSERT_TRUE(Do([&] { return client_->Close("second"); }).ok());
  EXPECT_EQ(Controls("main"), kMainMenu);
  ASSERT_TRUE(Do([&] { return client_->Close("main"); }).ok());
  EXPECT_EQ(client_->ledger.Held(), std::vector<std::string>()) << "Outlook could end";
  ASSERT_TRUE(Open("B").ok());
  EXPECT_TRUE(Controls("B").empty());
  DisconnectCleanly();
}

// Later Outlooks end without a word.
TEST_F(AddInTest, OutlookMayEndWithoutDisconnecting) {
  ASSERT_EQ(Connect(), S_OK);
  ASSERT_TRUE(Open("A").ok());
  driver_.Do([&] {
    client_->Quit();
    client_->ledger.CloseForAddIn();
    EXPECT_TRUE(loaded_->Unload());
  });
  EXPECT_EQ(client_->ledger.Held(), std::vector<std::string>());
}

// One life of the add-in, of which call `n` fails; whether it came to that call. What is wrong then
// goes to `wrong`.
bool LiveWithFailure(const char* version, int n, std::vector<std::string>& wrong) {
  Client client(version);
  client.ledger.FailCall(n);
  auto loaded = std::move(LoadedAddIn::Load(ListedAddIns().at(0))).value();
  loaded->Connect(client);
  client.SwitchFolder(1).Ignore();
  client.OpenItem("A", {kMailClass, 2, false, true}).Ignore();
  client.Activate("main").Ignore();
  client.Activate("A").Ignore();
  client.Close("A").Ignore();
  loaded->Disconnect(client);
  const bool unloaded = loaded->Unload();
  const std::string failed = client.ledger.failed_call();
  // A window that the add-in can't hear is not let go before the end.
  const bool is_deaf = failed == "Inspector.FindConnectionPoint" || failed == "Inspector.Advise";
  for (const auto& lines :
       {client.ledger.Held(), client.ledger.refusals(),
        is_deaf ? std::vector<std::string>() : client.ledger.faults(),
        unloaded ? std::vector<std::string>() : std::vector<std::string>{"DLL"}}) {
    for (const std::string& line : lines) wrong.push_back(failed + " failed: " + line);
  }
  return !failed.empty();
}

// Every call that the add-in makes fails once, in the middle of its work.
TEST_F(AddInTest, NoSingleFailureDoesHarm) {
  constexpr int kAtOnce = 20;
  const std::pair<const char*, int> rows[] = {{"10.0.0.2627", 200}, {"16.0.0.4266", 60}};
  for (const auto& [version, at_least] : rows) {
    int failures = 0;
    bool goes_on = true;
    std::vector<std::string> wrong;
    while (goes_on && wrong.empty()) {
      ASSERT_TRUE(driver_.Do([&, version = version] {
        for (int i = 0; i < kAtOnce && goes_on; ++i) {
          goes_on = LiveWithFailure(version, failures + 1, wrong);
          if (goes_on) ++failures;
        }
      }));
    }
    EXPECT_EQ(wrong, std::vector<std::string>());
    EXPECT_GT(failures, at_least);
    RecordProperty(std::string("failures ") + version, failures);
  }
}

// How many objects of the system there are, about: the highest number of many new ones, which fill
// all gaps. (The system's own counts are always 0 under Wine.)
struct SystemNumbers {
  std::uintptr_t handle = 0, brush = 0;
  static SystemNumbers Now() {
    constexpr std::size_t kMany = 300;
    std::vector<HANDLE> events(kMany);
    std::vector<HBRUSH> brushes(kMany);
    SystemNumbers now;
    for (HANDLE& event : events) {
      event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
      now.handle = std::max(now.handle, reinterpret_cast<std::uintptr_t>(event) / 4);
    }
    for (HBRUSH& brush : brushes) {
      brush = CreateSolidBrush(RGB(1, 2, 3));
      now.brush = std::max(now.brush, reinterpret_cast<std::uintptr_t>(brush) & 0xFFFF);
    }
    for (const HANDLE event : events) CloseHandle(event);
    for (const HBRUSH brush : brushes) DeleteObject(brush);
    return now;
  }
};

TEST_F(AddInTest, TwoHundredWindowsLeakNothing) {
  ASSERT_EQ(Connect(), S_OK);
  const auto open_and_close = [&](int count) {
    constexpr int kAtOnce = 20;
    for (int done = 0; done < count; done += kAtOnce) {
      ASSERT_TRUE(driver_.Do([&] {
        for (int i = 0; i < kAtOnce; ++i) {
          EXPECT_TRUE(client_->OpenItem("A", {}).ok());
          EXPECT_TRUE(client_->Close("A").ok());
        }
      }));
    }
  };
  const auto numbers = [&] {
    SystemNumbers now;
    driver_.Do([&] { now = SystemNumbers::Now(); });
    return now;
  };
  open_and_close(20);  // what is made once is there then
  const std::vector<std::string> held = client_->ledger.Held();
  const SystemNumbers before = numbers();
  open_and_close(200);
  const SystemNumbers after = numbers();
  constexpr std::uintptr_t kOthers = 5;  // of the system's own, which come and go
  EXPECT_LE(after.handle, before.handle + kOthers);
  EXPECT_LE(after.brush, before.brush + kOthers);
  EXPECT_EQ(client_->ledger.Held(), held);

  // And a leak would have been seen: 20 of each, and a reference.
  std::vector<HANDLE> events;
  std::vector<HBRUSH> brushes;
  driver_.Do([&] {
    for (int i = 0; i < 20; ++i) {
      events.push_back(CreateEventW(nullptr, FALSE, FALSE, nullptr));
      brushes.push_back(CreateSolidBrush(RGB(1, 2, 3)));
    }
    client_->sent_folder().AddRef();
  });
  const SystemNumbers leaking = numbers();
  EXPECT_GT(leaking.handle, after.handle + kOthers);
  EXPECT_GT(leaking.brush, after.brush + kOthers);
  EXPECT_NE(client_->ledger.Held(), held);
  driver_.Do([&] {
    for (const HANDLE event : events) CloseHandle(event);
    for (const HBRUSH brush : brushes) DeleteObject(brush);
    client_->sent_folder().Release();
  });
  DisconnectCleanly();
}

// Settings that no program of ours has written.
TEST_F(AddInTest, BrokenSettingsDoNotHarmOutlook) {
  const auto set = [](const char* name, DWORD type, const std::string& bytes) {
    RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\Tandrelix\\Vespro2.0Beta",
                    ModWide::FromUtf8(name).c_str(), type, bytes.data(),
                    static_cast<DWORD>(bytes.size()));
  };
  // A text of UTF-16 without an end, half a character, a number, nothing at all, 60,000 characters.
  const std::string odd_text("C\0:\0\\\0a", 7);
  std::string long_text;
  for (int i = 0; i < 60000; ++i) long_text += std::string("x\0", 2);
  const std::pair<DWORD, std::string> values[] = {
      {REG_SZ, odd_text},        {REG_BINARY, std::string("\xFF\x00\xD8", 3)},
      {REG_DWORD, "\1\0\0\0"},   {REG_SZ, ""},
      {REG_MULTI_SZ, long_text}, {REG_SZ, long_text},
  };
  for (const auto& [type, bytes] : values) {
    SCOPED_TRACE(std::to_string(type) + ", " + std::to_string(bytes.size()) + " bytes");
    for (const char* name : {"MailList", "BccMode", "CustomWord1", "SenderEmail", "RecentDir"}) {
      set(name, type, bytes);
    }
    StartOutlook();
    ASSERT_EQ(Connect(), S_OK);
    ASSERT_TRUE(Open("A").ok());
    ASSERT_TRUE(Command("Distribution File").ok());
    driver_.End();
    ASSERT_TRUE(Command("Send Vespro").ok());
    driver_.End();
    DisconnectCleanly();
  }
}

TEST_F(AddInTest, SaysThatTheUsersFolderCantBeMade) {
  // Files lie where the folders would.
  const std::string nothing;
  ASSERT_TRUE(ModFiles::ReplaceWith(installed_.data_folder(), nothing).ok());
  ASSERT_TRUE(ModFiles::ReplaceWith(installed_.folder / "unknown", nothing).ok());
  StartOutlook();
  Connect();
  EXPECT_EQ(driver_.Windows(), std::vector<std::string>{"Vespro"});
  const Result<ControlLook> text = driver_.Look("LabelText");
  ASSERT_TRUE(text.ok());
  EXPECT_EQ(text.value().caption, "Cannot create user profile");
  EXPECT_TRUE(driver_.Click("CmdOk").ok());
  EXPECT_TRUE(Controls("main").empty());
  ASSERT_TRUE(Open("A").ok());
  EXPECT_EQ(Controls("A").size(), 14U);
  ASSERT_TRUE(Command("Send Vespro").ok());
  EXPECT_EQ(driver_.Windows(), std::vector<std::string>{"Vespro"});
  EXPECT_TRUE(driver_.Click("CmdOk").ok());
  DisconnectCleanly();
}

}  // namespace
}  // namespace vespro::standin
