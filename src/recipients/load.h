// recipients/load.h - finds the duplicates of a distribution file and takes them out of it. Linear
// in the file; memory is the file and some twelve bytes a line. One thread per call.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "base/status.h"
#include "recipients/distribution.h"
#include "recipients/list_blocks.h"
#include "recipients/odd_rows.h"

namespace vespro::ModRecipients {

inline constexpr std::string_view kBlankFile = "The chosen file is blank";

struct Loaded {
  std::uint64_t distinct = 0;
  std::uint64_t duplicates = 0;
  // The duplicates' addresses in the order found, each ended by LF; walk them with NextLine.
  std::string duplicate_addresses;
  // CSV rows that hold something, but no address, or too few fields for it. They count as
  // neither, and a rewritten file does not have them, unless they are kept.
  OddRows without_address;
  bool rewritten = false;
};

// What a caller may want before a list is replaced.
struct LoadGuards {
  // Asked once when there are duplicates, with the counts, the lines without address and without
  // `duplicate_addresses`; a failure ends the operation and comes back from it.
  std::function<Status(const Loaded&)> confirm = {};
  // A table's rows without an address stay where they are, and so does whatever has something else
  // in the address's place (ModRow::LooksLikeAddress): cells that are in a wrong column tell
  // people apart badly.
  bool keep_odd_rows = false;
  // Takes the rows that go, in their order, each ended by CR LF: a table's as read, before the
  // first of them its header row, a TEXT list's as compared. A failure keeps the list and comes
  // back from the operation.
  ByteSink* removed_rows = nullptr;
  // When rows go, with their addresses, each ended by LF: the new list is on the disk, and takes
  // the old one's place next. A failure keeps the old one and comes back from the operation.
  std::function<Status(std::string_view addresses)> before_rows_go = {};
};

// Reads the list and, when an address is in it twice, replaces the file: a TEXT list by its
// addresses as compared, a CSV table by its header row (unless that is empty) and the first row of
// each address as read. Order is kept, lines end in CR LF, a byte-order mark stays. Without
// duplicates the file is not touched. kNotFound, or kBadInput: a folder, a device, no text, a line
// that is too long, too large for the memory's addresses, and kBlankFile for an empty file;
// kCannotWrite; kResumable when another program wrote to it meanwhile; kCancelled. After any
// failure the file is as it was.
Result<Loaded> LoadAndDeduplicate(const Distribution& list, const OnLine& on_line = {},
                                  const LoadGuards& guards = {});

}  // namespace vespro::ModRecipients
