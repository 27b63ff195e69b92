#include "addin/dialog_stories.h"

#include <memory>
#include <string>

#include "addin/frm_attach_file.h"
#include "base/testing.h"
#include "host/memory_client.h"
#include "settings/file_backend.h"

namespace vespro {
namespace {

// Somebody with two mails in the making, of which B is in front.
class Desk {
 public:
  explicit Desk(Story& story) : story_(story) {
    add_in.desktop = &story.desktop();
    add_in.mail_client = client.Application();
    for (const std::int16_t key : {std::int16_t{0}, std::int16_t{1}}) {
      client.OpenItem(key == 0 ? "A" : "B", {}).Ignore();  // seen in the stories
      const auto window = std::make_shared<ComposeWindow>();
      window->inspector = add_in.mail_client->ActiveInspector();
      add_in.windows[key] = window;
    }
  }
  ~Desk() { story_.driver().End(); }

  void Open() {
    story_.Start([this] { frmAttachFile(add_in, settings).ShowModal(story_.desktop()); });
  }
  std::string& AttachedTo(std::int16_t key) { return add_in.windows[key]->attachment_list; }

  TemporaryFolder folder;
  FileBackend backend{folder / "settings"};
  Settings settings{backend};
  MemoryClient client;
  AddIn add_in;

 private:
  Story& story_;
};

std::vector<std::string> Names(Story& story) {
  std::vector<std::string> names;
  for (const Row& row : story.Of("ListViewDisplay").rows) names.push_back(row.text);
  return names;
}

// A file of that name, by its path as a picker gives it.
std::string NewFile(const Desk& desk, std::string_view name) {
  return ModFiles::ToUtf8(desk.folder.Write(name, "x").make_preferred());
}

void FilesAreAddedOnce(Story& story) {
  Desk desk(story);
  ModFiles::EnsureFolder(desk.folder / "x");
  const std::string first = NewFile(desk, "a.txt");
  const std::string second = NewFile(desk, "x/a.txt");
  const std::string comma = NewFile(desk, "b, c.txt");
  desk.Open();
  EXPECT_FALSE(story.Of("CmdRemove").enabled);
  for (const std::string& path : {first, second}) {
    story.Click("CmdAddAttach");
    story.PickFile(path);
  }
  // One name, two files.
  EXPECT_EQ(Names(story), (std::vector<std::string>{"a.txt", "a.txt"}));
  EXPECT_TRUE(story.Of("CmdRemove").enabled);

  story.Click("CmdAddAttach");
  story.PickFile(first);
  story.Answers(first + " is already attached", "i", "OK");
  story.Click("CmdAddAttach");
  story.PickFile(comma);
  story.Answers(comma +
                    " can't be attached, since its path has a comma in it. Rename the file, or "
                    "copy it to another folder, and add that one.",
                "!", "OK");
  story.Click("CmdAddAttach");
  story.PickFile("");
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_EQ(desk.AttachedTo(1), "," + first + "," + second);
  EXPECT_EQ(desk.AttachedTo(0), "");
}

void OnlyCloseKeepsWhatWasRemoved(Story& story) {
  Desk desk(story);
  desk.AttachedTo(1) = ",,/x/a.txt,/x/b.txt,/x/c.txt,";
  desk.Open();
  EXPECT_EQ(Names(story), (std::vector<std::string>{"a.txt", "b.txt", "c.txt"}));
  story.Select("ListViewDisplay", 1);
  story.Press(Key::kDelete);
  story.Press(Key::kDelete);  // nothing is selected now
  EXPECT_EQ(Names(story), (std::vector<std::string>{"a.txt", "c.txt"}));
  story.CloseByFrame();
  story.SeesEnd();
  EXPECT_EQ(desk.AttachedTo(1), ",,/x/a.txt,/x/b.txt,/x/c.txt,");

  desk.Open();
  for (int i = 0; i < 3; ++i) {
    story.Select("ListViewDisplay", 0);
    story.Click("CmdRemove");
  }
  EXPECT_FALSE(story.Of("CmdRemove").enabled);
  story.Focus("ListViewDisplay");
  story.Press(Key::kDelete);
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_EQ(desk.AttachedTo(1), "");
}

void WithoutAMailThereIsNothingToKeep(Story& story) {
  Desk desk(story);
  desk.AttachedTo(1) = ",/x/a.txt";
  desk.Open();
  desk.client.Quit();
  story.Click("CmdClose");
  story.SeesEnd();
  EXPECT_EQ(desk.AttachedTo(1), ",/x/a.txt");

  desk.Open();
  EXPECT_EQ(Names(story), std::vector<std::string>{});
  desk.add_in.mail_client = nullptr;
  story.Click("CmdClose");
  story.SeesEnd();
}

}  // namespace

std::vector<FormStory> AddinDialogStories() {
  return {{"FilesAreAddedOnce", FilesAreAddedOnce},
          {"OnlyCloseKeepsWhatWasRemoved", OnlyCloseKeepsWhatWasRemoved},
          {"WithoutAMailThereIsNothingToKeep", WithoutAMailThereIsNothingToKeep}};
}

}  // namespace vespro
