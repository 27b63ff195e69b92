// recipients/operations.h - what is done to the current distribution file with a second file:
// merging appends it, filtering takes the addresses that are in it out. Paths are UTF-8. Both are
// linear in the files. One thread per call.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "recipients/distribution.h"
#include "recipients/list_blocks.h"
#include "recipients/load.h"

namespace vespro::ModRecipients {

inline constexpr std::string_view kSameFile =
    "The file you have selected is the current distribution file, please select a different file";
inline constexpr std::string_view kDifferentFormats = "Cannot merge two different file formats";

// Whether the two can be merged: kUsage with kSameFile when they are one file, by whatever names;
// kBadInput with kDifferentFormats when their names tell different kinds.
Status CheckMerge(std::string_view current, std::string_view second);

// Appends an empty line and the lines of `second` as they are, each ended by CR LF, without its
// byte-order mark. What CheckMerge says; kNotFound or kBadInput when one of them can't be read as a
// list; kCannotWrite; kResumable when another program put a new file into the current one's place
// meanwhile. Bytes that were in `current` are never touched. When the disk fails, the
// whole lines that were appended by then stay; after kCancelled and kBadInput `current` is as long
// as it was. The bytes are not waited for to reach the disk.
Status Merge(std::string_view current, std::string_view second, const OnLine& on_line = {});

// Whether the one can be filtered by the other: kUsage with kSameFile when they are one file, by
// whatever names; kNotFound or kBadInput when `unwanted` can't be read.
// Ask before duplicates are removed, so that a wrong name changes nothing.
Status CheckFilter(std::string_view current, std::string_view unwanted);

struct Filtered {
  std::uint64_t removed = 0;
  // The keys of the removed rows in their order, each ended by LF; walk them with NextLine.
  std::string removed_addresses;
  // Lines of the unwanted file that match no key, since keys are in lower case and trimmed at the
  // row's ends: with capitals or blanks at an end. The first of them, as they are.
  std::uint64_t unmatchable = 0;
  std::string first_unmatchable;
  // A table's rows that have something else for a key. They stay when they are to be kept.
  OddRows odd_rows;
};

// Takes the rows out whose key is a line of `unwanted`, and replaces the file by the others, in
// lower case, without blanks around them and without empty lines. The key of a TEXT row is all of
// it, that of a CSV row the field at the address column without quotes and apostrophes, blanks
// kept; a row without that field, or with nothing in it, has no key and stays. Keys are in lower
// case; the lines of `unwanted` are compared as they are, so one with capitals removes nothing.
// The header row is read like any other and stays in its place. Duplicates are not looked for. What
// CheckFilter says; kNotFound, kBadInput, kCannotWrite and kCancelled as in LoadAndDeduplicate;
// `current` is as it was then.
Result<Filtered> Filter(const Distribution& current, std::string_view unwanted,
                        const OnLine& on_line = {});

// What Filter would do, with duplicates counted as often as they are there. Changes nothing.
// `keep_odd_rows` as in LoadGuards.
Result<Filtered> PreviewFilter(const Distribution& current, std::string_view unwanted,
                               bool keep_odd_rows, const OnLine& on_line = {});

// LoadAndDeduplicate, then Filter. Where only that fails, its text tells of the duplicates that are
// gone.
struct Cleared {
  Loaded loaded;
  Filtered filtered;
};
Result<Cleared> DeduplicateAndFilter(const Distribution& current, std::string_view unwanted,
                                     const OnLine& on_line = {}, const LoadGuards& guards = {});

}  // namespace vespro::ModRecipients
