#include "settings/account_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <system_error>
#include <unordered_map>

#include "base/code_page.h"
#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "host/add_in.h"
#include "settings/password.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMaxFileBytes = 256 * 1024 * 1024;
constexpr std::string_view kLineBreakers("\r\n\0", 3);

// One field off `rest`, with the comma after it; `more` says whether there was one. A quoted field
// is what is between its quotes, an unquoted one ends at the comma. False when the closing
// quote is missing or something else is after it.
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
void ForEachLine(std::string_view bytes, const Take& take) {
  std::string_view line;
  for (std::size_t number = 1; NextLine(bytes, line); ++number) {
    if (!ModText::Trim(line).empty()) take(line, number);
  }
}

std::vector<AccountEntry> ParseEntries(std::string_view bytes) {
  std::vector<AccountEntry> entries;
  // Lines may be blank, so no more than a list holds by itself.
  const auto lines = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
  entries.reserve(std::min(lines + 1, AccountList::kFull + 1));
  ForEachLine(bytes, [&entries](std::string_view line, std::size_t number) {
    AccountEntry& entry = entries.emplace_back();
    Status status = SplitLine(line, entry);
    if (status.ok()) status = DecodeSecrets(entry);
    if (status.ok()) return;
    entry.damaged = true;
    entry.damage = "line " + std::to_string(number) + ": " + status.text();
    entry.raw_line = line;
  });
  return entries;
}

// The same for entries that are written as the same line.
std::string KeyOf(const AccountEntry& entry) {
  if (entry.damaged) return entry.raw_line;
  std::string key;
  for (const std::string* field :
       {&entry.server, &entry.port, &entry.encoded_login, &entry.encoded_password}) {
    key.append(*field).push_back('\n');
  }
  return key;
}

// Numbers equal entries, in their order.
class Numbering {
 public:
  std::pair<std::string, std::size_t> Next(const AccountEntry& entry) {
    std::string key = KeyOf(entry);
    const std::size_t number = seen_[key]++;
    return {std::move(key), number};
  }

 private:
  std::unordered_map<std::string, std::size_t> seen_;
};

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

bool HasLineBreaker(std::string_view text) {
  return text.find_first_of(kLineBreakers) != std::string_view::npos;
}

}  // namespace

fs::path AccountFileIn(const fs::path& data_folder) {
  return data_folder / (std::string(kModuleName) + ".db");
}

Result<std::vector<AccountEntry>> ReadAccountFile(const fs::path& path) {
  Result<std::string> bytes = ReadFile(path);
  if (!bytes.ok()) return bytes.status();
  return ParseEntries(bytes.value());
}

Result<FileLock> LockAccountFile(const fs::path& path) {
  fs::path lock = path;
  lock += ".lock";
  return FileLock::Take(lock, FileLock::Wait::kUntilFree);
}

Result<std::vector<std::string>> ReadAccountsForJob(const fs::path& path) {
  Result<std::string> bytes = ReadFile(path);
  if (!bytes.ok()) return bytes.status();
  std::vector<std::string> accounts;
  ForEachLine(bytes.value(), [&accounts](std::string_view line, std::size_t) {
    AccountEntry entry;
    if (!SplitLine(line, entry).ok()) return;
    accounts.push_back(entry.server + "," + entry.port + "," + entry.encoded_login + "," +
                       entry.encoded_password);
  });
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
    if (!IsKeptAsRead(entry) && (HasLineBreaker(entry.server) || HasLineBreaker(entry.port))) {
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
    if (HasLineBreaker(field.text)) {
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
  origins_.push_back(kAdded);
  return {};
}

Status AccountList::LoadAll(const fs::path& path) { return Load(path, SIZE_MAX, {}); }

Status AccountList::Load(const fs::path& path, const std::function<void(const Status&)>& refused) {
  return Load(path, kFull + 1, refused);
}

Status AccountList::Load(const fs::path& path, std::size_t most,
                         const std::function<void(const Status&)>& refused) {
  entries_.clear();
  origins_.clear();
  loaded_.clear();
  Result<std::string> bytes = ReadFile(path);
  if (!bytes.ok()) return bytes.status();
  loaded_ = std::move(bytes).value();
  entries_ = ParseEntries(loaded_);
  const std::size_t surplus = entries_.size() - std::min(entries_.size(), most);
  entries_.resize(entries_.size() - surplus);
  origins_.resize(entries_.size());
  std::iota(origins_.begin(), origins_.end(), 0);
  loaded_rows_ = entries_.size();
  const Status full(Code::kUsage, std::string(kTooMany));
  for (std::size_t i = 0; i < surplus && refused; ++i) refused(full);
  return {};
}

void AccountList::Remove(std::size_t index) {
  if (index >= entries_.size()) return;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(index));
  origins_.erase(origins_.begin() + static_cast<std::ptrdiff_t>(index));
}

Status AccountList::SaveChanges(const fs::path& path) const {
  Result<FileLock> lock = LockAccountFile(path);
  if (!lock.ok()) return lock.status();
  Result<std::vector<AccountEntry>> now = ReadAccountFile(path);
  if (!now.ok()) return now.status();
  const auto removed = RemovedEntries();
  std::vector<AccountEntry> entries;
  Numbering numbering;
  for (AccountEntry& entry : now.value()) {
    if (removed.count(numbering.Next(entry)) == 0) entries.push_back(std::move(entry));
  }
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (origins_[i] == kAdded) entries.push_back(entries_[i]);
  }
  return WriteAccountFile(path, entries);
}

std::set<std::pair<std::string, std::size_t>> AccountList::RemovedEntries() const {
  std::vector<bool> is_removed(loaded_rows_, true);
  for (const std::size_t origin : origins_) {
    if (origin != kAdded) is_removed[origin] = false;
  }
  std::set<std::pair<std::string, std::size_t>> removed;
  const std::vector<AccountEntry> loaded = ParseEntries(loaded_);
  Numbering numbering;
  for (std::size_t i = 0; i < loaded_rows_; ++i) {
    auto number = numbering.Next(loaded[i]);
    if (is_removed[i]) removed.insert(std::move(number));
  }
  return removed;
}

}  // namespace vespro
