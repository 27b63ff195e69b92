// settings/file_backend.h - the settings in a text file of the user's, for systems without a
// registry. Format: docs/formats/settings.md.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/settings_backend.h"

namespace vespro {

// One object or many, in one process or many: each write takes a lock beside the file, changes the
// one line and replaces the file whole, so that no write of anybody else is lost. Comments and
// lines that make no sense stay where they are. Reading makes nothing; the first write makes the
// file (0600) and its folders (0700).
class FileBackend final : public SettingsBackend {
 public:
  // `path` is absolute. "<path>.lock" is the lock; it stays behind, empty.
  explicit FileBackend(std::filesystem::path path) : path_(std::move(path)) {}

  void CreateKey() override;
  // kUsage for a name that a line can't carry: empty, blank at an end, or with "=", "#" in front or
  // control characters. Does nothing when an existing file can't be read.
  Status WriteValue(std::string_view name, std::string_view value, std::uint32_t type) override;
  Value ReadValue(std::string_view name) override;
  std::vector<std::string> ListValues() override;

 private:
  std::filesystem::path path_;
};

// Gives the settings that only an installation sets (see kSettingRows) to a store that lacks them:
// from the file of a packager's choice, in the same format, where it has them, else the values of
// kSettingRows. Values that are there stay. `override_file` may be missing.
Status WriteInstallerDefaults(SettingsBackend& backend, const std::filesystem::path& override_file);

namespace ModSettingsFile {

struct Line {
  std::string raw;   // as it is, without its line end
  std::string name;  // empty: a comment, a blank line, or a line that makes no sense
  std::string value;
};
std::vector<Line> Parse(std::string_view bytes);
// The line for a value: "Name = value", quoted and escaped where the value needs it.
std::string FormatLine(std::string_view name, std::string_view value);

}  // namespace ModSettingsFile
}  // namespace vespro
