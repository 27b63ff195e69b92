// settings/user_folder.h - where the add-in and the command line keep a user's accounts and
// sessions.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vespro::ModUserFolder {

// Makes the user's own folder in `base` and gives its path: one of the user's name or, where that
// can't be a folder's name or made one, "unknown". That one is tried only once, so the answer need
// not be there.
std::filesystem::path Ensure(const std::filesystem::path& base, std::string_view user_name);

}  // namespace vespro::ModUserFolder
