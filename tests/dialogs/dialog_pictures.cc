// Prints docs/dialogs.md: what every dialog looks like. With that file's path as the argument it
// only says whether the file shows the dialogs as they are.

#include <cstdio>
#include <filesystem>
#include <string>

#include "base/files.h"
#include "base/random.h"
#include "dialogs/samples.h"
#include "forms/scripted.h"

namespace vespro {
namespace {

std::string Picture(const DialogSample& sample) {
  ScriptedDriver driver;
  driver.Start([&] { sample.show(driver.desktop()); });
  return driver.Look();
}

std::string Manual(const std::filesystem::path& work_folder) {
  std::string text =
      "# The dialogs\n\n"
      "Drawn with letters, as the tests see them: `>` has the focus, `~` can't be used, `_` stands "
      "before an access key.\n"
      "Printed by `dialog_pictures`.\n";
  for (const DialogSample& sample : DialogSamples(work_folder)) {
    text += "\n## " + sample.name + "\n\n" + sample.explanation + "\n\n```\n" + Picture(sample) +
            "```\n";
  }
  return text;
}

int Compare(const std::string& expected, const char* path) {
  const Result<std::string> found = ModFiles::ReadAll(ModFiles::FromUtf8(path));
  if (found.ok() && found.value() == expected) return 0;
  std::fprintf(
      stderr,
      "%s does not show the dialogs as they are. Look at them, and if they are meant to be "
      "so:\n  %s > %s\n",
      path, ModFiles::ToUtf8(ModFiles::ProgramPath()).c_str(), path);
  return 1;
}

int Run(const char* path) {
  const std::filesystem::path work_folder =
      std::filesystem::temp_directory_path() /
      ("vespro pictures " + std::to_string(SystemRandomness().Next()));
  std::filesystem::create_directories(work_folder);
  const std::string text = Manual(work_folder);
  ModFiles::Remove(work_folder).Ignore();  // the pictures are made
  if (path != nullptr) return Compare(text, path);
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

}  // namespace
}  // namespace vespro

int main(int argc, char** argv) { return vespro::Run(argc > 1 ? argv[1] : nullptr); }
