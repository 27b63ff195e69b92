#include "settings/file_backend.h"

#include <algorithm>
#include <system_error>

#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "settings/number_text.h"
#include "settings/settings.h"

namespace vespro {
namespace {

using ModSettingsFile::Line;
namespace fs = std::filesystem;

// Far above any real file; a device or a log by that name is not read to its end.
constexpr std::uint64_t kMaxFileBytes = 64 * 1024 * 1024;
constexpr std::string_view kHeading =
    "# The settings of Vespro. One \"Name = value\" a line; text with blanks at an end, quotes or\n"
    "# line breaks stands in double quotes. 'vespro settings list' says what each name means.\n";

// "" for a file that is not there.
Result<std::string> ReadFile(const fs::path& path) {
  Result<std::string> bytes = ModFiles::ReadAll(path, kMaxFileBytes);
  std::error_code error;
  if (!bytes.ok() && !fs::exists(path, error) && !error) return std::string();
  return bytes;
}

// The last line of a name counts, as if the file were read from the top and each line obeyed.
const Line* Find(const std::vector<Line>& lines, std::string_view name) {
  const auto line = std::find_if(lines.rbegin(), lines.rend(), [name](const Line& candidate) {
    return !candidate.name.empty() && ModText::EqualsIgnoringAsciiCase(candidate.name, name);
  });
  return line == lines.rend() ? nullptr : &*line;
}

bool IsUsableName(std::string_view name) {
  return !name.empty() && name == ModText::Trim(name) && name.front() != '#' &&
         name.find('=') == std::string_view::npos && !ModText::HasControls(name) &&
         ModText::IsUtf8(name);
}

}  // namespace

void FileBackend::CreateKey() {
  // A missing file is a missing key, so an empty one is an empty key.
  if (!ModFiles::MakeFolders(path_.parent_path()).ok()) return;
  fs::path lock_path = path_;
  lock_path += ".lock";
  Result<FileLock> lock = FileLock::Take(lock_path, FileLock::Wait::kUntilFree);
  if (!lock.ok() || ModFiles::IsFile(path_)) return;
  ModFiles::ReplaceWith(path_, kHeading, Access::kPrivate).Ignore();  // as the contract says
}

Status FileBackend::WriteValue(std::string_view name, std::string_view value, std::uint32_t type) {
  if (type != kString && type != kNumber) return {};
  if (!IsUsableName(name)) {
    return Status(Code::kUsage,
                  "'" + ModText::Printable(name) + "' can't be the name of a setting");
  }
  if (Status made = ModFiles::MakeFolders(path_.parent_path()); !made.ok()) return made;
  fs::path lock_path = path_;
  lock_path += ".lock";
  Result<FileLock> lock = FileLock::Take(lock_path, FileLock::Wait::kUntilFree);
  if (!lock.ok()) return lock.status();
  Result<std::string> bytes = ReadFile(path_);
  if (!bytes.ok()) {
    return Status(Code::kCannotWrite, bytes.status().text(), bytes.status().native());
  }

  std::vector<Line> lines = ModSettingsFile::Parse(bytes.value());
  const std::string written =
      ModSettingsFile::FormatLine(name, type == kNumber ? NumberText(value) : std::string(value));
  const Line* const old = Find(lines, name);
  std::string text(bytes->empty() ? kHeading : "");
  for (const Line& line : lines) text.append(&line == old ? written : line.raw).append("\n");
  if (old == nullptr) text.append(written).append("\n");
  return ModFiles::ReplaceWith(path_, text, Access::kPrivate);
}

SettingsBackend::Value FileBackend::ReadValue(std::string_view name) {
  Result<std::string> bytes = ReadFile(path_);
  if (!bytes.ok()) {
    const std::uint32_t native = bytes.status().native();
    return {"", native != 0 ? static_cast<std::int32_t>(native) : -1};
  }
  const std::vector<Line> lines = ModSettingsFile::Parse(bytes.value());
  const Line* const line = Find(lines, name);
  if (line == nullptr) return {"", kMissing};
  return {line->value, 0};
}

std::vector<std::string> FileBackend::ListValues() {
  std::vector<std::string> names;
  Result<std::string> bytes = ReadFile(path_);
  if (!bytes.ok()) return names;
  const std::vector<Line> lines = ModSettingsFile::Parse(bytes.value());
  for (const Line& line : lines) {
    if (!line.name.empty() && Find(lines, line.name) == &line) names.push_back(line.name);
  }
  return names;
}

Status WriteInstallerDefaults(SettingsBackend& backend, const fs::path& override_file) {
  FileBackend packaged(override_file);
  for (const SettingRow& row : kSettingRows) {
    if (row.installed.empty() || backend.ReadValue(row.name).status != SettingsBackend::kMissing) {
      continue;
    }
    const SettingsBackend::Value chosen = packaged.ReadValue(row.name);
    Status written = backend.WriteValue(row.name, chosen.status == 0 ? chosen.text : row.installed,
                                        SettingsBackend::kString);
    if (!written.ok()) return written;
  }
  return {};
}

namespace ModSettingsFile {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

// Characters that need no escape: nothing is lost when an editor or a person trims the line.
bool IsPlain(std::string_view value) {
  return value == ModText::Trim(value) && !value.starts_with('"') && !ModText::HasControls(value) &&
         ModText::IsUtf8(value);
}

void AppendEscaped(std::string& out, char c) {
  switch (c) {
    case '"':
      out += "\\\"";
      return;
    case '\\':
      out += "\\\\";
      return;
    case '\r':
      out += "\\r";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\t':
      out += "\\t";
      return;
    default:
      break;
  }
  const auto byte = static_cast<unsigned char>(c);
  out.append("\\x").append(1, kHexDigits[byte >> 4]).append(1, kHexDigits[byte & 0xF]);
}

// UTF-8 characters stay readable; control characters and bytes that are no UTF-8 are escaped.
std::string Quote(std::string_view value) {
  std::string out = "\"";
  while (!value.empty()) {
    const auto lead = static_cast<unsigned char>(value.front());
    const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    const std::string_view character = value.substr(0, length);
    if (ModText::IsUtf8(character) && !ModText::HasControls(character) && lead != '"' &&
        lead != '\\') {
      out += character;
      value.remove_prefix(character.size());
    } else {
      AppendEscaped(out, value.front());
      value.remove_prefix(1);
    }
  }
  return out + "\"";
}

// The text of an escape after its backslash, taken off `rest`. False when it is none.
bool TakeEscape(std::string_view& rest, std::string& value) {
  constexpr std::string_view kLetters = "\"\\rnt";
  constexpr std::string_view kMeanings = "\"\\\r\n\t";
  if (rest.empty()) return false;
  const char letter = rest.front();
  rest.remove_prefix(1);
  if (const std::size_t which = kLetters.find(letter); which != std::string_view::npos) {
    value += kMeanings[which];
    return true;
  }
  if (letter != 'x' || rest.size() < 2) return false;
  const std::size_t high = kHexDigits.find(rest[0]);
  const std::size_t low = kHexDigits.find(rest[1]);
  if (high == std::string_view::npos || low == std::string_view::npos) return false;
  value += static_cast<char>(high << 4 | low);
  rest.remove_prefix(2);
  return true;
}

// `rest` begins after the opening quote; nothing may follow the closing one.
bool Unquote(std::string_view rest, std::string& value) {
  while (!rest.empty()) {
    const char c = rest.front();
    rest.remove_prefix(1);
    if (c == '"') return rest.empty();
    if (c != '\\') {
      value += c;
    } else if (!TakeEscape(rest, value)) {
      return false;
    }
  }
  return false;
}

void ParseLine(std::string_view raw, Line& line) {
  const std::size_t equals = raw.find('=');
  if (equals == std::string_view::npos) return;
  const std::string_view name = ModText::Trim(raw.substr(0, equals));
  if (!IsUsableName(name)) return;
  const std::string_view text = ModText::Trim(raw.substr(equals + 1));
  if (!text.starts_with('"')) {
    line.value = text;
  } else if (!Unquote(text.substr(1), line.value)) {
    return;
  }
  line.name = name;
}

}  // namespace

std::vector<Line> Parse(std::string_view bytes) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
  std::vector<Line> lines;
  std::string_view raw;
  while (NextLine(bytes, raw)) {
    Line& line = lines.emplace_back();
    line.raw = raw;
    ParseLine(raw, line);
  }
  return lines;
}

std::string FormatLine(std::string_view name, std::string_view value) {
  std::string line = std::string(name) + " =";
  if (!value.empty()) line.append(" ").append(IsPlain(value) ? std::string(value) : Quote(value));
  return line;
}

}  // namespace ModSettingsFile
}  // namespace vespro
