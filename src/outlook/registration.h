// outlook/registration.h - the add-in in the registry: its class, and its place among Outlook's
// add-ins. Any thread.
#pragma once

#include <windows.h>

#include <filesystem>
#include <optional>
#include <string_view>

namespace vespro::ModRegistration {

enum class Scope { kMachine, kUser };

// "machine" and "user", in any case.
std::optional<Scope> ScopeOf(std::wstring_view name);

// Writes everything anew. 0, or Windows' error, and then nothing of it is left.
LSTATUS Register(Scope scope, const std::filesystem::path& dll);

// Takes everything away; what is not there is no failure. 0, or the first error of Windows'; what
// could be taken away has gone all the same.
LSTATUS Unregister(Scope scope);

}  // namespace vespro::ModRegistration
