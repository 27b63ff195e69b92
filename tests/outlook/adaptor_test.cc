// The adaptor to Outlook: what each call of the interfaces comes to in Outlook's objects.
#include "outlook/outlook_client.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "base/testing.h"
#include "outlook/client.h"

namespace vespro::standin {
namespace {

class AdaptorTest : public testing::Test {
 protected:
  AdaptorTest() {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    adaptor = std::make_shared<OutlookClient>(ComPtr<IDispatch>(outlook.application().dispatch()),
                                              context);
  }
  ~AdaptorTest() override {
    adaptor = nullptr;
    EXPECT_EQ(outlook.ledger.Held(), std::vector<std::string>());
    EXPECT_EQ(outlook.ledger.faults(), std::vector<std::string>());
    EXPECT_EQ(outlook.ledger.refusals(), std::vector<std::string>());
    context = nullptr;
    EXPECT_EQ(use.count(), 0);
    CoUninitialize();
  }

  // The window of an open mail, as Outlook knows it.
  Inspector& Opened(std::string_view name) { return *static_cast<Inspector*>(outlook.Find(name)); }

  Client outlook;
  ModuleUse use;
  std::shared_ptr<const HostContext> context = std::make_shared<HostContext>(HostContext{use});
  std::shared_ptr<OutlookClient> adaptor;
};

TEST_F(AdaptorTest, TheClientAndItsWindows) {
  EXPECT_EQ(adaptor->Version(), "10.0.0.2627");
  EXPECT_EQ(adaptor->ActiveInspector(), nullptr);
  EXPECT_EQ(adaptor->ExplorerCount().value(), 1);
  EXPECT_EQ(adaptor->ActiveWindow(), outlook.Find("main")->frame().window());
  ASSERT_TRUE(outlook.OpenItem("A", {kMailClass, 2, false, true}).ok());
  ASSERT_TRUE(outlook.OpenItem("B", {40, 1, true, true}).ok());
  EXPECT_EQ(adaptor->Inspectors()->Count().value(), 2);
  const auto b = adaptor->ActiveInspector();
  EXPECT_EQ(b->CurrentItem()->Class().value(), 40);
  EXPECT_TRUE(b->IsWordMail().value());
  EXPECT_EQ(b->Identity(), adaptor->ActiveInspector()->Identity());
  ASSERT_TRUE(outlook.Activate("A").ok());
  const auto a = adaptor->ActiveInspector();
  EXPECT_NE(a->Identity(), b->Identity());
  EXPECT_EQ(a->Editor(), EditorType::kHtml);
  EXPECT_FALSE(a->IsWordMail().value());
  EXPECT_EQ(adaptor->ActiveWindow(), Opened("A").frame().window());
}

// With Word as the editor the mail says what it is written as, unless the version knows no such
// property.
TEST_F(AdaptorTest, WordIsTheEditorOfMailsOfEachFormat) {
  for (const auto& [version, format, expected] :
       {std::tuple("12.0.0.4518", 1, EditorType::kPlainText),
        std::tuple("12.0.0.4518", 2, EditorType::kHtml),
        std::tuple("16.0.0.17328", 3, EditorType::kRichText),
        std::tuple("16.0.0.17328", 0, EditorType::kWord),
        std::tuple("9.0.0.3821", 4, EditorType::kWord)}) {
    outlook.version = version;
    ASSERT_TRUE(outlook.OpenItem("A", {kMailClass, format, true, true}).ok());
    EXPECT_EQ(adaptor->ActiveInspector()->Editor(), expected) << version << " " << format;
    ASSERT_TRUE(outlook.Close("A").ok());
  }
  EXPECT_EQ(outlook.ledger.TakeRefusals(),
            std::vector<std::string>{"MailItem.BodyFormat: there is no such member"});
  outlook.version = "12.0";
  ASSERT_TRUE(outlook.OpenItem("unreadable", {kMailClass, 2, true, false}).ok());
  EXPECT_EQ(adaptor->ActiveInspector()->Editor(), EditorType::kWord);
}

TEST_F(AdaptorTest, AMailIsReadAndChanged) {
  using namespace std::string_literals;
  ASSERT_TRUE(outlook.OpenItem("A", {}).ok());
  Content& content = Opened("A").item.content;
  content.subject = "News\0hidden \u00fc"s;
  content.body = "Hello";
  content.html = "<p>Hello</p>";
  const auto mail = adaptor->ActiveInspector()->CurrentItem();
  EXPECT_EQ(mail->Class().value(), kMailClass);
  EXPECT_EQ(mail->Subject(), content.subject);
  EXPECT_EQ(mail->Body(), "Hello");
  EXPECT_EQ(mail->HtmlBody(), "<p>Hello</p>");
  EXPECT_TRUE(mail->SetTo("C:/Lists/friends.txt").ok());
  EXPECT_TRUE(mail->SetSentOnBehalfOfName("Office <office@example.com>").ok());
  EXPECT_EQ(content.to, "C:/Lists/friends.txt");
  EXPECT_EQ(content.on_behalf_of, "Office <office@example.com>");
}

TEST_F(AdaptorTest, AttachmentsAreSavedByOutlook) {
  const TemporaryFolder folder;
  ASSERT_TRUE(outlook.OpenItem("A", {}).ok());
  Opened("A").item.content.attachments = {{"picture.png", "PNG"}, {"C:\\odd\\report.txt", "text"}};
  const auto mail = adaptor->ActiveInspector()->CurrentItem();
  ASSERT_EQ(mail->AttachmentCount(), 2u);
  EXPECT_EQ(mail->AttachmentFileName(0), "picture.png");
  EXPECT_EQ(mail->AttachmentFileName(1), "report.txt") << "without a folder";
  EXPECT_EQ(mail->AttachmentFileName(2), "");
  EXPECT_TRUE(mail->SaveAttachment(1, folder / "saved.txt").ok());
  EXPECT_EQ(folder.Read("saved.txt"), "text");
  EXPECT_FALSE(mail->SaveAttachment(2, folder / "none.txt").ok());
  EXPECT_FALSE(mail->SaveAttachment(0, folder / "missing/x").ok());
}

// The folder is asked for while the mail is open: afterwards it need not be known any more.
TEST_F(AdaptorTest, AMailThatIsDoneLiesAmongTheSentOnes) {
  ASSERT_TRUE(outlook.OpenItem("A", {}).ok());
  const auto window = adaptor->ActiveInspector();
  const auto mail = window->CurrentItem();
  std::vector<std::string> told;
  window->Listen({[&] { told.push_back("activate"); }, [&] { told.push_back("deactivate"); },
                  [&] {
                    told.push_back("close");
                    window->Listen({});
                    Opened("A").item.sent_folder = nullptr;
                  }});
  EXPECT_TRUE(mail->CloseAndSave().ok());
  EXPECT_EQ(told.back(), "close");
  EXPECT_TRUE(mail->MoveToSentFolder().ok());
  ASSERT_EQ(outlook.sent().size(), 1u);
  EXPECT_EQ(outlook.sent()[0].folder, "Sent Items");

  ASSERT_TRUE(outlook.OpenItem("B", {}).ok());
  Opened("B").item.sent_folder = nullptr;
  const auto homeless = adaptor->ActiveInspector()->CurrentItem();
  EXPECT_TRUE(homeless->CloseAndSave().ok());
  EXPECT_EQ(homeless->MoveToSentFolder().code(), Code::kNotFound);
}

TEST_F(AdaptorTest, AMailIsMadeAndShown) {
  const auto mail = adaptor->NewMail().value();
  EXPECT_TRUE(mail->SetTo("support@example.com").ok());
  EXPECT_TRUE(mail->SetBody("What happened:\r\n").ok());
  EXPECT_EQ(adaptor->ActiveInspector(), nullptr);
  EXPECT_TRUE(mail->Display().ok());
  EXPECT_EQ(adaptor->ActiveInspector()->CurrentItem()->Body(), "What happened:\r\n");
}

TEST_F(AdaptorTest, PasteGoesThroughTheEditMenuOrByName) {
  ASSERT_TRUE(outlook.OpenItem("A", {}).ok());
  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, sizeof(L"##NAME##"));
  std::memcpy(GlobalLock(memory), L"##NAME##", sizeof(L"##NAME##"));
  GlobalUnlock(memory);
  ASSERT_TRUE(OpenClipboard(Opened("A").frame().window()));
  EmptyClipboard();
  SetClipboardData(CF_UNICODETEXT, memory);
  CloseClipboard();
  EXPECT_TRUE(adaptor->ActiveInspector()->PasteAtCaret().ok());
  EXPECT_EQ(Opened("A").frame().Read().body, "##NAME##");

  outlook.lacking = {"Menu Bar"};
  ASSERT_TRUE(outlook.OpenItem("B", {}).ok());
  EXPECT_FALSE(adaptor->ActiveInspector()->PasteAtCaret().ok());
  EXPECT_EQ(outlook.ledger.TakeRefusals(),
            std::vector<std::string>{"CommandBars.ExecuteMso: there is no such member"});

  outlook.version = "14.0.0.4760";
  outlook.lacking = {};
  ASSERT_TRUE(outlook.OpenItem("C", {}).ok());
  EXPECT_TRUE(adaptor->ActiveInspector()->PasteAtCaret().ok());
  EXPECT_EQ(Opened("C").frame().Read().body, "##NAME##");
  outlook.ledger.FailCall("Inspector.CommandBars", 1);
  EXPECT_EQ(adaptor->ActiveInspector()->PasteAtCaret().code(), Code::kNotFound);
}

TEST_F(AdaptorTest, ControlsAreFoundAndKeepToTheirBar) {
  outlook.foreign_popup = true;
  ASSERT_TRUE(outlook.OpenItem("A", {}).ok());
  const auto bars = adaptor->ActiveInspector()->Bars();
  EXPECT_EQ(bars->Item("No such bar"), nullptr);
  const auto menu_bar = bars->Item("menu bar");
  ASSERT_NE(menu_bar, nullptr);
  EXPECT_EQ(menu_bar->Name(), "Menu Bar");
  EXPECT_EQ(menu_bar->FindByCaption("&Vespro"), nullptr);
  const auto menu = std::dynamic_pointer_cast<CommandBarPopup>(
      menu_bar->Add(vespro::ControlType::kPopup).value());
  ASSERT_NE(menu, nullptr);
  EXPECT_TRUE(menu->SetCaption("&Vespro").ok());
  EXPECT_TRUE(menu->SetTag("Vespro").ok());
  const auto entry = menu->Bar()->Add(vespro::ControlType::kButton).value();
  EXPECT_TRUE(entry->SetTag("in it").ok());
  const auto found = menu_bar->FindByCaption("ves&pro");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->Type(), vespro::ControlType::kPopup);
  EXPECT_EQ(found->Tag(), "Vespro") << "not the other add-in's popup, which has the same number";
  EXPECT_EQ(menu_bar->Find({.tag = "in it"}), nullptr) << "the top level only";
  EXPECT_NE(menu_bar->Find({.tag = "in it", .recursive = true}), nullptr);
  EXPECT_NE(menu_bar->Find({.id = kEditMenuId}), nullptr);
  EXPECT_EQ(menu_bar->Find({.type = vespro::ControlType::kButton, .tag = "Vespro"}), nullptr);
}

TEST_F(AdaptorTest, ABoxTellsWhatIsChosen) {
  ASSERT_TRUE(outlook.OpenItem("A", {}).ok());
  const auto bar = adaptor->ActiveInspector()->Bars()->Item("Standard");
  const auto box = std::dynamic_pointer_cast<CommandBarComboBox>(
      bar->Add(vespro::ControlType::kComboBox).value());
  ASSERT_NE(box, nullptr);
  EXPECT_TRUE(box->SetTag("box").ok());
  int changes = 0;
  box->OnChange([&] { ++changes; });
  for (const char* text : {"one", "two"}) EXPECT_TRUE(box->AddItem(text).ok());
  EXPECT_TRUE(box->SetText("something").ok());
  EXPECT_EQ(changes, 0);
  EXPECT_TRUE(outlook.Choose("two").ok());
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(box->Text(), "two");
  box->OnChange({});
  EXPECT_TRUE(outlook.Choose("one").ok());
  EXPECT_EQ(changes, 1);
  EXPECT_TRUE(box->Delete().ok());
}

TEST_F(AdaptorTest, AFolderSwitchSaysWhatTheFolderHolds) {
  const auto window = adaptor->ActiveExplorer();
  std::vector<std::optional<int>> types;
  window->Listen({{}, {}, [&](std::optional<int> type) { types.push_back(type); }, {}});
  for (const std::optional<int> type : {std::optional<int>(0), std::optional<int>(1), {}}) {
    ASSERT_TRUE(outlook.SwitchFolder(type).ok());
  }
  EXPECT_EQ(types, (std::vector<std::optional<int>>{0, 1, std::nullopt}));
  window->Listen({});
  ASSERT_TRUE(outlook.SwitchFolder(0).ok());
  EXPECT_EQ(types.size(), 3u);
}

}  // namespace
}  // namespace vespro::standin
