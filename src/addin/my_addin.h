// addin/my_addin.h - one window of the mail client with the add-in's controls in it: the main
// window, which has the menu only, or a compose window. One thread: the mail client's own.
//
// The host raises a click in every object that holds a control with the same tag, so each handler
// acts only while its object is active, which follows the windows. A handler holds its object: the
// window may be closed below it.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "addin/clicks.h"
#include "addin/commands.h"
#include "addin/ribbon.h"
#include "base/clock.h"
#include "base/random.h"
#include "host/add_in.h"
#include "host/command_bars.h"
#include "host/desktop.h"
#include "host/mail_client.h"
#include "send/send_context.h"
#include "settings/settings.h"

namespace vespro {

inline constexpr char kMenuBar[] = "Menu Bar";
inline constexpr char kStandardBar[] = "Standard";
inline constexpr char kHelpFile[] = "vespro.chm";

// What all windows work with.
struct AddInServices {
  AddIn& add_in;
  Settings& settings;
  const Clock& clock;
  Randomness& randomness;
  Clicks& clicks;
  Ribbons& ribbons;
};

// There is no place for the user's data, so nothing can be done.
void TellNoUserProfile(Desktop& desktop);

class MyAddIn final : public ComposeWindow,
                      public SendDialogs,
                      public std::enable_shared_from_this<MyAddIn> {
 public:
  // Owned by a shared pointer. What is passed must outlive it.
  explicit MyAddIn(AddInServices services) : services_(services) {}
  MyAddIn(const MyAddIn&) = delete;
  MyAddIn& operator=(const MyAddIn&) = delete;
  ~MyAddIn() override { Terminate(); }

  static std::span<const Command> Commands();

  // Becomes the object of this compose window: hears its events, and puts the menu and the buttons
  // there unless they are on the ribbon. Controls that the host does not take are left out.
  void ThisInspector(std::shared_ptr<Inspector> inspector);
  // Puts the menu on the bar, or takes the one that is there, and fits it to the window.
  void CreateMenu(CommandBar& bar);
  // Takes the buttons and the merge list off the window and gives back every object of the host's.
  // Again: nothing.
  void Terminate();
  // The window is in front, so this object answers clicks and no other does.
  void ComesToFront();

  // The commands are on the window's ribbon from now on; what is on its bars goes.
  void UseRibbon();
  // The user has clicked the command of that name on this window's ribbon, which runs before it
  // returns. False when this kind of window does not have it. The caller holds the object.
  bool RibbonClick(std::string_view name);
  // The same for a choice from the merge list, or a text typed there.
  bool RibbonChange(std::string_view text);
  // nullptr for a window that has none on its ribbon.
  std::shared_ptr<const RibbonComboBox> ribbon_merge_list() const { return ribbon_merge_list_; }

  void ShowDlgSelectFile() override;
  void ShowfrmMailSetting() override;

 private:
  using Handler = void (MyAddIn::*)();

  void MyInspector_Activate();
  void MyInspector_Deactivate();
  void MyInspector_Close();

  void CmdDistFile_Click();
  void CmdAttachFile_Click();
  void CmdOptions_Click();
  void CmdViewReport_Click();
  void CmdPurgeReport_Click();
  void CmdLimitReport_Click();
  void CmdHelp_Click();
  void CmdSupportHelp_Click();
  void CmdAbout_Click();
  void CmdPaperClip_Click();
  void CmdSend_Click();
  void CmdMergeDataList_Change();

  // The handler, as a function that holds this object while it runs, and does nothing once the
  // object is gone; the second only while this object is active.
  std::function<void()> Holding(Handler handler);
  std::function<void()> WhenActive(const char* tag, Handler handler);
  void OnClick(const std::shared_ptr<CommandBarButton>& button, const Command& command);
  void RunFromRibbon(Handler handler);
  // Takes off what a window's bars have of ours, but for the menu, and lets go of all of it.
  void LeaveBars();
  void CreateBars(Inspector& window);
  std::string Action() const { return "<!" + services_.add_in.prog_id + ">"; }
  std::shared_ptr<CommandBar> CreateReportsMenu(CommandBar& menu, const Command& command,
                                                bool is_new);
  void CreateEntry(CommandBar& menu, const Command& command, bool is_new);
  void FitMenu();
  void CreateButton(CommandBar& bar, const Command& command);
  std::shared_ptr<CommandBarButton> GetOrAddButton(CommandBar& bar, const Command& command);
  void CreateMergeList(CommandBar& bar);
  void SetFace(const std::shared_ptr<CommandBarButton>& button, const Command& command);
  // The add-in was let go, which may happen below any call to the host.
  bool HasEnded() const { return services_.add_in.mail_client == nullptr; }
  // False, and the user is told, where there is no place for the user's data.
  bool HasUserProfile();
  void ReloadMergeLists();
  Desktop& desktop() { return *services_.add_in.desktop; }

  AddInServices services_;
  Clicks::Had clicks_had_;
  std::shared_ptr<CommandBarPopup> menu_;
  std::shared_ptr<CommandBarPopup> reports_menu_;
  std::shared_ptr<CommandBarButton> CmdDistFile, CmdAttachFile, CmdOptions, CmdHelp, CmdSupportHelp,
      CmdAbout;
  std::shared_ptr<CommandBarButton> CmdViewReport, CmdPurgeReport, CmdLimitReport;
  std::shared_ptr<CommandBarButton> CmdPaperClip, CmdSend;
  // The merge list is ComposeWindow::merge_list; the same if it is on a ribbon.
  std::shared_ptr<RibbonComboBox> ribbon_merge_list_;
};

}  // namespace vespro
