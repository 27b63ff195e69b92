// The add-in's DLL in Outlook: connected, used and let go as Outlook does it.
#include <gtest/gtest.h>

#include <set>

#include "base/files.h"
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
    EXPECT_EQ(client_->ledger.refusals(), std::vector<std::string>());
    EXPECT_TRUE(unloaded);
  }
  // A person's action in Outlook; ok where it leads to a dialog.
  Status Do(std::function<Status()> action) {
    Status status;
    driver_.Do([&status, action] { status = action(); });
    return status;
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

}  // namespace
}  // namespace vespro::standin
