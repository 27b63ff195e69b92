// host/add_in.h - the state of the add-in in one process, and of each compose window. There is no
// other: one AddIn belongs to the connection to the mail client and is passed by reference.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace vespro {

class CommandBarComboBox;
class Desktop;
class Inspector;
class MailClient;

// The base name of the add-in's own file: it names the engine, the job's files and the account
// file, and is the title of every message box.
inline constexpr char kModuleName[] = "Vespro";

// What is kept for a compose window.
struct ComposeWindow {
  int key = 0;                     // in AddIn::windows
  bool active = false;             // is in front; only then its commands act
  Inspector* inspector = nullptr;  // nullptr: the window is gone
  std::string attachment_list;     // "," and a full path, for each file attached through the add-in
  std::string session_name;        // of the last job made from this window
  std::shared_ptr<CommandBarComboBox> merge_list;  // nullptr before it is built
};

struct AddIn {
  MailClient* mail_client = nullptr;     // nullptr: the mail client is gone
  Desktop* desktop = nullptr;            // never nullptr once connected
  std::filesystem::path data_folder;     // the user's own: accounts and sessions
  std::filesystem::path install_folder;  // where the engine's program lies
  std::string engine_file;               // the engine's file name there
  int session_counter = 0;               // see ModSession::NextDigit
  std::map<int, ComposeWindow*> windows;
};

}  // namespace vespro
