#include "support/linux_facts.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <system_error>

#include "base/command_line.h"
#include "base/files.h"
#include "base/lines.h"
#include "base/shell.h"
#include "base/text.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

// Longer than it takes to start a program, even on a machine that has much to do.
constexpr std::chrono::milliseconds kVersionLimit{1000};
constexpr std::uint64_t kMaxFileBytes = 256 * 1024 * 1024;

std::string ReadFile(const fs::path& path) {
  Result<std::string> bytes = ModFiles::ReadAll(path, kMaxFileBytes);
  return bytes.ok() ? std::move(bytes).value() : std::string();
}

std::string FirstLineOf(const fs::path& path) {
  std::string text = ReadFile(path);
  text.resize(std::min(text.find('\n'), text.size()));
  return text;
}

// A value as the shell takes it: with or without quotes, and a backslash before what is meant as
// it is.
std::string Unquoted(std::string_view value) {
  const char quote = !value.empty() && (value[0] == '"' || value[0] == '\'') ? value[0] : '\0';
  if (quote != '\0') value.remove_prefix(1);
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (quote != '\0' && value[i] == quote) break;
    if (value[i] == '\\' && quote != '\'' && i + 1 < value.size()) ++i;
    text += value[i];
  }
  return text;
}

std::string OsRelease(const std::string& file, std::string_view name) {
  std::string_view rest = file;
  for (std::string_view line; NextLine(rest, line);) {
    if (line.starts_with(name) && line.substr(name.size()).starts_with('=')) {
      return Unquoted(line.substr(name.size() + 1));
    }
  }
  return {};
}

// The line's value when it is "Field: value".
bool TakeField(std::string_view line, std::string_view field, std::string_view& value) {
  if (!line.starts_with(field) || !line.substr(field.size()).starts_with(": ")) return false;
  value = line.substr(field.size() + 2);
  return true;
}

// "1.2.3" as the two halves of a file's version; what is missing is 0.
std::optional<std::string> VersionFrom(std::string_view text) {
  std::uint32_t numbers[4] = {};
  std::size_t count = 0;
  for (const std::string_view part : ModText::Split(text, '.')) {
    std::uint64_t number = 0;
    if (count == 4 || !ModText::ParseUnsigned(part, 0xFFFF, &number)) return std::nullopt;
    numbers[count++] = static_cast<std::uint32_t>(number);
  }
  if (count == 0) return std::nullopt;
  return FileVersionText(numbers[0] << 16 | numbers[1], numbers[2] << 16 | numbers[3]);
}

// Empty for what is no process, or a thread of the kernel's.
std::string ProgramOf(const fs::path& process) {
  std::error_code error;
  const fs::path executable = fs::read_symlink(process / "exe", error);
  if (!error) return ModFiles::ToUtf8(executable);
  if (error != std::errc::permission_denied) return {};
  return FirstLineOf(process / "comm");
}

bool IsNumber(std::string_view name) {
  return !name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

OsRecord LinuxFacts::Os() {
  std::string release = ReadFile(root_ / "etc/os-release");
  if (release.empty()) release = ReadFile(root_ / "usr/lib/os-release");
  OsRecord record;
  record.name = OsRelease(release, "PRETTY_NAME");
  record.version = OsRelease(release, "VERSION_ID");
  record.build = FirstLineOf(root_ / "proc/sys/kernel/osrelease");
  record.service_pack = FirstLineOf(root_ / "proc/sys/kernel/version");
  return record;
}

std::string LinuxFacts::FileVersion(const fs::path& program) {
  if (!ModFiles::IsFile(program)) return {};
  const std::atomic<bool> stop{false};
  const Result<std::string> line = ModShell::RunForFirstLine(
      ModCommandLine::ForShell(ModFiles::ToUtf8(program)) + " --version 2>/dev/null", kVersionLimit,
      stop);
  if (!line.ok()) return {};
  const std::string_view text = line.value();
  return VersionFrom(text.substr(text.rfind(' ') + 1)).value_or("");
}

SystemFacts::Browser LinuxFacts::BrowserFacts() {
  for (const Package& package : Packages()) {
    if (!package.name.starts_with("libwebkit2gtk-4.") &&
        !package.name.starts_with("libwebkitgtk-6.")) {
      continue;
    }
    const std::size_t dash = package.version.rfind('-');
    Browser browser{package.version.substr(0, dash), {}};
    if (dash != std::string::npos) browser.build = package.version.substr(dash + 1);
    return browser;
  }
  return {};
}

std::vector<std::string> LinuxFacts::InstalledPrograms() {
  std::vector<std::string> programs;
  for (const Package& package : Packages())
    programs.push_back(package.name + " " + package.version);
  return programs;
}

// Paragraphs of fields, one for each package that dpkg has heard of.
const std::vector<LinuxFacts::Package>& LinuxFacts::Packages() {
  if (packages_read_) return packages_;
  packages_read_ = true;
  const std::string status = ReadFile(root_ / "var/lib/dpkg/status");
  std::string_view rest = status;
  Package package;
  bool installed = false;
  const auto take = [&] {
    if (installed) packages_.push_back(std::move(package));
    package = {};
    installed = false;
  };
  std::string_view value;
  for (std::string_view line; NextLine(rest, line);) {
    if (line.empty()) take();
    if (TakeField(line, "Package", value)) package.name = value;
    if (TakeField(line, "Version", value)) package.version = value;
    if (TakeField(line, "Status", value)) installed = value.ends_with(" installed");
  }
  take();
  return packages_;
}

std::vector<std::string> LinuxFacts::RunningPrograms() {
  std::vector<std::string> programs;
  for (const fs::path& process : ModFiles::PathsIn(root_ / "proc")) {
    if (!IsNumber(ModFiles::ToUtf8(process.filename()))) continue;
    std::string program = ProgramOf(process);
    if (!program.empty()) programs.push_back(std::move(program));
  }
  return programs;
}

std::unique_ptr<SystemFacts> ThisSystem() { return std::make_unique<LinuxFacts>("/"); }

}  // namespace vespro
