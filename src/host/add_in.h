// host/add_in.h - the state of the add-in in one process, and of each compose window. There is no
// other: one AddIn belongs to the connection to the mail client and is passed by reference.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace vespro {

class CommandBarComboBox;
class Desktop;
class Inspector;
class MailClient;

// The base name of the add-in's own file: it names the engine, the job's files and the account
// file, and is the title of every message box.
inline constexpr char kModuleName[] = "Vespro";

// A compose window, as far as the modules know it.
struct ComposeWindow {
  virtual ~ComposeWindow() = default;

  std::int16_t key = -1;                 // in AddIn::windows; -1: not there yet
  bool active = false;                   // is in front; only then its commands act
  std::shared_ptr<Inspector> inspector;  // nullptr: the window is gone, or is the main window
  std::string attachment_list;  // "," and a full path, for each file attached through the add-in
  std::string session_name;     // of the last job made from this window
  std::shared_ptr<CommandBarComboBox> merge_list;  // nullptr before it is built
};

struct AddIn {
  std::shared_ptr<MailClient> mail_client;  // nullptr: the mail client is gone
  Desktop* desktop = nullptr;               // never nullptr once connected
  std::string prog_id;                      // how the mail client calls the add-in
  std::filesystem::path data_folder;        // the user's own: accounts and sessions; empty: none
  std::filesystem::path install_folder;     // where the engine's program lies
  std::string engine_file;                  // the engine's file name there
  int session_counter = 0;                  // see ModSession::NextDigit
  // The open compose windows that are followed. Handlers of theirs may end them: whoever works with
  // one holds a pointer of its own meanwhile.
  std::map<std::int16_t, std::shared_ptr<ComposeWindow>> windows;
  std::int16_t next_key = 0;  // begins again when no window is left
  // The object of the main window, which has the menu only; nullptr before the first need.
  std::shared_ptr<ComposeWindow> main_window;

  // Follows the window no longer, if it is the one of that key.
  void RemoveWindow(std::int16_t key, const ComposeWindow& window) {
    const auto entry = windows.find(key);
    if (entry == windows.end() || entry->second.get() != &window) return;
    // Its end calls the host, whose events may come back here: so only when the collection is
    // right.
    const std::shared_ptr<ComposeWindow> removed = std::move(entry->second);
    windows.erase(entry);
    if (windows.empty()) next_key = 0;
  }
};

}  // namespace vespro
