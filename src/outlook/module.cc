// What the DLL offers by name: COM and the registration programs call it. It has no DllMain of its
// own: nothing is done while Windows loads it.
#include <windows.h>

#include <olectl.h>

#include <filesystem>
#include <optional>
#include <vector>

#include "outlook/add_in_object.h"
#include "outlook/class_factory.h"
#include "outlook/com_edge.h"
#include "outlook/registration.h"

// Set by the linker: where Windows has put this module.
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace vespro {
namespace {

// COM asks a function, not an object, whether the DLL is in use: this belongs to the module itself.
constinit ModuleUse module_use;

// The full path; empty where it can't be had.
std::filesystem::path DllPath() {
  std::vector<wchar_t> name(MAX_PATH);
  while (true) {
    const auto space = static_cast<DWORD>(name.size());
    const DWORD size =
        GetModuleFileNameW(reinterpret_cast<HMODULE>(&__ImageBase), name.data(), space);
    if (size < space) return std::filesystem::path(name.data(), name.data() + size);
    name.resize(name.size() * 2);
  }
}

HRESULT RegisterFor(ModRegistration::Scope scope) {
  const std::filesystem::path dll = DllPath();
  if (dll.empty()) return SELFREG_E_CLASS;
  return HRESULT_FROM_WIN32(ModRegistration::Register(scope, dll));
}

HRESULT UnregisterFor(ModRegistration::Scope scope) {
  return HRESULT_FROM_WIN32(ModRegistration::Unregister(scope));
}

}  // namespace
}  // namespace vespro

using vespro::AtComEdge;
using vespro::ModRegistration::Scope;

STDAPI DllGetClassObject(REFCLSID class_id, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (class_id != vespro::kClassId) return CLASS_E_CLASSNOTAVAILABLE;
  return AtComEdge("DllGetClassObject", [&] {
    const auto factory = vespro::MakeComObject<vespro::ClassFactory>(
        vespro::module_use, vespro::InstallFolder(vespro::DllPath()));
    return factory->QueryInterface(iid, out);
  });
}

STDAPI DllCanUnloadNow() { return vespro::module_use.count() == 0 ? S_OK : S_FALSE; }

// For all users or, where that can't be done - it takes an administrator -, for this one.
STDAPI DllRegisterServer() {
  return AtComEdge("DllRegisterServer", [] {
    const HRESULT result = vespro::RegisterFor(Scope::kMachine);
    return FAILED(result) ? vespro::RegisterFor(Scope::kUser) : result;
  });
}

// Wherever it is registered. What belongs to all users and may not be taken away is left to those
// who may.
STDAPI DllUnregisterServer() {
  return AtComEdge("DllUnregisterServer", [] {
    const HRESULT user = vespro::UnregisterFor(Scope::kUser);
    const HRESULT machine = vespro::UnregisterFor(Scope::kMachine);
    return FAILED(machine) ? machine : user;
  });
}

// For "user" or "machine" only.
STDAPI DllInstall(BOOL install, PCWSTR command_line) {
  return AtComEdge("DllInstall", [&]() -> HRESULT {
    const std::optional<Scope> scope =
        vespro::ModRegistration::ScopeOf(command_line == nullptr ? L"" : command_line);
    if (!scope) return E_INVALIDARG;
    return install ? vespro::RegisterFor(*scope) : vespro::UnregisterFor(*scope);
  });
}
