// engine/list_source.h - the recipients of a job, read from its distribution file as a stream. Rows
// that can't be sent to are told to the caller, each with its line and the reason. Memory: at most
// 14 bytes a recipient for finding duplicates. One thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/lines.h"
#include "base/random.h"
#include "base/status.h"
#include "engine/hash.h"
#include "engine/work.h"
#include "recipients/distribution.h"

namespace vespro::engine {

// Why a row is skipped whose address an earlier one has.
inline constexpr char kDuplicate[] = "duplicate of an earlier line";

struct ListOptions {
  std::uint64_t limit = 0;  // give only the first so many; 0: all
  std::string only;         // give only this recipient, in the form Normalised gives; empty: all
};

// Told of each row that is not sent to: where, what (the address as far as there is one, and the
// row), why. `mend`: the row itself is at fault and could be corrected, unlike a duplicate's. A
// failure ends the reading and comes back from Next.
using SkipFunction =
    std::function<Status(const Recipient& row, std::string_view reason, bool mend)>;
// Whether the recipient on that line is still to be served; the others are passed over silently.
using WantedFunction = std::function<bool(std::uint64_t line)>;
// See Recipient::suspected.
using SuspectedFunction = std::function<int(std::uint64_t line)>;

class ListSource final : public WorkSource {
 public:
  // kNotFound; kBadInput when the file is no text, or no list.
  static Result<ListSource> Open(const Distribution& list, ListOptions options,
                                 Randomness& randomness);

  void OnSkip(SkipFunction on_skip) { on_skip_ = std::move(on_skip); }
  void SetWanted(WantedFunction wanted) { wanted_ = std::move(wanted); }
  void SetSuspected(SuspectedFunction suspected) { suspected_ = std::move(suspected); }
  // Addresses in this file, one a line, are never given.
  Status Suppress(const std::filesystem::path& file);

  Result<std::vector<Recipient>> Next(std::size_t max) override;

  // The first line of a CSV table, without a byte-order mark; the merge fields are named by it
  // whether or not it is a header. Empty for a list of plain addresses.
  const std::string& first_row() const { return first_row_; }
  // Whether the file begins with one.
  bool has_byte_order_mark() const { return has_byte_order_mark_; }
  std::uint64_t given() const { return given_; }
  std::uint64_t skipped() const { return skipped_; }
  std::uint64_t passed_over() const { return passed_over_; }
  // Of the list when it was opened; only these are read.
  std::uint64_t file_bytes() const { return lines_.file_bytes(); }
  // The number of the line read last.
  std::uint64_t line() const { return lines_.line_number(); }

 private:
  struct Suppression {
    std::string name;
    AddressSet addresses;
  };
  ListSource(Distribution list, ListOptions options, LineReader lines, Randomness& randomness);
  // False when the row is nobody's: empty, a header, skipped, or not wanted.
  Result<bool> Take(std::string_view row, Recipient& recipient);
  Result<bool> TakeAddress(std::string_view row, Recipient& recipient);
  Result<bool> Skip(std::string_view row, std::string_view address, const std::string& reason,
                    bool mend);

  Distribution list_;
  ListOptions options_;
  LineReader lines_;
  Randomness* randomness_;
  AddressSet seen_;
  std::vector<Suppression> suppressed_;
  SkipFunction on_skip_;
  WantedFunction wanted_;
  SuspectedFunction suspected_;
  std::string first_row_;
  bool has_byte_order_mark_ = false;
  std::string address_;  // of the row in hand
  std::uint64_t found_ = 0, given_ = 0, skipped_ = 0, passed_over_ = 0;
};

// An address as the list's are compared: UTF-8, trimmed, lower case.
std::string Normalised(std::string_view address);

}  // namespace vespro::engine
