// reports/show_page.h - a local page in the mail client's main window.
#pragma once

#include <filesystem>

#include "base/status.h"
#include "host/add_in.h"

namespace vespro {

// Types the page's address into the "Web" bar of the main window, which goes there, and shows that
// bar. Where there is no such bar the user's browser shows the page; what then fails is a
// GShellError.
Status ShowPage(AddIn& add_in, const std::filesystem::path& page);

}  // namespace vespro
