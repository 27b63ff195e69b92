// settings/account_file.h - the user's mail servers and the file that keeps them. Entries are never
// merged or sorted: a server that is in the list twice is meant to get twice the mail. Format:
// docs/formats/account-file.md. Text is UTF-8 here and the code page in the file. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/files.h"
#include "base/status.h"

namespace vespro {

struct AccountEntry {
  std::string server;
  std::string port;
  std::string login;     // empty: no authentication
  std::string password;  // a secret; may be empty: the engine can ask a command for it

  // What the file had, when the entry comes from there. A login or password that is unchanged is
  // written back as it was, also when its bytes mean nothing in today's code page.
  std::string encoded_login;
  std::string encoded_password;

  // A line that is no entry, or whose login or password can't be decoded. `damage` says why,
  // without secrets; `raw_line` is written back as it is.
  bool damaged = false;
  std::string damage;
  std::string raw_line;
};

std::filesystem::path AccountFileIn(const std::filesystem::path& data_folder);

// The entries in file order, damaged ones too; blank lines are skipped. No file, no entries.
Result<std::vector<AccountEntry>> ReadAccountFile(const std::filesystem::path& path);

// Held while the file is read, changed and written; waits for others who do.
Result<FileLock> LockAccountFile(const std::filesystem::path& path);

// One text per entry for the job: "server,port,login,password", the last two still encoded. Lines
// that are no entry are left out.
Result<std::vector<std::string>> ReadAccountsForJob(const std::filesystem::path& path);

// The port's number. kBadInput says why no server can be reached by these two: words that follow
// "the account" or the like. Both are trimmed.
Result<std::uint16_t> CheckServer(std::string_view server, std::string_view port);

// Why the engine leaves the account out of a job, without secrets; empty when it uses it.
std::string WhyLeftOut(const AccountEntry& entry);

// Replaces the file whole, for the user's eyes only. kBadInput, with nothing written, when a field
// holds a line break or a NUL, which would tear its line apart.
Status WriteAccountFile(const std::filesystem::path& path,
                        const std::vector<AccountEntry>& entries);

// The list while a person edits it.
class AccountList {
 public:
  // More rows than this refuse another one, so there can be one more than the number says.
  static constexpr std::size_t kFull = 32700;
  static constexpr std::string_view kTooMany =
      "Cannot add anymore entries, reached the maximum number of mail server (32700)";
  static constexpr std::string_view kMissingServer = "Missing server name/port setting";
  static constexpr std::string_view kMissingLogin = "Miss login name and password pair";

  // What a dialog checks before it adds: kUsage with kMissingServer or kMissingLogin. Blanks count
  // as something.
  static Status Validate(std::string_view server, std::string_view port, std::string_view login,
                         std::string_view password, bool no_authentication);
  // What the file can carry, for those who type no single line: kUsage for a line break or NUL in
  // any field, a quote or comma in the server or port, or characters of the login or password that
  // the code page does not have.
  static Status CheckFields(const AccountEntry& entry);

  // Trims the fields and appends. kUsage with kTooMany when the list is full.
  Status Add(AccountEntry entry);
  // Replaces the list by all of the file's entries, however many, so that what is written back
  // lacks none.
  Status LoadAll(const std::filesystem::path& path);
  // The same for rows on a screen, which end at the bound. `refused` gets Add's failure once per
  // surplus entry.
  Status Load(const std::filesystem::path& path,
              const std::function<void(const Status&)>& refused = {});
  // `index` from 0; nothing happens when there is no such row.
  void Remove(std::size_t index);
  // Does to the file as it is now what was added and removed since it was loaded, so that what
  // others did meanwhile stays; under the file's lock. Of equal entries it is the one in the same
  // place among them that goes. A failure leaves the file as it was.
  Status SaveChanges(const std::filesystem::path& path) const;

  const std::vector<AccountEntry>& entries() const { return entries_; }

 private:
  static constexpr std::size_t kAdded = static_cast<std::size_t>(-1);
  Status Load(const std::filesystem::path& path, std::size_t most,
              const std::function<void(const Status&)>& refused);
  // What was loaded and is gone: its line's content, and its number among equal ones.
  std::set<std::pair<std::string, std::size_t>> RemovedEntries() const;

  std::vector<AccountEntry> entries_;
  std::vector<std::size_t> origins_;  // which of the loaded entries each is; kAdded: none
  std::size_t loaded_rows_ = 0;       // how many of the file's entries became rows
  std::string loaded_;                // the file's bytes at that time
};

}  // namespace vespro
