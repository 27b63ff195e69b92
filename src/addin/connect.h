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
  ~Connect() { CleanUp(); }

  // `custom` is the number at the lower bound of the custom array, if there is one: 2 or 3 say that
  // a program has started the client, and then nothing is done. `prog_id` is the add-in's. What
  // can't be had of the host is left out; only a missing place for the user's data is told.
  void IDTExtensibility2_OnConnection(std::shared_ptr<MailClient> application,
                                      std::optional<int> custom, std::string_view prog_id);
  // Gives back all that is the host's. Again: nothing.
  void IDTExtensibility2_OnDisconnection() { CleanUp(); }

  const AddIn& add_in() const { return add_in_; }

 private:
  void oAppExplorer_Activate();
  void oAppExplorer_Deactivate();
  void oAppExplorer_BeforeFolderSwitch(std::optional<int> default_item_type);
  void oAppExplorer_Close();
  void oAppInspectors_NewInspector(const std::shared_ptr<Inspector>& inspector);

  bool EnsureUserProfile();
  void AddWindow(const std::shared_ptr<Inspector>& inspector);
  std::shared_ptr<MyAddIn> MainWindow();
  void CleanUp();

  Settings settings_;
  AddIn add_in_;
  AddInPlace place_;
  Clicks clicks_;
  AddInServices services_;
  std::shared_ptr<Explorer> explorer_;      // the one that was in front at connection
  std::shared_ptr<Inspectors> inspectors_;  // all item windows
};

}  // namespace vespro
