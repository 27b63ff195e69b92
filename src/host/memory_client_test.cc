// What the stories rely on when they say that the add-in behaves: that the client in memory does
// what a real one does.
#include "host/memory_client.h"

#include <gtest/gtest.h>

namespace vespro {
namespace {

class MemoryClientTest : public testing::Test {
 protected:
  std::shared_ptr<CommandBar> Standard(const std::string& window) {
    Must(client_.Activate(window));
    const auto inspector = application_->ActiveInspector();
    return (inspector != nullptr ? inspector->Bars() : application_->ActiveExplorer()->Bars())
        ->Item("Standard");
  }
  std::shared_ptr<CommandBarButton> AddButton(CommandBar& bar, std::string_view tag) {
    const auto button =
        std::dynamic_pointer_cast<CommandBarButton>(bar.Add(ControlType::kButton).value());
    Must(button->SetCaption(tag));
    Must(button->SetTag(tag));
    return button;
  }
  void Must(const Status& status) { EXPECT_TRUE(status.ok()) << status.text(); }

  MemoryClient client_;
  std::shared_ptr<MailClient> application_ = client_.Application();
};

TEST_F(MemoryClientTest, AClickReachesEveryObjectOfTheTagUntilItIsDropped) {
  Must(client_.OpenItem("A", {}));
  Must(client_.OpenItem("B", {}));
  std::string heard;
  const auto in_a = AddButton(*Standard("A"), "Post");
  auto in_b = AddButton(*Standard("B"), "Post");
  const auto other = AddButton(*Standard("B"), "Other");
  auto again = std::dynamic_pointer_cast<CommandBarButton>(Standard("B")->Find({.tag = "Post"}));
  in_a->OnClick([&] { heard += "a"; });
  in_b->OnClick([&] { heard += "b"; });
  again->OnClick([&] { heard += "B"; });
  other->OnClick([&] { heard += "o"; });
  Must(client_.Command("Post"));
  EXPECT_EQ(heard, "abB");

  again = nullptr;  // the control stays
  Must(client_.Command("Post"));
  EXPECT_EQ(heard, "abBab");

  // Ended below a click that is on its way.
  in_a->OnClick([&] {
    in_b->OnClick({});
    in_a->OnClick({});
    heard += "!";
  });
  in_b->OnClick([&] { heard += "b"; });  // in a's place behind it
  Must(client_.Command("Post"));
  EXPECT_EQ(heard, "abBab!");

  in_b->OnClick([&] { heard += "b"; });
  Must(in_b->Delete());
  Must(client_.Activate("A"));
  Must(client_.Command("Post"));
  EXPECT_EQ(heard, "abBab!");
  EXPECT_FALSE(in_b->SetCaption("gone").ok());
}

TEST_F(MemoryClientTest, WindowsTellWhenTheyComeToTheFrontAndClose) {
  std::string heard;
  const auto inspectors = application_->Inspectors();
  std::vector<std::shared_ptr<Inspector>> opened;
  inspectors->OnNewInspector([&](std::shared_ptr<Inspector> inspector) {
    const std::string number = std::to_string(opened.size());
    inspector->Listen({[&heard, number] { heard += "+" + number; },
                       [&heard, number] { heard += "-" + number; },
                       [&heard, number] { heard += "x" + number; }});
    opened.push_back(inspector);
    heard += "n" + number;
  });
  Must(client_.OpenItem("A", {}));
  Must(client_.OpenItem("B", {}));
  EXPECT_EQ(heard, "n0+0n1-0+1");
  EXPECT_EQ(application_->ActiveInspector()->Identity(), opened[1]->Identity());
  EXPECT_NE(opened[0]->Identity(), opened[1]->Identity());

  heard.clear();
  Must(opened[1]->CurrentItem()->CloseAndSave());
  EXPECT_EQ(heard, "x1+0");
  EXPECT_FALSE(client_.Close("B").ok());
  EXPECT_EQ(opened[1]->CurrentItem(), nullptr);

  heard.clear();
  client_.Quit();
  EXPECT_EQ(heard, "");
  EXPECT_EQ(inspectors->Count().value(), 0);
}

TEST_F(MemoryClientTest, CountsWhatIsHeldAndNotesCallsAfterTheEnd) {
  Must(client_.OpenItem("A", {}));
  auto bar = Standard("A");
  auto button = AddButton(*bar, "Post");
  EXPECT_EQ(client_.calls().held,
            (std::map<std::string, int>{{"Bar", 1}, {"Button", 1}, {"MailClient", 1}}));
  client_.calls().FailAt("Button.SetCaption", 2);
  EXPECT_TRUE(button->SetCaption("1").ok());
  EXPECT_FALSE(button->SetCaption("2").ok());
  EXPECT_TRUE(button->SetCaption("3").ok());

  button = nullptr;
  bar = nullptr;
  client_.calls().End();
  EXPECT_EQ(application_->Version(), "10.0.0.2627");
  EXPECT_EQ(client_.calls().faults, std::vector<std::string>{"MailClient.Version "});
  application_ = nullptr;
  EXPECT_TRUE(client_.calls().held.empty());
}

TEST_F(MemoryClientTest, APersonUsesOnlyWhatIsToBeSeen) {
  Must(client_.OpenItem("A", {}));
  const auto button = AddButton(*Standard("A"), "Post");
  int clicks = 0;
  button->OnClick([&] { ++clicks; });
  Must(button->SetEnabled(false));
  EXPECT_FALSE(client_.Command("Post").ok());
  Must(button->SetEnabled(true));
  Must(button->SetVisible(false));
  EXPECT_FALSE(client_.Command("Post").ok());
  Must(button->SetVisible(true));
  Must(client_.Activate("main"));
  EXPECT_FALSE(client_.Command("Post").ok());
  EXPECT_EQ(clicks, 0);
}

}  // namespace
}  // namespace vespro
