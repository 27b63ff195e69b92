#include "engine/journal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <utility>

#include "base/text.h"
#include "engine/hash.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

// The first line; its last character is the version, which is in the list's record too, so that a
// damaged first line is no other version's.
constexpr std::string_view kFirstLine = "vespro-journal 4";
constexpr std::uint64_t kVersion = JournalReader::kVersion, kFirstNumbered = 2;
// No record is shorter: "1\tP\t1\t01234567\n".
constexpr std::uint64_t kShortestRecord = 15;
// A row of the list may be a mebibyte, and twice that when all of it is escaped.
constexpr std::size_t kMaxLineBytes = 4 * 1024 * 1024;
constexpr std::uint64_t kMaxNumber = std::uint64_t{1} << 62;
constexpr auto kSyncEvery = std::chrono::seconds(1);
constexpr std::size_t kMaxBufferBytes = 256 * 1024;  // bytes
constexpr std::size_t kChecksumDigits = 8;

// Those of a record first.
constexpr std::array<std::string_view, kReportStates> kStateNames = {
    "sent", "refused", "failed", "skipped", "unknown", "not reached"};

// FNV-1a: shows a torn or damaged line; it guards against no one.
std::uint32_t Checksum(std::string_view bytes) {
  std::uint32_t sum = 2166136261u;
  for (char c : bytes) sum = (sum ^ static_cast<unsigned char>(c)) * 16777619u;
  return sum;
}

std::array<char, kChecksumDigits> Hex(std::uint32_t number) {
  std::array<char, kChecksumDigits> text{};
  for (std::size_t i = text.size(); i-- > 0; number >>= 4)
    text[i] = "0123456789abcdef"[number & 15];
  return text;
}

// Puts one line together at the end of a buffer.
class LineWriter {
 public:
  LineWriter(std::string& out, std::uint64_t number, char kind) : out_(out), start_(out.size()) {
    (out_ += std::to_string(number)) += '\t';
    out_ += kind;
  }
  ~LineWriter() {
    out_ += '\t';
    const auto sum = Hex(Checksum(std::string_view(out_).substr(start_)));
    out_.append(sum.data(), sum.size()) += '\n';
  }
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;

  LineWriter& Number(std::uint64_t number) {
    out_ += '\t';
    out_ += std::to_string(number);
    return *this;
  }
  LineWriter& Hash(std::uint64_t hash) {
    const auto high = Hex(static_cast<std::uint32_t>(hash >> 32));
    const auto low = Hex(static_cast<std::uint32_t>(hash));
    ((out_ += '\t').append(high.data(), high.size())).append(low.data(), low.size());
    return *this;
  }
  LineWriter& Text(std::string_view text) {
    out_ += '\t';
    for (char c : text) {
      switch (c) {
        case '\\':
          out_ += "\\\\";
          break;
        case '\t':
          out_ += "\\t";
          break;
        case '\r':
          out_ += "\\r";
          break;
        case '\n':
          out_ += "\\n";
          break;
        case '\0':  // what some systems leave at the end of a file when the power goes
          out_ += "\\0";
          break;
        default:
          out_ += c;
      }
    }
    return *this;
  }

 private:
  std::string& out_;
  std::size_t start_;
};

std::string Unescape(std::string_view field) {
  std::string text;
  text.reserve(field.size());
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\' || i + 1 == field.size()) {
      text += field[i];
      continue;
    }
    const char c = field[++i];
    text += c == 't' ? '\t' : c == 'r' ? '\r' : c == 'n' ? '\n' : c == '0' ? '\0' : c;
  }
  return text;
}

// How many fields are between a record's letter and its checksum: as it is written now, and in
// earlier versions.
struct KindRow {
  char letter;
  std::size_t fields;
  std::array<std::size_t, 2> earlier;  // of numbered records
  std::size_t fields_in_first_version;
  bool Fits(std::size_t count, bool numbered) const {
    if (!numbered) return count == fields_in_first_version;
    return count == fields || count == earlier[0] || count == earlier[1];
  }
  std::size_t Fields(bool numbered) const { return numbered ? fields : fields_in_first_version; }
};
constexpr KindRow kKinds[] = {{'L', 5, {4, 4}, 3}, {'R', 7, {6, 6}, 2}, {'K', 8, {8, 8}, 8},
                              {'W', 1, {1, 1}, 1}, {'I', 3, {3, 3}, 3}, {'P', 5, {4, 1}, 1},
                              {'O', 7, {7, 7}, 7}, {'C', 1, {1, 1}, 1}, {'E', 2, {2, 2}, 2}};

const KindRow* FindKind(char letter) {
  for (const KindRow& kind : kKinds) {
    if (kind.letter == letter) return &kind;
  }
  return nullptr;
}

bool Number(std::string_view field, std::uint64_t& number) {
  return ModText::ParseUnsigned(field, kMaxNumber, &number);
}

bool TakeHash(std::string_view field, std::uint64_t& hash) {
  const char* end = field.data() + field.size();
  const auto read = std::from_chars(field.data(), end, hash, 16);
  return read.ec == std::errc() && read.ptr == end;
}

bool TakeTime(std::string_view field, std::int64_t& time) {
  std::uint64_t seconds = 0;
  if (!Number(field, seconds)) return false;
  time = static_cast<std::int64_t>(seconds);
  return true;
}

bool TakeAttempts(std::string_view field, int& attempts) {
  std::uint64_t number = 0;
  if (!ModText::ParseUnsigned(field, 1'000'000, &number)) return false;
  attempts = static_cast<int>(number);
  return true;
}

bool TakeState(std::string_view field, State& state) {
  const auto* const end = kStateNames.begin() + kStates;
  const auto* const found = std::find(kStateNames.begin(), end, field);
  if (found == end) return false;
  state = static_cast<State>(found - kStateNames.begin());
  return true;
}

bool TakeList(std::span<const std::string_view> fields, ListIdentity& list) {
  list.reading = 0;
  return Number(fields[0], list.bytes) && Number(fields[1], list.lines) &&
         TakeHash(fields[2], list.hash) && (fields.size() < 4 || Number(fields[3], list.reading));
}

bool TakeOutcome(std::span<const std::string_view> fields, JournalEvent& event) {
  if (!Number(fields[0], event.recipient.line) || !TakeState(fields[1], event.outcome.state) ||
      !TakeAttempts(fields[2], event.outcome.attempts)) {
    return false;
  }
  event.recipient.address = Unescape(fields[3]);
  event.outcome.server = Unescape(fields[4]);
  event.outcome.reply = Unescape(fields[5]);
  event.recipient.row = Unescape(fields[6]);
  return true;
}

// The fields of a line after its kind, checksum taken off; the event has its number. False when the
// line is damaged.
bool ParseFields(char kind, std::span<const std::string_view> fields, JournalEvent& event) {
  using Kind = JournalEvent::Kind;
  const bool numbered = event.number > 0;
  const KindRow* const row = FindKind(kind);
  if (row == nullptr || !row->Fits(fields.size(), numbered)) return false;
  Recipient& who = event.recipient;
  switch (kind) {
    case 'L': {
      event.kind = Kind::kList;
      if (!numbered) return TakeList(fields, event.list);
      return Number(fields[0], event.version) && event.version >= kFirstNumbered &&
             event.version <= kVersion && TakeList(fields.subspan(1), event.list);
    }
    case 'R':
      event.kind = Kind::kRun;
      if (!TakeTime(fields[0], event.time) || !TakeHash(fields[1], event.message)) return false;
      if (!numbered) return true;
      // What was cut off as torn comes last, as in earlier versions.
      return TakeList(fields.subspan(2, fields.size() - 3), event.list);
    case 'K':
      event.kind = Kind::kKept;
      event.deferral = Unescape(fields[7]);
      return numbered && TakeOutcome(fields, event);
    case 'E':
      event.kind = Kind::kEnd;
      if (!TakeTime(fields[0], event.time)) return false;
      event.reason = Unescape(fields[1]);
      return true;
    case 'W':
      event.kind = Kind::kReach;
      return numbered && Number(fields[0], who.line);
    case 'I':
      event.kind = Kind::kIntent;
      if (!Number(fields[0], who.line)) return false;
      who.address = Unescape(fields[1]);
      event.outcome.server = Unescape(fields[2]);
      return true;
    case 'P':
      event.kind = Kind::kPutBack;
      event.outcome = {};
      event.mark.clear();
      if (!Number(fields[0], who.line)) return false;
      if (fields.size() == 1) return true;
      if (!TakeAttempts(fields[1], event.outcome.attempts)) return false;
      event.outcome.server = Unescape(fields[2]);
      event.outcome.reply = Unescape(fields[3]);
      if (fields.size() > 4) event.mark = Unescape(fields[4]);
      return true;
    case 'O':
      event.kind = Kind::kOutcome;
      return TakeOutcome(fields, event);
    case 'C':
      event.kind = Kind::kInClear;
      event.outcome.server = Unescape(fields[0]);
      return numbered;
    default:
      return false;
  }
}

bool ParseLine(std::string_view line, JournalEvent& event) {
  const std::size_t sum_at = line.rfind('\t');
  if (sum_at == std::string_view::npos || sum_at < 1) return false;
  const auto sum = Hex(Checksum(line.substr(0, sum_at + 1)));
  if (line.substr(sum_at + 1) != std::string_view(sum.data(), sum.size())) return false;
  const std::vector<std::string_view> all = ModText::Split(line.substr(0, sum_at), '\t');
  std::span<const std::string_view> fields(all);
  event.number = 0;
  event.missing = 0;
  if (Number(fields.front(), event.number)) fields = fields.subspan(1);
  if (fields.empty() || fields.front().size() != 1) return false;
  return ParseFields(fields.front().front(), fields.subspan(1), event);
}

// UTF-8, but for a last character that is cut off, without control characters.
bool IsPlainText(std::string_view text) {
  const auto is_odd = [](char c) { return static_cast<unsigned char>(c) < ' ' && c != '\t'; };
  if (std::any_of(text.begin(), text.end(), is_odd)) return false;
  for (std::size_t cut = 0; cut <= std::min<std::size_t>(3, text.size()); ++cut) {
    if (ModText::IsUtf8(text.substr(0, text.size() - cut))) return true;
  }
  return false;
}

// Whether this can be the beginning of a record, cut off before the end of its checksum. Anything
// else may hide others: a block that the disk has lost, or lines whose ends are damaged.
bool MayBeTorn(std::string_view line) {
  constexpr std::size_t kLongestNumber = 20, kLongestWithoutRow = 4096;  // bytes
  if (!IsPlainText(line)) return false;
  std::vector<std::string_view> fields = ModText::Split(line, '\t');
  std::uint64_t number = 0;
  const bool numbered = Number(fields.front(), number);
  if (fields.size() == 1) return line.size() <= kLongestNumber;
  if (numbered) fields.erase(fields.begin());
  if (fields.front().empty()) return fields.size() == 1;
  const KindRow* const kind = FindKind(fields.front().front());
  if (kind == nullptr || fields.front().size() > 1) return false;
  const std::size_t all = 2 + kind->Fields(numbered);
  const bool may_be_long = kind->letter == 'O' || kind->letter == 'K';
  const bool in_row = may_be_long && fields.size() >= 8 && fields.size() < all;
  if (!in_row && line.size() > kLongestWithoutRow) return false;
  return fields.size() < all || (fields.size() == all && fields.back().size() < kChecksumDigits);
}

std::int64_t Seconds(const Clock& clock) {
  return std::chrono::duration_cast<std::chrono::seconds>(clock.Now().time_since_epoch()).count();
}

void AppendList(std::string& out, std::uint64_t number, const ListIdentity& list) {
  LineWriter(out, number, 'L')
      .Number(kVersion)
      .Number(list.bytes)
      .Number(list.lines)
      .Hash(list.hash)
      .Number(list.reading);
}

void AppendHead(std::string& out, const ListIdentity& list) {
  out.append(kFirstLine) += '\n';
  AppendList(out, 1, list);
}

void AppendHeader(std::string& out, const ListIdentity& list) {
  AppendHead(out, list);
  out += '\n';  // so that no damaged line end hides both records that name the list
}

// What an existing journal says.
struct Loaded {
  JournalState state;
  std::uint64_t damaged = 0;
  bool usable = false;  // false: it broke off before its list was named, so nothing was sent
  bool of_earlier_version = false;
  std::uint64_t whole_bytes = 0, torn_bytes = 0, next_number = 2;
  std::map<std::uint64_t, std::string> doubted;  // the lines in doubt, with the server
  std::map<std::uint64_t, int> suspected;        // in so many runs, see Recipient
  std::optional<std::uint64_t> message;          // of the last run
};

// Until its outcome: another attempt that was put back in an ordinary way tells nothing.
void NoteSuspected(const JournalEvent& event, std::map<std::uint64_t, int>& suspected) {
  using Kind = JournalEvent::Kind;
  if (event.kind == Kind::kOutcome) suspected.erase(event.recipient.line);
  if (event.kind != Kind::kPutBack || !event.mark.starts_with(kSuspectedMark)) return;
  const std::string_view runs = std::string_view(event.mark).substr(kSuspectedMark.size());
  int number = 0;
  std::from_chars(runs.data(), runs.data() + runs.size(), number);
  suspected[event.recipient.line] = std::max(number, 1);
}

void NoteServer(const JournalEvent& event, std::map<std::uint64_t, std::string>& doubted) {
  using Kind = JournalEvent::Kind;
  if (event.kind == Kind::kIntent) doubted[event.recipient.line] = event.outcome.server;
  if (event.kind == Kind::kPutBack || event.kind == Kind::kOutcome) {
    doubted.erase(event.recipient.line);
  }
}

Result<Loaded> Load(const fs::path& path) {
  Result<JournalReader> reader = JournalReader::Open(path);
  if (!reader.ok()) return reader.status();
  Loaded loaded;
  bool headless = false;  // it does not name its list, but something was sent
  JournalEvent event;
  while (reader->Next(event)) {
    const std::uint64_t since = loaded.state.since();
    const bool is_of_list = loaded.state.Take(event);
    loaded.usable = loaded.state.list().has_value();
    headless = headless || !loaded.usable;
    if (!is_of_list) {
      ++loaded.damaged;
      continue;
    }
    if (loaded.state.since() != since) {
      loaded.doubted.clear();
      loaded.suspected.clear();
    }
    NoteServer(event, loaded.doubted);
    NoteSuspected(event, loaded.suspected);
    if (event.kind == JournalEvent::Kind::kRun) loaded.message = event.message;
  }
  if (!reader->status().ok()) return reader->status();
  if (headless || (!loaded.usable && reader->damaged() > 0)) {
    return Status(Code::kBadInput,
                  "the journal is damaged at its beginning and does not say for which list it is, "
                  "so nobody is sent to; report.txt beside it says who was served when the last "
                  "run ended; --fresh starts the job anew and mails them again");
  }
  loaded.damaged += reader->damaged();
  loaded.of_earlier_version = reader->of_earlier_version();
  loaded.torn_bytes = reader->torn_bytes();
  loaded.whole_bytes = reader->file_bytes() - loaded.torn_bytes;
  loaded.next_number = reader->next_number();
  return loaded;
}

// A new journal's.
JournalState StateOf(const ListIdentity& list) {
  JournalEvent named;
  named.list = list;
  named.number = 1;
  JournalState state;
  static_cast<void>(state.Take(named));
  return state;
}

// What is to be written in place of the beginning of an earlier version's journal: this version's
// first line and, if the list's record is the next one, that with this version.
void UpgradeHead(std::string_view& bytes, std::string& head) {
  head = kFirstLine;
  bytes.remove_prefix(std::min(bytes.size(), kFirstLine.size()));
  if (!bytes.starts_with('\n')) return;
  const std::string_view line = bytes.substr(1, bytes.find('\n', 1) - 1);
  JournalEvent event;
  if (!ParseLine(line, event) || event.kind != JournalEvent::Kind::kList || event.number == 0) {
    return;
  }
  head.clear();
  AppendHead(head, event.list);
  bytes.remove_prefix(std::min(bytes.size(), 1 + line.size() + 1));
}

// Gives a journal of an earlier version this one's head, and takes only its first `whole_bytes`: an
// older engine would pass over the records that come now, and mail people again.
Status Upgrade(const fs::path& path, std::uint64_t whole_bytes) {
  Result<File> old = File::Open(path, File::Mode::kRead);
  if (!old.ok()) return old.status();
  Result<AtomicFile> renewed = AtomicFile::Create(path, Access::kPrivate);
  if (!renewed.ok()) return renewed.status();
  std::string block(256 * 1024, '\0');
  for (std::uint64_t done = 0; done < whole_bytes;) {
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), whole_bytes - done));
    Result<std::size_t> count = old->Read(block.data(), wanted);
    if (!count.ok()) return count.status();
    if (count.value() == 0) break;
    std::string_view bytes = std::string_view(block).substr(0, count.value());
    if (done == 0) {
      std::string head;
      UpgradeHead(bytes, head);
      if (Status begun = renewed->Write(head); !begun.ok()) return begun;
    }
    if (Status written = renewed->Write(bytes); !written.ok()) return written;
    done += count.value();
  }
  if (Status closed = old->Close(); !closed.ok()) return closed;
  return renewed->Commit();
}

Status CutOff(const fs::path& path, std::uint64_t bytes) {
  std::error_code error;
  fs::resize_file(path, bytes, error);
  if (!error) return {};
  return Status(Code::kCannotWrite,
                "cannot write '" + ModFiles::ToUtf8(path) + "': " + error.message());
}

struct OpenedJournal {
  File file;
  Loaded loaded;
};

// Nobody else writes to it when this returns, and nothing was changed in one that somebody else
// writes to.
Result<OpenedJournal> OpenOrBegin(const fs::path& path, bool fresh) {
  Result<File> file = File::OpenLocked(path, Access::kPrivate);
  if (!file.ok()) return file.status();
  const Result<std::uint64_t> size = file->Size();
  if (!size.ok()) return size.status();
  const auto reopen = [&](const Status& closed_and_changed) -> Status {
    if (!closed_and_changed.ok()) return closed_and_changed;
    file = File::OpenLocked(path, Access::kPrivate);
    return file.status();
  };
  Loaded loaded;
  if (size.value() > 0 && fresh) {
    // Windows renames no file that is open.
    Status renamed = file->Close();
    if (renamed.ok()) renamed = ModFiles::Rename(path, path.parent_path() / "journal.old");
    if (renamed = reopen(renamed); !renamed.ok()) return renamed;
  } else if (size.value() > 0) {
    Result<Loaded> read = Load(path);
    if (!read.ok()) return read.status();
    loaded = std::move(read).value();
    if (!loaded.usable) {
      if (Status emptied = CutOff(path, 0); !emptied.ok()) return emptied;
    } else if (loaded.of_earlier_version) {
      Status upgraded = file->Close();
      if (upgraded.ok()) upgraded = Upgrade(path, loaded.whole_bytes);
      if (upgraded = reopen(upgraded); !upgraded.ok()) return upgraded;
    } else if (loaded.torn_bytes > 0) {
      // A torn end that stayed could not be told from damage later.
      if (Status cut = CutOff(path, loaded.whole_bytes); !cut.ok()) return cut;
    }
  }
  return OpenedJournal{std::move(file).value(), std::move(loaded)};
}

// The row that belongs among those to be corrected and sent again.
std::string_view RowToMend(const Recipient& recipient, State state) {
  const bool is_to_mend =
      state == State::kRefused || state == State::kFailed || state == State::kSkipped;
  if (!is_to_mend) return {};
  return recipient.row.empty() ? recipient.address : recipient.row;
}

void AppendOutcome(LineWriter& line, const Recipient& recipient, const Outcome& outcome,
                   std::string_view row) {
  line.Number(recipient.line)
      .Text(StateName(outcome.state))
      .Number(static_cast<std::uint64_t>(std::max(outcome.attempts, 0)))
      .Text(recipient.address)
      .Text(outcome.server)
      .Text(outcome.reply)
      .Text(row);
}

// A folder's own name is in the folder above it, and any of these may be as new as the journal.
Status SyncFolders(const fs::path& folder) {
  for (fs::path at = ModFiles::FullPath(folder); !at.empty(); at = at.parent_path()) {
    if (Status synced = ModFiles::SyncFolder(at); !synced.ok()) return synced;
    if (at == at.parent_path()) break;
  }
  return {};
}

}  // namespace

std::string_view StateName(State state) { return kStateNames[static_cast<std::size_t>(state)]; }

std::string CountsText(const StateCounts& counts) {
  std::string text;
  for (const State state : kReportOrder) {
    const std::uint64_t count = counts[static_cast<std::size_t>(state)];
    if (state != State::kSent && count == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " ";
    text += StateName(state);
  }
  return text;
}

bool ListIdentity::Matches(const ListIdentity& other) const {
  const bool read_alike = reading == 0 || other.reading == 0 || reading == other.reading;
  return bytes == other.bytes && hash == other.hash && lines == other.lines && read_alike;
}

Result<ListIdentity> IdentifyList(const fs::path& path, std::uint64_t at_most) {
  Result<File> file = File::Open(path, File::Mode::kRead);
  if (!file.ok()) return file.status();
  ListIdentity list;
  std::string block(256 * 1024, '\0');
  bool after_cr = false, in_line = false;
  for (;;) {
    // A short read must not change the blocks that are hashed.
    std::size_t filled = 0;
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), at_most - list.bytes));
    while (filled < wanted) {
      Result<std::size_t> count = file->Read(block.data() + filled, wanted - filled);
      if (!count.ok()) return count.status();
      if (count.value() == 0) break;
      filled += count.value();
    }
    if (filled == 0) break;
    const std::string_view bytes = std::string_view(block).substr(0, filled);
    list.hash = SipHash({list.hash, list.bytes}, bytes);
    list.bytes += filled;
    for (char c : bytes) {
      if (c == '\r' || (c == '\n' && !after_cr)) ++list.lines;
      if (c != '\n' || !after_cr) in_line = c != '\r' && c != '\n';
      after_cr = c == '\r';
    }
  }
  if (in_line) ++list.lines;
  return list;
}

Result<JournalReader> JournalReader::Open(const fs::path& path) {
  Result<LineReader> lines = LineReader::Open(path, kMaxLineBytes);
  if (!lines.ok()) return lines.status();
  JournalReader reader(std::move(lines).value());
  std::string_view first;
  if (!reader.lines_.Next(first)) {
    if (!reader.lines_.status().ok()) return reader.lines_.status();
    reader.empty_ = true;
    return reader;
  }
  reader.whole_bytes_ = reader.lines_.offset();
  const std::string_view head = first.substr(0, kFirstLine.size());
  std::uint64_t version = 0;
  if (head.starts_with(kFirstLine.substr(0, kFirstLine.size() - 1)) &&
      Number(head.substr(kFirstLine.size() - 1), version) && version >= 1 && version <= kVersion) {
    reader.version_ = version;
    // There may be something where its line end was.
    if (first.size() > head.size()) reader.NoteDamage(first, true);
    return reader;
  }
  if (reader.lines_.file_bytes() == first.size() && kFirstLine.starts_with(first)) {
    reader.empty_ = true;
    return reader;
  }
  // Damaged, in one line or in two.
  for (int tries = 0; tries < 2; ++tries) {
    const std::uint64_t at = reader.lines_.offset();
    JournalEvent event;
    if (!reader.lines_.Next(first)) break;
    if (!ParseLine(first, event) || event.number != 1) continue;
    ++reader.damaged_;
    reader.first_ = std::move(event);
    reader.first_at_ = at;
    return reader;
  }
  return Status(Code::kBadInput,
                "'" + ModFiles::ToUtf8(path) +
                    "' is not a journal that this version can read, so nobody is sent to; --fresh "
                    "puts it aside and starts the job anew, which mails again whoever has been "
                    "served");
}

bool JournalReader::Next(JournalEvent& event) {
  if (first_.has_value()) {
    event = *std::exchange(first_, std::nullopt);
    record_at_ = first_at_;
    whole_bytes_ = lines_.offset();
    return Fits(event);
  }
  if (ended_) return false;
  std::string_view line;
  for (std::uint64_t begin = lines_.offset(); lines_.Next(line); begin = lines_.offset()) {
    if (line.empty()) {  // every run begins with a line end, for a line that lost its own
      pending_is_torn_ = false;
      if (pending_ == 0) whole_bytes_ = lines_.offset();
      continue;
    }
    if (!lines_.overlong() && ParseLine(line, event)) {
      record_at_ = begin;
      const bool is_stray = event.number > 0 && event.number <= last_;
      if (is_stray) {
        TakeStray(event);
        return true;
      }
      if (Fits(event)) {
        whole_bytes_ = lines_.offset();
        return true;
      }
    }
    NoteDamage(line, lines_.overlong() || lines_.offset() - begin > line.size());
  }
  ended_ = true;
  return lines_.status().ok() && AtEnd(event);
}

void JournalReader::NoteDamage(std::string_view line, bool terminated) {
  ++damaged_;
  ++pending_;
  pending_is_last_ = !terminated;
  pending_is_torn_ = pending_ == 1 && MayBeTorn(line);
  const std::string start = std::to_string(last_ + 1) + '\t';
  if (pending_is_torn_ && pending_is_last_ && last_ > 0) {
    pending_is_torn_ = start.starts_with(line.substr(0, start.size()));
  }
}

// It hides nothing: whatever stood in its place shows by the gap in the numbers.
void JournalReader::TakeStray(JournalEvent& event) {
  using Kind = JournalEvent::Kind;
  ++damaged_;
  if (pending_ == 0) whole_bytes_ = lines_.offset();
  const bool is_of_somebody = event.kind == Kind::kIntent || event.kind == Kind::kPutBack ||
                              event.kind == Kind::kOutcome || event.kind == Kind::kKept;
  if (!is_of_somebody) event.recipient = {};
  event.kind = Kind::kStray;
}

// Takes a whole record to where it belongs, and tells what is missing before it. False for one that
// belongs nowhere.
bool JournalReader::Fits(JournalEvent& event) {
  if (event.number == 0) return FitsUnnumbered(event);
  const std::uint64_t gap = event.number - last_ - 1;
  event.missing = gap;
  // The first record names the list or begins a run: nobody is concerned.
  if (last_ == 0 && event.missing > 0) --event.missing;
  if (event.kind == JournalEvent::Kind::kList && event.version > version_) ++damaged_;  // the head
  if (last_ == 0 && has_unnumbered_ && (pending_ > 0 || event.number > 1)) {
    event.missing = JournalEvent::kAnyNumber;
  }
  // Lines can be gone without leaving anything that could not be read.
  if (pending_ == 0) damaged_ += event.missing == JournalEvent::kAnyNumber ? 1 : gap;
  last_ = event.number;
  pending_ = 0;
  return true;
}

// A run that continued a journal of the first version closed a torn line with the line end before
// its own record, and otherwise made an empty line.
bool JournalReader::FitsUnnumbered(JournalEvent& event) {
  if (last_ > 0) return false;
  has_unnumbered_ = true;
  const bool torn = pending_ == 1 && pending_is_torn_ && event.kind == JournalEvent::Kind::kRun;
  event.missing = pending_ > 0 && !torn ? JournalEvent::kAnyNumber : 0;
  if (torn) --damaged_;
  pending_ = 0;
  return true;
}

bool JournalReader::AtEnd(JournalEvent& event) {
  if (pending_ == 0) return false;
  const std::uint64_t rest = lines_.file_bytes() - std::min(lines_.file_bytes(), whole_bytes_);
  if (pending_ == 1 && pending_is_torn_ && pending_is_last_) {
    torn_bytes_ = rest;
    --damaged_;
    return false;
  }
  event.kind = JournalEvent::Kind::kLost;
  event.number = 0;
  event.missing = rest / kShortestRecord + 1;
  if (has_unnumbered_ && last_ == 0) {
    event.missing = JournalEvent::kAnyNumber;
  } else {
    last_ += event.missing;
  }
  return true;
}

Result<RecordFile> RecordFile::Open(const fs::path& path) {
  Result<File> file = File::Open(path, File::Mode::kRead);
  if (!file.ok()) return file.status();
  return RecordFile(std::move(file).value());
}

// A block ahead where records are read one after the other, and little where they are all over the
// file.
Status RecordFile::Read(std::uint64_t offset, JournalEvent& event) {
  constexpr std::size_t kBlock = 64 * 1024, kOne = 1024;  // bytes
  const bool near = offset >= block_at_ && offset - block_at_ <= block_.size();
  std::size_t size = near ? kBlock : kOne;
  for (;;) {
    if (offset >= block_at_ && offset - block_at_ < block_.size()) {
      const std::string_view rest =
          std::string_view(block_).substr(static_cast<std::size_t>(offset - block_at_));
      const std::size_t end = rest.find_first_of("\r\n");
      if (end != std::string_view::npos && ParseLine(rest.substr(0, end), event)) return {};
      if (end != std::string_view::npos || rest.size() > kMaxLineBytes) break;
    }
    block_.resize(size);
    block_at_ = offset;
    std::size_t filled = 0;
    while (filled < size) {
      const Result<std::size_t> count =
          file_.ReadAt(offset + filled, block_.data() + filled, size - filled);
      if (!count.ok()) return count.status();
      if (count.value() == 0) break;
      filled += count.value();
    }
    const bool at_end = filled < size;
    block_.resize(filled);
    if (at_end && block_.find('\n') == std::string::npos) break;
    size *= 4;
  }
  return Status(Code::kBadInput, "the journal was changed while it was read");
}

constexpr unsigned kInDoubt = 1, kFirstState = 2, kMayBeLost = 7;
static_assert(kFirstState + kStates == kMayBeLost);

bool LineStates::Take(const JournalEvent& event) {
  using Kind = JournalEvent::Kind;
  if (event.missing > 0) Miss(event.missing);
  // What the first version wrote does not say how far it had come.
  if (event.number == 0 && event.kind != Kind::kLost) reach_ = marks_.size() - 1;
  const std::uint64_t line = event.recipient.line;
  if (event.kind == Kind::kReach) Reach(line);
  if (event.kind != Kind::kIntent && event.kind != Kind::kPutBack && event.kind != Kind::kOutcome &&
      event.kind != Kind::kStray) {
    return true;
  }
  if (event.kind == Kind::kStray && line == 0) return true;  // about nobody
  if (line == 0 || line >= marks_.size()) return false;
  std::uint8_t& mark = marks_[static_cast<std::size_t>(line)];
  unsigned outcomes = mark >> 3;
  unsigned low = mark & 7u;
  if (event.kind == Kind::kStray) {
    if (low == 0) low = kMayBeLost;
  } else if (event.kind == Kind::kIntent) {
    low = kInDoubt;
  } else if (event.kind == Kind::kPutBack) {
    // What was unknown before is unknown again: the second message did not arrive, the first may
    // have.
    low = outcomes > 0 ? kFirstState + static_cast<unsigned>(State::kUnknown) : 0;
    if (low == 0 && line <= lost_to_) put_back_.push_back(line);
  } else {
    low = kFirstState + static_cast<unsigned>(event.outcome.state);
    outcomes = std::min(outcomes + 1, kMaxOutcomes);
  }
  mark = static_cast<std::uint8_t>(outcomes << 3 | low);
  return true;
}

// So many records are missing. Each may have been the intent of a line of which nothing is known
// yet; what comes later of such a line settles it, for an intent follows another one only when that
// had its verdict or was put back. An intent beyond the reach needs a record that raises it.
void LineStates::Miss(std::uint64_t records) {
  const std::uint64_t lines = marks_.size() - 1;
  const auto raised = [&](std::uint64_t times) {
    return times > (lines - reach_) / kReachStep ? lines : reach_ + times * kReachStep;
  };
  const std::uint64_t to = raised(records - 1);
  const auto mark = [this](std::uint64_t line) {
    std::uint8_t& found = marks_[static_cast<std::size_t>(line)];
    if ((found & 7u) == 0) found |= kMayBeLost;
  };
  for (const std::uint64_t line : put_back_) mark(line);
  put_back_.clear();
  for (; lost_to_ < to; ++lost_to_) mark(lost_to_ + 1);
  reach_ = raised(records);
}

// No intent before this was for a later line, those that are missing included.
void LineStates::Reach(std::uint64_t line) {
  reach_ = std::min<std::uint64_t>(line, marks_.size() - 1);
  for (; lost_to_ > reach_; --lost_to_) {
    std::uint8_t& mark = marks_[static_cast<std::size_t>(lost_to_)];
    if ((mark & 7u) == kMayBeLost) mark = static_cast<std::uint8_t>(mark & ~7u);
  }
}

bool LineStates::Keep(std::uint64_t line, State state) {
  if (line == 0 || line > lines()) return false;
  const unsigned low = kFirstState + static_cast<unsigned>(state);
  marks_[static_cast<std::size_t>(line)] = static_cast<std::uint8_t>(1u << 3 | low);
  return true;
}

void LineStates::Lose(std::uint64_t first, std::uint64_t last) {
  for (std::uint64_t line = first; line <= std::min(last, lines()); ++line) {
    std::uint8_t& mark = marks_[static_cast<std::size_t>(line)];
    if ((mark & 7u) == 0) mark |= kMayBeLost;
  }
}

bool LineStates::MayBeLost(std::uint64_t line) const {
  return line < marks_.size() && (marks_[static_cast<std::size_t>(line)] & 7u) == kMayBeLost;
}

bool LineStates::InDoubt(std::uint64_t line) const {
  return line < marks_.size() && (marks_[static_cast<std::size_t>(line)] & 7u) == kInDoubt;
}

std::optional<State> LineStates::OutcomeOf(std::uint64_t line) const {
  const unsigned low = line < marks_.size() ? marks_[static_cast<std::size_t>(line)] & 7u : 0;
  if (low < kFirstState || low == kMayBeLost) return std::nullopt;
  return static_cast<State>(low - kFirstState);
}

unsigned LineStates::Outcomes(std::uint64_t line) const {
  return line < marks_.size() ? marks_[static_cast<std::size_t>(line)] >> 3 : 0u;
}

std::uint64_t LineStates::CountMarks(unsigned mark) const {
  return static_cast<std::uint64_t>(std::count_if(
      marks_.begin(), marks_.end(), [mark](std::uint8_t m) { return (m & 7u) == mark; }));
}

std::uint64_t LineStates::Count(State state) const {
  return CountMarks(kFirstState + static_cast<unsigned>(state));
}

std::uint64_t LineStates::InDoubtCount() const { return CountMarks(kInDoubt); }

std::uint64_t LineStates::MayBeLostCount() const { return CountMarks(kMayBeLost); }

bool JournalState::Take(const JournalEvent& event) {
  using Kind = JournalEvent::Kind;
  const bool begins_run = event.kind == Kind::kRun && event.number > 0;
  const bool names_list = event.kind == Kind::kList || begins_run;
  if (names_list && !list_.has_value()) {
    ChangeList(event.list, LineStates(event.list.lines), 0);
    return lines_.Take(event);
  }
  if (event.kind == Kind::kStray) return lines_.Take(event);
  if (opened_.has_value()) return TakeWhileOpened(event, begins_run);
  if (event.kind == Kind::kKept || event.kind == Kind::kList) {
    // Who is kept for a list whose own record is missing is of no use: the next run names it.
    JournalEvent gap;
    gap.kind = Kind::kLost;
    gap.number = event.number;
    gap.missing = event.missing;
    lines_.Take(gap);
    if (event.kind == Kind::kList && event.number > 0) Open(event);
    return true;
  }
  if (begins_run && !event.list.Matches(*list_)) {
    ChangeToUnknown(event);
    return true;
  }
  if (begins_run && event.list.reading != 0) list_ = event.list;
  return lines_.Take(event);
}

bool JournalState::TakeWhileOpened(const JournalEvent& event, bool begins_run) {
  using Kind = JournalEvent::Kind;
  if (event.kind == Kind::kKept) return Keep(event);
  if (event.kind == Kind::kList && event.missing == 0) {
    Open(event);
    return true;
  }
  if (begins_run && event.list == opened_->list) {
    if (event.missing > 0) opened_->lines.Lose(opened_->last_kept + 1, UINT64_MAX);
    kept_until_ = event.number;
    ChangeList(event.list, std::move(opened_->lines), opened_->since);
    return true;
  }
  if (begins_run) {
    const bool was_put_back = event.list.Matches(*list_) && event.missing == 0;
    opened_.reset();
    if (!was_put_back) ChangeToUnknown(event);
    return true;
  }
  // The run's record is missing, and others with it: anybody may have been sent to.
  opened_->lines.Lose(1, UINT64_MAX);
  kept_until_ = event.number;
  ChangeList(opened_->list, std::move(opened_->lines), opened_->since);
  return Take(event);
}

void JournalState::Open(const JournalEvent& event) {
  opened_.emplace(Opened{event.list, LineStates(event.list.lines), event.number, 0});
}

bool JournalState::Keep(const JournalEvent& event) {
  const std::uint64_t line = event.recipient.line;
  if (event.missing > 0) {
    opened_->lines.Lose(opened_->last_kept + 1, line > 0 ? line - 1 : UINT64_MAX);
  }
  if (line == 0) return true;
  opened_->last_kept = line;
  return opened_->lines.Keep(line, event.outcome.state);
}

// A list of which nothing tells who of it was served.
void JournalState::ChangeToUnknown(const JournalEvent& event) {
  LineStates lines(event.list.lines);
  lines.Lose(1, UINT64_MAX);
  kept_until_ = event.number;
  ChangeList(event.list, std::move(lines), event.number);
}

void JournalState::ChangeList(const ListIdentity& list, LineStates lines, std::uint64_t since) {
  const ListIdentity named = list;  // it may be the opened one's
  list_ = named;
  lines_ = std::move(lines);
  since_ = since;
  opened_.reset();
}

bool JournalState::IsCurrent(const JournalEvent& event) const {
  const bool is_kept = event.kind == JournalEvent::Kind::kKept;
  return event.number >= since_ && (!is_kept || event.number < kept_until_);
}

bool LastOutcomes::Is(const JournalEvent& event) {
  using Kind = JournalEvent::Kind;
  if (event.kind != Kind::kOutcome && event.kind != Kind::kKept) return false;
  const std::uint64_t line = event.recipient.line;
  if (line == 0 || !state_.IsCurrent(event)) return false;
  const unsigned outcomes = state_.lines().Outcomes(line);
  return outcomes == 1 || (outcomes > 1 && ++seen_[line] == outcomes);
}

fs::path Journal::PathIn(const fs::path& folder) { return folder / "journal"; }

Journal::Journal(File file, fs::path path, const Clock& clock, const ListIdentity& list,
                 JournalState state)
    : file_(std::move(file)),
      path_(std::move(path)),
      clock_(&clock),
      list_(list),
      state_(std::move(state)),
      last_sync_(std::chrono::steady_clock::now()) {}

Result<Journal> Journal::Open(const fs::path& folder, const ListIdentity& list, bool fresh,
                              const Clock& clock) {
  const fs::path path = PathIn(folder);
  Result<OpenedJournal> opened = OpenOrBegin(path, fresh);
  if (!opened.ok()) return opened.status();
  Loaded& loaded = opened->loaded;
  Journal journal(std::move(opened->file), path, clock, list,
                  loaded.usable ? std::move(loaded.state) : StateOf(list));
  journal.damaged_ = loaded.damaged;
  journal.torn_bytes_ = loaded.torn_bytes;
  journal.doubted_ = std::move(loaded.doubted);
  journal.suspected_ = std::move(loaded.suspected);
  journal.message_before_ = loaded.message;
  if (loaded.usable) {
    journal.next_number_ = loaded.next_number;
    journal.reach_ = journal.states().reach();
    journal.buffer_ += '\n';  // the last line may have lost its end
  } else {
    AppendHeader(journal.buffer_, list);
    journal.next_number_ = 2;
  }
  Status begun = loaded.usable ? journal.Write() : journal.Sync();
  if (begun.ok() && !loaded.usable) begun = SyncFolders(folder);
  if (!begun.ok()) return begun;
  return journal;
}

// After every line: a group must not grow without end.
Status Journal::FlushIfFull() { return buffer_.size() < kMaxBufferBytes ? failure_ : Write(); }

Status Journal::Write() {
  if (failure_.ok() && !buffer_.empty()) {
    failure_ = file_.Write(buffer_);
    unsynced_ = true;
  }
  buffer_.clear();
  return failure_;
}

// An empty file, or none, would begin the job anew.
Status Journal::CheckPlace() const {
  if (file_.IsInPlace()) return {};
  const std::string what = "the journal '" + ModFiles::ToUtf8(path_) +
                           "' was moved or removed while it was written; put it back in its "
                           "place, since only it says who was served";
  Result<File> sign = File::Open(path_, File::Mode::kCreateNew, Access::kPrivate);
  if (sign.ok()) sign->Write(what + "\n").Ignore();  // the run ends all the same
  return Status(Code::kCannotWrite, what);
}

Status Journal::Sync() {
  if (Status written = Write(); !written.ok()) return written;
  failure_ = file_.Sync();
  if (failure_.ok()) failure_ = CheckPlace();
  last_sync_ = std::chrono::steady_clock::now();
  unsynced_ = false;
  return failure_;
}

Status Journal::Commit() {
  if (buffer_.empty() && !unsynced_) return failure_;
  const bool due = std::chrono::steady_clock::now() - last_sync_ >= kSyncEvery;
  return due ? Sync() : Write();
}

// One step a record, so that the number of missing ones says how far it can have been raised.
void Journal::RaiseReach(std::uint64_t line) {
  while (reach_ < line) {
    reach_ += LineStates::kReachStep;
    LineWriter(buffer_, next_number_++, 'W').Number(reach_);
  }
}

Status Journal::Sending(std::span<const Recipient> recipients, std::string_view server) {
  for (const Recipient& recipient : recipients) {
    RaiseReach(recipient.line);
    LineWriter(buffer_, next_number_++, 'I')
        .Number(recipient.line)
        .Text(recipient.address)
        .Text(server);
  }
  return FlushIfFull();
}

Status Journal::PutBack(const Recipient& recipient, const Deferral& why) {
  LineWriter(buffer_, next_number_++, 'P')
      .Number(recipient.line)
      .Number(static_cast<std::uint64_t>(std::max(why.attempts, 0)))
      .Text(why.server)
      .Text(why.reply)
      .Text(why.mark);
  return FlushIfFull();
}

Status Journal::Record(const Recipient& recipient, const Outcome& outcome) {
  {
    LineWriter line(buffer_, next_number_++, 'O');
    AppendOutcome(line, recipient, outcome, RowToMend(recipient, outcome.state));
  }
  return FlushIfFull();
}

Status Journal::Skip(const Recipient& row, std::string_view reason, bool mend) {
  const Outcome outcome{State::kSkipped, 0, {}, std::string(reason)};
  {
    LineWriter line(buffer_, next_number_++, 'O');
    AppendOutcome(line, row, outcome, mend ? std::string_view(row.row) : std::string_view());
  }
  return FlushIfFull();
}

Status Journal::BeginList() {
  JournalEvent event;
  event.number = next_number_++;
  event.list = list_;
  AppendList(buffer_, event.number, list_);
  state_.Take(event);
  return FlushIfFull();
}

Status Journal::Keep(const JournalEvent& kept) {
  JournalEvent event = kept;
  event.kind = JournalEvent::Kind::kKept;
  event.number = next_number_++;
  event.missing = 0;
  // A person who was skipped is not to be sent to.
  const bool may_be_mended = kept.recipient.line > 0 && kept.outcome.state != State::kSkipped;
  {
    LineWriter line(buffer_, event.number, 'K');
    AppendOutcome(
        line, kept.recipient, kept.outcome,
        may_be_mended ? RowToMend(kept.recipient, kept.outcome.state) : std::string_view());
    line.Text(kept.deferral);
  }
  state_.Take(event);
  return FlushIfFull();
}

Status Journal::NoteInClear(std::string_view server) {
  LineWriter(buffer_, next_number_++, 'C').Text(server);
  return FlushIfFull();
}
Status Journal::BeginRun(std::uint64_t message) {
  JournalEvent event;
  event.kind = JournalEvent::Kind::kRun;
  event.number = next_number_++;
  event.list = list_;
  LineWriter(buffer_, event.number, 'R')
      .Number(static_cast<std::uint64_t>(Seconds(*clock_)))
      .Hash(message)
      .Number(list_.bytes)
      .Number(list_.lines)
      .Hash(list_.hash)
      .Number(list_.reading)
      .Number(torn_bytes_);
  const std::uint64_t since = state_.since();
  state_.Take(event);
  if (state_.since() != since) {
    doubted_.clear();
    suspected_.clear();
    reach_ = 0;
  }
  return Write();
}

Status Journal::EndRun(std::string_view reason) {
  LineWriter(buffer_, next_number_++, 'E')
      .Number(static_cast<std::uint64_t>(Seconds(*clock_)))
      .Text(reason);
  return Sync();
}

}  // namespace vespro::engine
