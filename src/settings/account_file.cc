#include "settings/account_file.h"

#include <algorithm>
#include <array>
#include <system_error>

#include "base/code_page.h"
#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "settings/password.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMaxFileBytes = 256 * 1024 * 1024;
constexpr std::string_view kTearsALine("\r\n\0", 3);

// One field off `rest`, with the comma behind it; `more` says whether there was one. A quoted field
// is what stands between its quotes, an unquoted one ends at the comma. False when the closing
// quote is missing or something else stands behind it.
bool TakeField(std::string_view& rest, std::string& field, bool& more) {
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  std::string_view text;
  if (rest.starts_with('"')) {
    const std::size_t quote = rest.find('"', 1);
    if (quote == std::string_view::npos) return false;
    text = rest.substr(1, quote - 1);
    rest.remove_prefix(quote + 1);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    if (!rest.empty() && rest.front() != ',') return false;
  } else {
    text = rest.substr(0, rest.find(','));
    rest.remove_prefix(text.size());
  }
  field = ModText::Trim(text);
  more = !rest.empty();
  if (more) rest.remove_prefix(1);
  return true;
}

// The four fields of a line as they are stored. The failure says what is wrong with the line.
Status SplitLine(std::string_view line, AccountEntry& entry) {
  std::string text = ModCodePage::ToUtf8(line);
  std::string_view rest = text;
  bool more = true;
  for (std::string* field :
       {&entry.server, &entry.port, &entry.encoded_login, &entry.encoded_password}) {
    if (!more) return Status(Code::kBadInput, "the line has fewer than four fields");
    if (!TakeField(rest, *field, more)) {
      return Status(Code::kBadInput, "a quote is missing or out of place");
    }
  }
  if (more) return Status(Code::kBadInput, "the line has more than four fields");
  return {};
}

Status DecodeSecrets(AccountEntry& entry) {
  Result<std::string> login = ModPassword::DecodePassword(entry.encoded_login);
  if (!login.ok()) return Status(Code::kBadInput, "the login name is not stored as it should be");
  Result<std::string> password = ModPassword::DecodePassword(entry.encoded_password);
  if (!password.ok()) return Status(Code::kBadInput, "the password is not stored as it should be");
  entry.login = std::move(login).value();
  entry.password = std::move(password).value();
  return {};
}

Result<std::string> ReadFile(const fs::path& path) {
  std::error_code error;
  if (!fs::exists(path, error) && !error) return std::string();
  return ModFiles::ReadAll(path, kMaxFileBytes);
}

// Calls `take(line, number)` for each line that is not blank.
template <class Take>
Status ForEachLine(const fs::path& path, const Take& take) {
  Result<std::string> bytes = ReadFile(path);
  if (!bytes.ok()) return bytes.status();
  std::string_view rest = bytes.value();
  std::string_view line;
  for (std::size_t number = 1; NextLine(rest, line); ++number) {
    if (!ModText::Trim(line).empty()) take(line, number);
  }
  return {};
}

std::string Stored(const std::string& text, const std::string& as_read) {
  if (!as_read.empty()) {
    Result<std::string> decoded = ModPassword::DecodePassword(as_read);
    if (decoded.ok() && ModText::Trim(decoded.value()) == ModText::Trim(text)) return as_read;
  }
  return ModPassword::EncodePassword(text);
}

bool IsKeptAsRead(const AccountEntry& entry) { return entry.damaged && !entry.raw_line.empty(); }

void AppendLine(std::string& file, const AccountEntry& entry) {
  if (IsKeptAsRead(entry)) {
    file.append(entry.raw_line).append("\r\n");
    return;
  }
  const std::array<std::string, 4> fields = {ModCodePage::FromUtf8(ModText::Trim(entry.server)),
                                             ModCodePage::FromUtf8(ModText::Trim(entry.port)),
                                             Stored(entry.login, entry.encoded_login),
                                             Stored(entry.password, entry.encoded_password)};
  const char* separator = "";
  for (const std::string& field : fields) {
    file.append(separator).append("\"").append(field).append("\"");
    separator = ",";
  }
  file += "\r\n";
}

bool TearsItsLine(std::string_view text) {
  return text.find_first_of(kTearsALine) != std::string_view::npos;
}

}  // namespace

Result<std::vector<AccountEntry>> ReadAccountFile(const fs::path& path) {
  std::vector<AccountEntry> entries;
  Status read = ForEachLine(path, [&entries](std::string_view line, std::size_t number) {
    AccountEntry& entry = entries.emplace_back();
    Status status = SplitLine(line, entry);
    if (status.ok()) status = DecodeSecrets(entry);
    if (status.ok()) return;
    entry.damaged = true;
    entry.damage = "line " + std::to_string(number) + ": " + status.text();
    entry.raw_line = line;
  });
  if (!read.ok()) return read;
  return entries;
}

Result<std::vector<std::string>> ReadAccountsForJob(const fs::path& path) {
  std::vector<std::string> accounts;
  Status read = ForEachLine(path, [&accounts](std::string_view line, std::size_t) {
    AccountEntry entry;
    if (!SplitLine(line, entry).ok()) return;
    accounts.push_back(entry.server + "," + entry.port + "," + entry.encoded_login + "," +
                       entry.encoded_password);
  });
  if (!read.ok()) return read;
  return accounts;
}

Result<std::uint16_t> CheckServer(std::string_view server, std::string_view port) {
  const std::string_view name = ModText::Trim(server);
  if (name.empty()) return Status(Code::kBadInput, "it names no server");
  // A comma would shift the fields of a job's line.
  if (ModText::HasControls(name) || name.find_first_of(" ,") != std::string_view::npos) {
    return Status(Code::kBadInput, "its server can't be a name");
  }
  std::uint64_t number = 0;
  if (!ModText::ParseUnsigned(ModText::Trim(port), 65535, &number) || number == 0) {
    return Status(Code::kBadInput, "its port is not a number from 1 to 65535");
  }
  return static_cast<std::uint16_t>(number);
}

std::string WhyLeftOut(const AccountEntry& entry) {
  return entry.damaged ? entry.damage : CheckServer(entry.server, entry.port).status().text();
}

Status WriteAccountFile(const fs::path& path, const std::vector<AccountEntry>& entries) {
  std::string file;
  for (const AccountEntry& entry : entries) {
    if (!IsKeptAsRead(entry) && (TearsItsLine(entry.server) || TearsItsLine(entry.port))) {
      return Status(Code::kBadInput, "an account's server or port holds a line break or a NUL");
    }
    AppendLine(file, entry);
  }
  return ModFiles::ReplaceWith(path, file, Access::kPrivate);
}

Status AccountList::Validate(std::string_view server, std::string_view port, std::string_view login,
                             std::string_view password, bool no_authentication) {
  if (server.empty() || port.empty()) return Status(Code::kUsage, std::string(kMissingServer));
  if (!no_authentication && (login.empty() || password.empty())) {
    return Status(Code::kUsage, std::string(kMissingLogin));
  }
  return {};
}

Status AccountList::CheckFields(const AccountEntry& entry) {
  const struct {
    const char* name;
    std::string_view text;
    bool encoded;
  } fields[] = {{"server", entry.server, false},
                {"port", entry.port, false},
                {"login name", entry.login, true},
                {"password", entry.password, true}};
  for (const auto& field : fields) {
    const std::string the_name = std::string("the ") + field.name;
    if (TearsItsLine(field.text)) {
      return Status(Code::kUsage, the_name + " holds a line break or a NUL");
    }
    if (!field.encoded && field.text.find_first_of("\",") != std::string_view::npos) {
      return Status(Code::kUsage, the_name + " holds a quote or a comma");
    }
    if (!ModCodePage::CanHold(field.text)) {
      return Status(Code::kUsage,
                    the_name + " holds a character that the system's code page does not have");
    }
  }
  return {};
}

Status AccountList::Add(AccountEntry entry) {
  if (entries_.size() > kFull) return Status(Code::kUsage, std::string(kTooMany));
  for (std::string* field : {&entry.server, &entry.port, &entry.login, &entry.password}) {
    *field = std::string(ModText::Trim(*field));
  }
  entries_.push_back(std::move(entry));
  return {};
}

Status AccountList::LoadAll(const fs::path& path) {
  Result<std::vector<AccountEntry>> entries = ReadAccountFile(path);
  if (entries.ok()) entries_ = std::move(entries).value();
  return entries.status();
}

Status AccountList::Load(const fs::path& path, const std::function<void(const Status&)>& refused) {
  entries_.clear();
  Result<std::vector<AccountEntry>> entries = ReadAccountFile(path);
  if (!entries.ok()) return entries.status();
  for (AccountEntry& entry : entries.value()) {
    if (Status added = Add(std::move(entry)); !added.ok() && refused) refused(added);
  }
  return {};
}

void AccountList::Remove(std::size_t index) {
  if (index < entries_.size()) {
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(index));
  }
}

}  // namespace vespro
