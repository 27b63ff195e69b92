// outlook/loading.h - how Outlook comes to its add-ins: its list in the registry, the class that
// the list names, the DLL, the interface. Outlook's own thread.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "outlook/client.h"

namespace vespro::standin {

struct ListedAddIn {
  std::string prog_id;
  std::string class_id;  // "{...}"
  std::filesystem::path dll;
  std::string threading_model;
  unsigned load_behavior = 0;
  bool LoadsAtStart() const { return (load_behavior & 2) != 0; }
};

// What Outlook's list names, the user's own part before the machine's; whatever of it can't be
// found is empty.
std::vector<ListedAddIn> ListedAddIns();

// The array that goes with the calls.
struct Custom {
  enum class Form { kArray, kEmptyArray, kNoArray, kNoPointer };
  int first = 1;  // 1: the user has started Outlook; 2, 3: a program
  Form form = Form::kArray;
  LONG lower_bound = 1;
  VARTYPE type = VT_I4;  // of the element
};

class LoadedAddIn {
 public:
  // Loads the DLL and has it make its object. kNotFound, kUnavailable: the step that failed, with
  // Windows' number.
  static Result<std::unique_ptr<LoadedAddIn>> Load(const ListedAddIn& listed);
  ~LoadedAddIn();
  LoadedAddIn(const LoadedAddIn&) = delete;
  LoadedAddIn& operator=(const LoadedAddIn&) = delete;

  // As at Outlook's start. A failure of OnConnection lets the object go.
  HRESULT Connect(Client& client, const Custom& custom = {});
  // As at Outlook's end, or when the person takes the add-in's tick away.
  void Disconnect(Client& client);
  HMODULE module() const { return module_; }
  // Lets the object go; whether the DLL then says that it may be unloaded. It is, if so.
  bool Unload();

 private:
  struct Interface;

  LoadedAddIn() = default;

  ListedAddIn listed_;
  HMODULE module_ = nullptr;
  Interface* add_in_ = nullptr;
};

}  // namespace vespro::standin
