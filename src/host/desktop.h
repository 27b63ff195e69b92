// host/desktop.h - the person in front of the screen and the programs beside us. All text is UTF-8.
// One thread: the mail client's own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace vespro {

enum class MessageIcon { kCritical, kQuestion, kExclamation, kInformation };
enum class MessageButtons { kOk, kYesNo };
enum class MessageAnswer { kOk, kYes, kNo };

// A program to start. `text` is the whole line, as a system takes it that starts programs by one;
// `executable` and `arguments` say the same for systems that take them apart.
struct CommandLine {
  std::string executable;
  std::vector<std::string> arguments;
  std::string text;
};

// What a file picker shows.
struct FileQuestion {
  std::string title;
  // Pairs of a kind's name and its patterns, all followed by "|": "Text (*.txt)|*.txt; *.text|".
  std::string filter;
  std::string folder;  // where it begins; empty: where the system thinks best
};

// What to open, for Desktop::Shell.
struct ShellRequest {
  std::string operation;  // such as "open"
  std::string file;       // a document, a program or an address
  std::string parameters = {};
  std::string directory = {};
  int show = 1;  // how its window begins: 0 hidden, 1 normal, 10 as the program thinks best
};

// Whether Desktop::Shell has opened it; the numbers up to 32 are failures.
constexpr bool ShellSucceeded(int result) { return result > 32; }

// How a picture of the add-in's own goes to the clipboard.
enum class PictureKind {
  kBitmap,  // a bitmap, as a bitmap
  kIcon,    // an icon drawn on the colour of a button, as a bitmap and a device-independent one
};

class FormScreen;
class Hourglass;

class Desktop {
 public:
  virtual ~Desktop() = default;

  virtual MessageAnswer MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                               std::string_view title) = 0;
  // What was typed; empty when the box was cancelled, too.
  virtual std::string InputBox(std::string_view prompt, std::string_view title,
                               std::string_view initial) = 0;
  // The full path of one existing file; empty when none was chosen.
  virtual std::string PickFile(const FileQuestion& question) = 0;
  // Where forms are shown (forms/form.h); nullptr where there is no screen.
  virtual FormScreen* Screen() = 0;
  // The clipboard, for plain text. kUnavailable where there is none or another program holds it.
  virtual Status ClearClipboard() { return NoClipboard(); }
  virtual Status SetClipboardText(std::string_view) { return NoClipboard(); }
  // The resource of that name, in the size of a button's face.
  virtual Status SetClipboardPicture(std::string_view, PictureKind) { return NoClipboard(); }
  // The mouse pointer while the user has to wait. Calls don't nest; use host/hourglass.h.
  virtual void SetHourglass(bool on) = 0;
  // The program that edits text files, as Start's `executable` takes it.
  virtual std::string TextEditor() const { return "notepad.exe"; }
  // The program that shows a folder, likewise.
  virtual std::string FolderViewer() const { return "explorer"; }
  // Lets pending window events run. May be called once for every line of a long file: the host
  // pumps rarely enough for that to cost nothing.
  virtual void DoEvents() = 0;
  // Starts the program in a normal window and does not wait for it.
  virtual Status Start(const CommandLine& command) = 0;
  // Has the system open something with the program that is meant for it, and does not wait for it.
  // ShellSucceeded, or what ShellExecute would say: 2 file not found, 3 path not found, 31 no
  // program for it, ...
  virtual int Shell(const ShellRequest&) { return 31; }
  // A line for the host's log: what went wrong where nothing may interrupt the user. No secrets.
  virtual void Log(std::string_view line) = 0;

 private:
  friend class Hourglass;
  static Status NoClipboard() { return Status(Code::kUnavailable, "there is no clipboard here"); }

  int hourglasses_ = 0;  // that live now
};

}  // namespace vespro
