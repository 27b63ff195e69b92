#include "engine/usage_book.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <thread>
#include <utility>

#include "base/text.h"
#include "engine/options.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

// How many are taken at a time: what another program can't have meanwhile, and what is lost for the
// day when this one is killed, is small beside what is left.
constexpr std::uint64_t kPart = 16;
constexpr std::uint64_t kMostTaken = 1024;
// Another program may give back sooner than a span expires.
constexpr seconds kLookAgain{30};
// Who holds the lock writes a small file.
constexpr int kLockTries = 1000;
constexpr std::chrono::milliseconds kLockPause{5};
constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 28;

Result<FileLock> Lock(const fs::path& file) {
  fs::path path = file;
  path += ".lock";
  for (int tries = 1;; ++tries) {
    Result<FileLock> lock = FileLock::Take(path, FileLock::Wait::kNo);
    if (lock.ok() || lock.status().code() != Code::kResumable || tries == kLockTries) return lock;
    std::this_thread::sleep_for(kLockPause);
  }
}

Result<Usage> ReadLocked(const fs::path& file, const Clock& clock) {
  std::error_code ignored;  // what can't be looked at can't be read either
  if (!fs::exists(file, ignored) && !ignored) return Usage(clock);
  Result<std::string> text = ModFiles::ReadAll(file, kMaxBytes);
  if (!text.ok()) return text.status();
  Result<Usage> usage = Usage::Parse(text.value());
  if (!usage.ok()) {
    return Status(Code::kBadInput,
                  "what was sent in the last 24 hours can't be read from '" +
                      ModFiles::ToUtf8(file) + "': " + usage.status().text() +
                      ". Remove it when nothing was sent for a day: without it nothing counts as "
                      "sent");
  }
  usage->Advance(clock);
  return usage;
}

std::string OnOneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (ModText::HasControls({&c, 1})) c = '?';
  }
  return line;
}

}  // namespace

Result<Usage> ReadUsage(const fs::path& file, const Clock& clock) {
  if (!ModFiles::IsFile(file)) return ReadLocked(file, clock);
  const Result<FileLock> lock = Lock(file);
  if (!lock.ok()) return lock.status();
  return ReadLocked(file, clock);
}

AccountName NameOf(const Account& account, const AccountLimit& limit) {
  return {OnOneLine(ServerKey(account.server)), limit.port, OnOneLine(account.login)};
}

std::string AtTime(std::chrono::system_clock::time_point moment,
                   std::chrono::system_clock::time_point now) {
  const LocalTime time = ModClock::ToLocal(moment + seconds(59));
  const LocalTime today = ModClock::ToLocal(now);
  std::array<char, 32> text{};
  const bool is_today =
      time.year == today.year && time.month == today.month && time.day == today.day;
  if (is_today) {
    std::snprintf(text.data(), text.size(), "at %02d:%02d", time.hour, time.minute);
  } else {
    std::snprintf(text.data(), text.size(), "on %04d-%02d-%02d at %02d:%02d", time.year, time.month,
                  time.day, time.hour, time.minute);
  }
  return text.data();
}

class UsageBook::Entry final : public Allowance {
 public:
  Entry(UsageBook& book, AccountName name, const AccountLimit& limit)
      : book_(book),
        name_(std::move(name)),
        per_day_(limit.per_day),
        learnt_(book.usage_.Learnt(name_).value_or(Ceilings())) {
    // The first Update looks at it.
    if (per_day_ > 0 && book.usage_.Used(name_) >= per_day_) available_at_ = TimePoint::max();
    configured_.connections = limit.connections;
    if (!limit.rate.empty()) configured_.messages_per_second = ParseRate(limit.rate).value();
  }

  const AccountName& name() const { return name_; }
  Ceilings configured() const override { return configured_; }
  Ceilings learnt() const override { return learnt_; }
  void Learn(const Ceilings& learnt) override {
    learnt_ = learnt;
    has_learnt_ = true;
  }

  std::size_t Take(std::size_t recipients, TimePoint now) override {
    if (per_day_ == 0) return recipients;
    // What was taken long ago may count no more, and another program may have it.
    const bool is_old = unused_ > 0 && Usage::SpanAt(book_.Now()) != span_;
    if (is_old && !book_.Transact([this](Usage& usage) { Settle(usage); })) unused_ = 0;
    if (unused_ < recipients && now >= look_again_) TakeMore(recipients, now);
    const std::size_t granted = std::min(recipients, unused_);
    unused_ -= granted;
    on_its_way_ += granted;
    return granted;
  }

  void GiveBack(std::size_t recipients) override {
    if (per_day_ == 0) return;
    on_its_way_ -= recipients;
    unused_ += recipients;
    available_at_ = {};
  }

  void Commit(std::size_t recipients) override {
    if (per_day_ != 0) on_its_way_ -= recipients;
  }

  void Add(std::size_t recipients) override {
    if (per_day_ != 0) uncounted_ += recipients;
  }

  void Update(TimePoint now) override {
    if (per_day_ == 0) return;
    const bool moves = held() > 0 && Usage::SpanAt(book_.Now()) != span_;
    const bool looks = available_at_ != TimePoint() && now >= look_again_;
    if (!moves && !looks && uncounted_ == 0) return;
    const bool done = book_.Transact([this](Usage& usage) { Settle(usage); });
    if (looks || !done) LookAt(now);
  }

  TimePoint available_at() const override { return available_at_; }
  std::string WhyNone() const override {
    if (!book_.status_.ok()) return book_.status_.text();
    const auto wall = book_.clock_.Now();
    const auto wait = seconds(book_.usage_.FreeAt(name_, per_day_) - book_.Now());
    return "the limit of " + std::to_string(per_day_) +
           (per_day_ == 1 ? " recipient" : " recipients") + " a day is reached; it goes on " +
           AtTime(wall + std::max(wait, seconds(0)), wall);
  }

  // For Close.
  bool has_news() const { return unused_ > 0 || uncounted_ > 0 || has_learnt_; }
  void WriteAll(Usage& usage) {
    Settle(usage);
    usage.TakeBack(name_, span_, std::exchange(unused_, 0));
    if (has_learnt_) usage.Learn(name_, learnt_);
  }

 private:
  // What is in the file's count and has no verdict.
  std::uint64_t held() const { return unused_ + on_its_way_; }

  // What has no verdict counts from now on, not from when it was taken.
  void Settle(Usage& usage) {
    const Usage::Seconds span = Usage::SpanAt(usage.now());
    if (span != span_) {
      const bool expired = usage.TakeBack(name_, span_, held()) < held();
      usage.Add(name_, on_its_way_);
      if (expired)
        unused_ = static_cast<std::size_t>(std::min<std::uint64_t>(unused_, Left(usage)));
      usage.Add(name_, unused_);
      span_ = span;
    }
    usage.Add(name_, std::exchange(uncounted_, 0));
  }

  std::uint64_t Left(const Usage& usage) const {
    return per_day_ - std::min(per_day_, usage.Used(name_));
  }

  void TakeMore(std::size_t recipients, TimePoint now) {
    std::uint64_t more = 0;
    const bool done = book_.Transact([&](Usage& usage) {
      Settle(usage);
      const std::uint64_t left = Left(usage);
      more = std::min(
          left, std::max<std::uint64_t>(recipients - unused_, std::min(left / kPart, kMostTaken)));
      usage.Add(name_, more);
    });
    if (done) unused_ += static_cast<std::size_t>(more);
    if (unused_ == 0) LookAt(now);
  }

  // After a Transact: when something can be taken.
  void LookAt(TimePoint now) {
    available_at_ = look_again_ = TimePoint::max();
    if (!book_.status_.ok()) return;
    const auto wait = seconds(book_.usage_.FreeAt(name_, per_day_) - book_.usage_.now());
    available_at_ = wait.count() > 0 ? now + wait : TimePoint();
    look_again_ = wait.count() > 0 ? now + std::min(wait, kLookAgain) : TimePoint();
  }

  UsageBook& book_;
  const AccountName name_;
  const std::uint64_t per_day_;  // 0: no limit
  Ceilings configured_, learnt_;
  bool has_learnt_ = false;

  std::size_t unused_ = 0, on_its_way_ = 0, uncounted_ = 0;
  Usage::Seconds span_ = 0;  // where held() is counted
  TimePoint available_at_{}, look_again_{};
};

UsageBook::UsageBook(fs::path file, Limits limits, const Clock& clock, Usage usage)
    : file_(std::move(file)),
      limits_(std::move(limits)),
      clock_(clock),
      usage_(std::move(usage)),
      since_boot_(clock.SinceBoot()) {}

UsageBook::~UsageBook() = default;

Result<std::unique_ptr<UsageBook>> UsageBook::Open(fs::path file, Limits limits,
                                                   const std::vector<Account>& accounts,
                                                   const Clock& clock) {
  Result<Usage> usage = ReadUsage(file, clock);
  const bool has_quota = std::any_of(accounts.begin(), accounts.end(), [&](const Account& account) {
    return limits.QuotaFor(account) != nullptr;
  });
  if (!usage.ok() && has_quota) return usage.status();
  const Status status = usage.status();
  Usage start = usage.ok() ? std::move(usage).value() : Usage(clock);
  std::unique_ptr<UsageBook> book(
      new UsageBook(std::move(file), std::move(limits), clock, std::move(start)));
  book->status_ = status;
  return book;
}

Allowance* UsageBook::Of(const Account& account) {
  const AccountLimit limit = limits_.For(account);
  const AccountName name = NameOf(account, limit);
  for (const auto& entry : entries_) {
    if (entry->name() == name) return entry.get();
  }
  entries_.push_back(std::make_unique<Entry>(*this, name, limit));
  return entries_.back().get();
}

Usage::Seconds UsageBook::Now() const {
  return usage_.now() +
         std::chrono::duration_cast<seconds>(clock_.SinceBoot() - since_boot_).count();
}

bool UsageBook::Transact(const Change& change) {
  if (!status_.ok()) return false;
  const Result<FileLock> lock = Lock(file_);
  if (lock.ok()) {
    Result<Usage> usage = ReadLocked(file_, clock_);
    if (usage.ok()) {
      change(usage.value());
      status_ = ModFiles::ReplaceWith(file_, usage->Text(), Access::kPrivate);
      usage_ = std::move(usage).value();
      since_boot_ = clock_.SinceBoot();
    } else {
      status_ = usage.status();
    }
  } else {
    status_ = lock.status();
  }
  return status_.ok();
}

Status UsageBook::Close() {
  const bool has_news = std::any_of(entries_.begin(), entries_.end(),
                                    [](const auto& entry) { return entry->has_news(); });
  if (!has_news) return status_;
  Transact([this](Usage& usage) {
    for (const auto& entry : entries_) entry->WriteAll(usage);
  });
  return status_;
}

}  // namespace vespro::engine
