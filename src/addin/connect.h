// addin/connect.h - the connection to the mail client: starts the add-in, follows the client's
// windows, and ends it. One thread: the mail client's own.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "addin/my_addin.h"
#include "host/add_in.h"
#include "host/mail_client.h"
#include "settings/settings.h"

namespace vespro {

// Where the add-in is.
struct AddInPlace {
  std::filesystem::path install_folder;  // of the engine, the help and the pictures
  std::string engine_file;               // the engine's file name there
  std::string user_name;                 // names the user's own folder; empty: not known
  // In what the users' folders are; empty: in the install folder.
  std::filesystem::path users_folder = {};
};

class Connect {
 public:
  // What is passed must outlive the connection, and that must outlive every handler that runs: a
  // host that drops it below one of its events keeps it until that returns.
  Connect(Desktop& desktop, SettingsBackend& backend, const Clock& clock, Randomness& randomness,
          AddInPlace place);
  Connect(const Connect&) = delete;
  Connect& operator=(const Connect&) = delete;
  ~Connect() { IDTExtensibility2_OnDisconnection(); }

  // `custom` is the number at the lower bound of the custom array, if there is one: 2 or 3 say that
  // a program has started the client, and then nothing is done. `prog_id` is the add-in's. What
  // can't be had of the host is left out; only a missing place for the user's data is told.
  void IDTExtensibility2_OnConnection(std::shared_ptr<MailClient> application,
                                      std::optional<int> custom, std::string_view prog_id);
  // Gives back all that is the host's. Again: nothing.
  void IDTExtensibility2_OnDisconnection() {
    CleanUp();
    ribbons_.End();
  }

  const AddIn& add_in() const { return add_in_; }

  // The host wants to know whether there is anything for ribbons, so that it is going to ask for
  // it. Before the connection: then nothing is put on bars until it could have asked.
  void ExpectRibbons() { expects_ribbons_ = true; }
  void IDTExtensibility2_OnStartupComplete() { CreateMissedMenu(); }
  // The host asks for what to put on the ribbons of a kind of windows, before or after the
  // connection: the description, or "" for none. From version 14 on the commands are on ribbons
  // once one was given, and what was made on bars goes; a host that never asks has the bars.
  std::string GetCustomUI(std::string_view ribbon_id);
  bool gives_ribbons() const { return ribbons_.given(); }
  // It has made the ribbons that were described.
  void RibbonLoad(RibbonKind kind, std::shared_ptr<Ribbon> ribbon) {
    ribbons_.Load(kind, std::move(ribbon));
  }
  // The object of a window on whose ribbon a control is, by any object that is that window; nullptr
  // means a main window. nullptr when the add-in has nothing there: it is to be hidden.
  std::shared_ptr<MyAddIn> OnRibbonOf(const Inspector* window);

 private:
  void oAppExplorer_Activate();
  void oAppExplorer_Deactivate();
  void oAppExplorer_BeforeFolderSwitch(std::optional<int> default_item_type);
  void oAppExplorer_Close();
  void oAppInspectors_NewInspector(const std::shared_ptr<Inspector>& inspector);

  bool EnsureUserProfile();
  void CreateMainMenu(Explorer& explorer, MyAddIn& main_window);
  // A host that has not asked for ribbons by now is not going to.
  void CreateMissedMenu();
  bool HasRibbonVersion();
  bool TakesRibbons(RibbonKind kind);
  void AddWindow(const std::shared_ptr<Inspector>& inspector);
  std::shared_ptr<MyAddIn> MainWindow();
  void CleanUp();

  Settings settings_;
  AddIn add_in_;
  AddInPlace place_;
  Clicks clicks_;
  Ribbons ribbons_;
  bool expects_ribbons_ = false;
  bool misses_menu_ = false;        // since the host is expected to ask for ribbons
  bool shows_mail_folder_ = false;  // the commands of the main window are for these
  AddInServices services_;
  std::shared_ptr<Explorer> explorer_;      // the one that was in front at connection
  std::shared_ptr<Inspectors> inspectors_;  // all item windows
};

}  // namespace vespro
