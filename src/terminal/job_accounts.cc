#include "terminal/job_accounts.h"

#include <string>
#include <string_view>
#include <vector>

#include "base/code_page.h"
#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "recipients/row.h"
#include "settings/account_file.h"
#include "settings/password.h"

namespace vespro::ModJobAccounts {
namespace {

// A HOST line's fields, as views of the job's bytes.
struct Host {
  std::string_view server, port, login, password;
};

bool TakeHost(std::string_view line, Host& host) {
  constexpr std::string_view kKey = "HOST=";
  if (!line.starts_with(kKey)) return false;
  const std::vector<std::string_view> fields = ModText::Split(line.substr(kKey.size()), ',');
  if (fields.size() != 4) return false;
  host = {fields[0], fields[1], fields[2], fields[3]};
  return true;
}

bool IsSameLogin(const Host& host, const AccountEntry& account) {
  const Result<std::string> login = ModPassword::DecodePassword(host.login);
  return login.ok() && ModText::Trim(login.value()) == account.login;
}

// The password field that the line is to have; the one that it has where nothing is known better.
std::string_view WantedPassword(const Host& host, bool is_utf8,
                                const std::vector<AccountEntry>& accounts) {
  const std::string server = is_utf8 ? std::string(host.server) : ModCodePage::ToUtf8(host.server);
  std::string_view wanted = host.password;
  for (const AccountEntry& account : accounts) {
    if (account.damaged || account.login.empty() ||
        !ModText::EqualsIgnoringAsciiCase(account.server, ModText::Trim(server)) ||
        account.port != ModText::Trim(host.port) || !IsSameLogin(host, account)) {
      continue;
    }
    if (account.encoded_password == ModText::Trim(host.password)) return host.password;
    wanted = account.encoded_password;
  }
  return wanted;
}

}  // namespace

Status RefreshPasswords(const std::filesystem::path& account_file,
                        const std::filesystem::path& job_file,
                        const std::filesystem::path& lock_file) {
  Result<FileLock> lock = FileLock::Take(lock_file, FileLock::Wait::kNo);
  if (!lock.ok()) return lock.status().code() == Code::kResumable ? Status() : lock.status();
  const Result<std::vector<AccountEntry>> accounts = ReadAccountFile(account_file);
  if (!accounts.ok()) return accounts.status();
  const Result<std::string> job = ModFiles::ReadAll(job_file);
  if (!job.ok()) return job.status();

  std::string_view rest = ModRow::StripByteOrderMark(job.value());
  const bool is_utf8 = rest.size() < job->size();
  std::string fresh;
  const char* copied = job->data();
  Host host;
  for (std::string_view line; NextLine(rest, line);) {
    if (!TakeHost(line, host)) continue;
    const std::string_view password = WantedPassword(host, is_utf8, accounts.value());
    fresh.append(copied, host.password.data()).append(password);
    copied = host.password.data() + host.password.size();
  }
  fresh.append(copied, job->data() + job->size());
  if (fresh == job.value()) return {};
  return ModFiles::ReplaceWith(job_file, fresh, Access::kPrivate);
}

}  // namespace vespro::ModJobAccounts
