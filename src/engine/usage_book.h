// engine/usage_book.h - the accounts' limits and counts of one user, shared by all jobs and
// programs through two files in the data folder. What may go out is taken from the count
// beforehand, a few at a time, and written to the disk: whatever becomes of this program, it
// counts. One thread.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/status.h"
#include "engine/delivery/allowance.h"
#include "engine/limits_file.h"
#include "engine/usage.h"

namespace vespro::engine {

// Beside the limits.
inline constexpr char kUsageFile[] = "Vespro.usage";

// As it is now: none used when there is no file. Waits for programs that write it. kBadInput, with
// the file and what to do, when it is damaged.
Result<Usage> ReadUsage(const std::filesystem::path& file, const Clock& clock);

// What an account is counted under where this is its limit.
AccountName NameOf(const Account& account, const AccountLimit& limit);

// "at 14:05", or with the day when it is not today. Local time, rounded up to a minute.
std::string AtTime(std::chrono::system_clock::time_point moment,
                   std::chrono::system_clock::time_point now);

class UsageBook final : public AllowanceBook {
 public:
  // For a job with these accounts; `clock` must outlive the book. Fails when the file can't be read
  // and one of the accounts has a limit of the day; without such a limit nothing is learnt then.
  static Result<std::unique_ptr<UsageBook>> Open(std::filesystem::path file, Limits limits,
                                                 const std::vector<Account>& accounts,
                                                 const Clock& clock);
  ~UsageBook() override;

  Allowance* Of(const Account& account) override;
  Status Close() override;

 private:
  class Entry;
  using Change = std::function<void(Usage& usage)>;

  UsageBook(std::filesystem::path file, Limits limits, const Clock& clock, Usage usage);
  // Reads the file, alone among all programs, and writes it when it has changed. What fails once is
  // not tried again: nothing is let through any more.
  bool Transact(const Change& change);
  Usage::Seconds Now() const;

  const std::filesystem::path file_;
  const Limits limits_;
  const Clock& clock_;
  // At the last Transact.
  Usage usage_;
  std::chrono::milliseconds since_boot_{0};
  Status status_;
  std::vector<std::unique_ptr<Entry>> entries_;
};

}  // namespace vespro::engine
