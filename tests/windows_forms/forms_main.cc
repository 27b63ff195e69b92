// vespro-forms: shows the dialogs, one at a time, without a mail client: on sample data, or on a
// home's settings and data with steps from standard input (dialogs/walk.h).
#include <windows.h>

#include <objbase.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "base/command_line.h"
#include "base/files.h"
#include "dialogs/samples.h"
#include "dialogs/walk.h"
#include "win32/guard.h"
#include "win32/win32_desktop.h"
#include "win32/win32_driver.h"
#include "windows_forms/gallery.h"
#include "windows_forms/screenshot.h"

namespace vespro {
namespace {

std::vector<DialogSample> Samples() {
  const std::filesystem::path work_folder = std::filesystem::temp_directory_path() / "vespro-forms";
  std::filesystem::create_directories(work_folder);
  std::vector<DialogSample> samples = DialogSamples(work_folder);
  samples.push_back({"gallery", [](Desktop& desktop) { frmGallery().ShowModal(desktop); },
                     "Every kind of control."});
  samples.push_back({"gallery-files", [](Desktop& desktop) { frmGallery(1).ShowModal(desktop); },
                     "Its second page."});
  samples.push_back({"input",
                     [](Desktop& desktop) {
                       desktop.InputBox("What is your sender's email address?", "Vespro",
                                        "me@example.org");
                     },
                     "The input box."});
  return samples;
}

// The window in front is drawn within that time, on a slow machine, too.
constexpr UINT kBeforePicture = 1000;  // milliseconds

std::filesystem::path& PictureFile() {
  static std::filesystem::path file;
  return file;
}

// Comes out of whatever loop runs: a message box's, too.
void CALLBACK TakePicture(HWND, UINT, UINT_PTR, DWORD) {
  AtEdge("the picture", [] {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const Status saved = ModScreenshot::Save(GetForegroundWindow(), PictureFile());
    if (!saved.ok()) std::fprintf(stderr, "%s\n", saved.text().c_str());
    std::fflush(nullptr);
    ExitProcess(saved.ok() ? 0 : 1);
  });
}

int Show(const DialogSample& sample) {
  Win32Desktop desktop(
      [] { return HWND{}; },
      [](std::string_view line) { std::fprintf(stderr, "%s\n", std::string(line).c_str()); });
  sample.show(desktop);
  return 0;
}

int Run(std::vector<std::string> arguments) {
  if (arguments.size() == 4 && arguments[1] == "--picture") {
    PictureFile() = ModFiles::FromUtf8(arguments[2]);
    SetCursorPos(0, 0);  // or a tooltip would lie over the picture
    SetTimer(nullptr, 0, kBeforePicture, TakePicture);
    arguments.erase(arguments.begin() + 1, arguments.begin() + 3);
  }
  if (arguments.size() == 4 && arguments[2] == "--home") {
    Win32Driver driver;
    return WalkThrough(driver, arguments[1], arguments[3], std::cin, std::cout);
  }
  const std::vector<DialogSample> samples = Samples();
  if (arguments.size() == 2 && arguments[1] == "--list") {
    for (const DialogSample& sample : samples) std::puts(sample.name.c_str());
    return 0;
  }
  for (const DialogSample& sample : samples) {
    if (arguments.size() == 2 && arguments[1] == sample.name) return Show(sample);
  }
  std::fputs("usage: vespro-forms [--picture FILE] NAME | NAME --home DIR | --list\n", stderr);
  return 64;
}

}  // namespace
}  // namespace vespro

int main(int argc, char** argv) { return vespro::Run(vespro::ModCommandLine::Begin(argc, argv)); }
