// The DLL as Windows and COM see it, and what it is made of.
#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, on which they depend.
#include <olectl.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "base/files.h"
#include "base/win32/registry_testing.h"
#include "base/win32/wide.h"
#include "outlook/add_in_object.h"
#include "outlook/extensibility.h"
#include "outlook/registration.h"
#include "outlook/variant.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;

constexpr IID kUnknownIid = {0x1b3c5d7e, 0x0102, 0x4304, {0x85, 6, 7, 8, 9, 10, 11, 12}};
constexpr const wchar_t* kAddIn = L"Software\\Microsoft\\Office\\Outlook\\Addins\\Vespro.Connect";
constexpr const wchar_t* kServer =
    L"Software\\Classes\\CLSID\\{2776C028-9AA2-4CF7-B449-BFD23F4EE5AD}\\InprocServer32";

// In place of one of the roots for this process: a key of the test's own.
class Sandbox {
 public:
  Sandbox(HKEY root, const std::string& name) : place_(name), root_(root) {
    const std::wstring path = ModWide::FromUtf8(place_.path);
    EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &key_, nullptr),
              0);
    EXPECT_EQ(RegOverridePredefKey(root_, key_), 0);
  }
  ~Sandbox() {
    RegOverridePredefKey(root_, nullptr);
    RegCloseKey(key_);
  }
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  // "text", or "#number"; nothing where there is no such value.
  std::optional<std::string> Read(const wchar_t* path, const wchar_t* name) const {
    wchar_t text[512];
    DWORD type = 0, size = sizeof(text) - sizeof(wchar_t);
    HKEY opened = nullptr;
    if (RegOpenKeyExW(key_, path, 0, KEY_READ, &opened) != 0) return std::nullopt;
    const LSTATUS error =
        RegQueryValueExW(opened, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
    RegCloseKey(opened);
    if (error != 0) return std::nullopt;
    if (type == REG_DWORD) {
      DWORD number = 0;
      std::memcpy(&number, text, sizeof(number));
      return "#" + std::to_string(number);
    }
    text[size / sizeof(wchar_t)] = 0;
    return ModWide::ToUtf8(text);
  }
  // From then on nothing can be done there.
  void Delete() const { EXPECT_EQ(RegDeleteKeyW(key_, L""), 0); }
  // Nothing of the add-in's is there.
  bool empty() const {
    const wchar_t* keys[] = {kAddIn, L"Software\\Classes\\Vespro.Connect",
                             L"Software\\Classes\\CLSID\\{2776C028-9AA2-4CF7-B449-BFD23F4EE5AD}"};
    return std::none_of(std::begin(keys), std::end(keys), [this](const wchar_t* path) {
      HKEY opened = nullptr;
      if (RegOpenKeyExW(key_, path, 0, KEY_READ, &opened) != 0) return false;
      RegCloseKey(opened);
      return true;
    });
  }

 private:
  TestKey place_;
  HKEY root_;
  HKEY key_ = nullptr;
};

// The built DLL, loaded as Outlook loads it.
class LoadedDll {
 public:
  LoadedDll() {
    const bool is_64_bit = sizeof(void*) == 8;
    path = ModFiles::ProgramPath().parent_path() / (is_64_bit ? "x64" : "x86") / "Vespro.dll";
    module_ = LoadLibraryW(path.c_str());
    EXPECT_NE(module_, nullptr) << path;
  }
  ~LoadedDll() { FreeLibrary(module_); }
  LoadedDll(const LoadedDll&) = delete;
  LoadedDll& operator=(const LoadedDll&) = delete;

  template <class Function>
  Function Get(const char* name) const {
    void* const found = reinterpret_cast<void*>(GetProcAddress(module_, name));
    EXPECT_NE(found, nullptr) << name;
    return reinterpret_cast<Function>(found);
  }
  HRESULT Call(const char* name) const { return Get<HRESULT(STDAPICALLTYPE*)()>(name)(); }
  HRESULT Install(bool install, const wchar_t* scope) const {
    return Get<HRESULT(STDAPICALLTYPE*)(BOOL, PCWSTR)>("DllInstall")(install, scope);
  }
  HRESULT ClassObject(REFCLSID class_id, REFIID iid, void** out) const {
    return Get<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>("DllGetClassObject")(class_id,
                                                                                        iid, out);
  }
  HMODULE module() const { return module_; }

  fs::path path;

 private:
  HMODULE module_ = nullptr;
};

TEST(RegistrationTest, ForAllUsersAndBack) {
  const Sandbox machine(HKEY_LOCAL_MACHINE, "Machine");
  const Sandbox user(HKEY_CURRENT_USER, "User");
  const LoadedDll dll;
  for (int i = 0; i < 2; ++i) ASSERT_EQ(dll.Call("DllRegisterServer"), S_OK) << i;
  EXPECT_EQ(machine.Read(L"Software\\Classes\\Vespro.Connect\\CLSID", nullptr),
            "{2776C028-9AA2-4CF7-B449-BFD23F4EE5AD}");
  EXPECT_EQ(machine.Read(kServer, nullptr), ModFiles::ToUtf8(dll.path));
  EXPECT_EQ(machine.Read(kServer, L"ThreadingModel"), "Apartment");
  EXPECT_EQ(machine.Read(kAddIn, L"FriendlyName"), "Vespro");
  EXPECT_NE(machine.Read(kAddIn, L"Description").value_or(""), "");
  EXPECT_EQ(machine.Read(kAddIn, L"LoadBehavior"), "#3");
  EXPECT_EQ(machine.Read(kAddIn, L"CommandLineSafe"), "#0");
  EXPECT_TRUE(user.empty());

  EXPECT_EQ(dll.Install(true, L"User"), S_OK);
  EXPECT_EQ(user.Read(kServer, nullptr), ModFiles::ToUtf8(dll.path));
  EXPECT_EQ(dll.Install(true, L"everybody"), E_INVALIDARG);
  EXPECT_EQ(dll.Install(true, nullptr), E_INVALIDARG);
  EXPECT_EQ(dll.Install(false, L"machine"), S_OK);
  EXPECT_TRUE(machine.empty());
  EXPECT_FALSE(user.empty());
  for (int i = 0; i < 2; ++i) EXPECT_EQ(dll.Call("DllUnregisterServer"), S_OK) << i;
  EXPECT_TRUE(user.empty());
}

TEST(RegistrationTest, WhereAllUsersCantHaveItThisOneDoes) {
  const Sandbox machine(HKEY_LOCAL_MACHINE, "Machine");
  const Sandbox user(HKEY_CURRENT_USER, "User");
  const LoadedDll dll;
  machine.Delete();
  EXPECT_EQ(dll.Call("DllRegisterServer"), S_OK);
  EXPECT_EQ(user.Read(kAddIn, L"LoadBehavior"), "#3");
  EXPECT_EQ(dll.Install(true, L"machine"), HRESULT_FROM_WIN32(ERROR_KEY_DELETED));
  EXPECT_EQ(dll.Call("DllUnregisterServer"), HRESULT_FROM_WIN32(ERROR_KEY_DELETED));
  EXPECT_TRUE(user.empty()) << "what can be taken away is";
}

TEST(RegistrationTest, AFailureLeavesNothingBehind) {
  const Sandbox user(HKEY_CURRENT_USER, "User");
  // Nothing that is to last can be written below it.
  HKEY passing = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Office\\Outlook", 0, nullptr,
                            REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &passing, nullptr),
            0);
  RegCloseKey(passing);
  EXPECT_EQ(ModRegistration::Register(ModRegistration::Scope::kUser, L"C:\\Vespro.dll"),
            ERROR_CHILD_MUST_BE_VOLATILE);
  EXPECT_TRUE(user.empty());
}

TEST(DllTest, MakesOneClassAndGoesWhenNothingIsLeft) {
  LoadedDll dll;
  EXPECT_EQ(dll.Call("DllCanUnloadNow"), S_OK);
  void* out = &out;
  EXPECT_EQ(dll.ClassObject(kUnknownIid, IID_IClassFactory, &out), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(dll.ClassObject(kClassId, kUnknownIid, &out), E_NOINTERFACE);
  EXPECT_EQ(dll.ClassObject(kClassId, IID_IClassFactory, nullptr), E_POINTER);
  EXPECT_EQ(dll.Call("DllCanUnloadNow"), S_OK);

  ComPtr<IClassFactory> factory;
  ASSERT_EQ(dll.ClassObject(kClassId, IID_IClassFactory, factory.OutVoid()), S_OK);
  EXPECT_EQ(factory->CreateInstance(factory.get(), IID_IUnknown, &out), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(factory->CreateInstance(nullptr, kUnknownIid, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  ComPtr<IDTExtensibility2> add_in;
  ASSERT_EQ(factory->CreateInstance(nullptr, __uuidof(IDTExtensibility2), add_in.OutVoid()), S_OK);
  EXPECT_EQ(add_in.As<IDispatch>(IID_IDispatch).get(), add_in.get());
  factory.Reset();
  EXPECT_EQ(dll.Call("DllCanUnloadNow"), S_FALSE);
  EXPECT_EQ(add_in->OnDisconnection(0, nullptr), S_OK) << "of what was never connected";
  EXPECT_EQ(add_in->OnConnection(nullptr, 1, nullptr, nullptr), E_INVALIDARG);
  add_in.Reset();
  EXPECT_EQ(dll.Call("DllCanUnloadNow"), S_OK);

  ASSERT_EQ(dll.ClassObject(kClassId, IID_IClassFactory, factory.OutVoid()), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  factory.Reset();
  EXPECT_EQ(dll.Call("DllCanUnloadNow"), S_OK);
}

TEST(DllTest, IsReallyUnloaded) {
  { const LoadedDll dll; }
  EXPECT_EQ(GetModuleHandleW(L"Vespro.dll"), nullptr);
}

TEST(DllTest, HoldsItsPicturesAndItsVersion) {
  const LoadedDll dll;
  EXPECT_NE(FindResourceW(dll.module(), MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16)),  // RT_VERSION
            nullptr);
  EXPECT_NE(FindResourceW(dll.module(), L"PAPERCLIP", MAKEINTRESOURCEW(14)),
            nullptr);  // RT_GROUP_ICON
  EXPECT_NE(FindResourceW(dll.module(), L"MAILBMP", MAKEINTRESOURCEW(2)), nullptr);  // RT_BITMAP
}

TEST(AddInObjectTest, TheInstallFolderIsAboveThatOfAProcessor) {
  EXPECT_EQ(InstallFolder(L"C:\\Program Files\\Vespro\\x64\\Vespro.dll"),
            L"C:\\Program Files\\Vespro");
  EXPECT_EQ(InstallFolder(L"C:\\Vespro\\X86\\Vespro.dll"), L"C:\\Vespro");
  EXPECT_EQ(InstallFolder(L"C:\\x64\\Vespro\\Vespro.dll"), L"C:\\x64\\Vespro");
}

// What is read from an array with one element, at `first`.
std::optional<int> FirstOf(VARTYPE type, LONG first, void* element) {
  SAFEARRAYBOUND bound{1, first};
  SAFEARRAY* array = SafeArrayCreate(type, 1, &bound);
  EXPECT_EQ(SafeArrayPutElement(array, &first, element), S_OK);
  const std::optional<int> number = FirstNumber(array);
  SafeArrayDestroy(array);
  return number;
}
std::optional<int> FirstOf(const Variant& value, LONG first) {
  VARIANT element = value.get();
  return FirstOf(VT_VARIANT, first, &element);
}

TEST(AddInObjectTest, TheCustomArraysFirstNumber) {
  short small = 2;
  LONG large = 3;
  EXPECT_EQ(FirstOf(Variant(1), 1), 1);
  EXPECT_EQ(FirstOf(Variant(3), 0), 3);
  EXPECT_EQ(FirstOf(Variant("2"), -5), 2);
  EXPECT_EQ(FirstOf(VT_I2, 1, &small), 2);
  EXPECT_EQ(FirstOf(VT_I4, 0, &large), 3);

  EXPECT_EQ(FirstNumber(nullptr), std::nullopt);
  EXPECT_EQ(FirstOf(Variant(), 1), std::nullopt);
  EXPECT_EQ(FirstOf(Variant("two"), 1), std::nullopt);
  EXPECT_EQ(FirstOf(Variant(static_cast<IDispatch*>(nullptr)), 1), std::nullopt);
  double fraction = 2;
  EXPECT_EQ(FirstOf(VT_R8, 1, &fraction), std::nullopt);
  for (const UINT dimensions : {1u, 2u}) {
    SAFEARRAYBOUND bounds[2] = {{dimensions - 1, 1}, {1, 1}};
    SAFEARRAY* array = SafeArrayCreate(VT_VARIANT, dimensions, bounds);
    EXPECT_EQ(FirstNumber(array), std::nullopt) << dimensions;
    SafeArrayDestroy(array);
  }
}

// An application that has nothing, and counts what it is asked for.
class EmptyApplication final : public ComObject<IDispatch> {
 public:
  explicit EmptyApplication(ModuleUse& use) : ComObject(use) {}
  std::vector<std::wstring> asked;

  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
    asked.emplace_back(names[0]);
    *ids = 1;
    return S_OK;
  }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                      UINT*) override {
    V_VT(result) = VT_DISPATCH;
    V_DISPATCH(result) = nullptr;
    return S_OK;
  }

 private:
  ~EmptyApplication() override = default;
};

TEST(AddInObjectTest, ScriptsMayCallItByName) {
  ModuleUse use;
  {
    const auto object = MakeComObject<AddInObject>(use, fs::path(L"C:\\nowhere"));
    const auto application = MakeComObject<EmptyApplication>(use);
    const auto call = [&](const wchar_t* name, std::vector<VARIANT> reversed) {
      auto* asked = const_cast<LPOLESTR>(name);
      DISPID id = 0;
      const HRESULT result = object->GetIDsOfNames(IID_NULL, &asked, 1, 0, &id);
      if (FAILED(result)) return result;
      DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
      return object->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                            nullptr);
    };
    SAFEARRAYBOUND bound{1, 1};
    SAFEARRAY* array = SafeArrayCreate(VT_VARIANT, 1, &bound);
    LONG first = 1;
    VARIANT by_automation = Variant(3).get();
    ASSERT_EQ(SafeArrayPutElement(array, &first, &by_automation), S_OK);
    VARIANT custom;
    V_VT(&custom) = VT_ARRAY | VT_VARIANT | VT_BYREF;
    V_ARRAYREF(&custom) = &array;
    const Variant self(application.get());
    const Variant mode(1);
    const Variant nothing(static_cast<IDispatch*>(nullptr));
    EXPECT_EQ(call(L"onconnection", {custom, nothing.get(), mode.get(), self.get()}), S_OK);
    EXPECT_TRUE(application->asked.empty()) << "started by a program";
    by_automation = Variant(1).get();
    ASSERT_EQ(SafeArrayPutElement(array, &first, &by_automation), S_OK);
    EXPECT_EQ(call(L"OnConnection", {custom, nothing.get(), mode.get(), self.get()}), S_OK);
    EXPECT_FALSE(application->asked.empty());
    SafeArrayDestroy(array);
    for (const wchar_t* name : {L"OnAddInsUpdate", L"OnStartupComplete", L"OnBeginShutdown"}) {
      EXPECT_EQ(call(name, {custom}), S_OK);
    }
    EXPECT_EQ(call(L"OnBeginShutdown", {}), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(call(L"OnDisconnection", {custom, mode.get()}), S_OK);
    EXPECT_EQ(call(L"OnSomething", {}), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(application->AddRef(), 3u) << "ours, the value's and this one";
    application->Release();
  }
  EXPECT_EQ(use.count(), 0);
}

// What Office passes for a control; without a name for it none of its properties can be had.
class FakeControl final : public ComObject<IDispatch> {
 public:
  FakeControl(ModuleUse& use, std::string id, IDispatch* context)
      : ComObject(use), id_(std::move(id)), context_(context) {}
  int asked = 0;

  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
    ++asked;
    *ids = std::wstring_view(names[0]) == L"Id" ? 1 : 2;
    return id_.empty() ? DISP_E_UNKNOWNNAME : S_OK;
  }
  STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                      UINT*) override {
    *result = (id == 1 ? Variant(id_) : Variant(context_)).Detach();
    return S_OK;
  }

 private:
  ~FakeControl() override = default;
  const std::string id_;
  IDispatch* const context_;
};

DISPID IdOf(IDispatch& object, const wchar_t* name) {
  auto* asked = const_cast<LPOLESTR>(name);
  DISPID id = 0;
  const HRESULT found = object.GetIDsOfNames(IID_NULL, &asked, 1, 0, &id);
  EXPECT_EQ(found, id == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : S_OK);
  return id;
}

TEST(AddInObjectTest, RibbonsAreAskedForThroughAnInterfaceOfTheirOwn) {
  ModuleUse use;
  {
    const auto object = MakeComObject<AddInObject>(use, fs::path(L"C:\\nowhere"));
    const auto ribbons = object.As<IRibbonExtensibility>(__uuidof(IRibbonExtensibility));
    ASSERT_TRUE(ribbons);
    EXPECT_EQ(ribbons.As<IUnknown>(IID_IUnknown).get(), object.As<IUnknown>(IID_IUnknown).get());
    EXPECT_EQ(ribbons.As<IDTExtensibility2>(__uuidof(IDTExtensibility2)).get(), object.get());

    const auto given = [&](const char* ribbon_id) {
      Bstr xml;
      EXPECT_EQ(ribbons->GetCustomUI(Bstr(ribbon_id).get(), xml.Out()), S_OK);
      return xml.ToText();
    };
    EXPECT_EQ(given("Microsoft.Outlook.Mail.Compose"), "") << "which an older Outlook may ask for";
    EXPECT_EQ(given("Microsoft.Outlook.Explorer").find("<customUI "), 0U);
    EXPECT_EQ(given("Microsoft.Outlook.Mail.Compose").find("<customUI "), 0U);
    EXPECT_EQ(given("Microsoft.Outlook.Contact"), "");
    Bstr xml;
    EXPECT_EQ(ribbons->GetCustomUI(nullptr, xml.Out()), S_OK);
    EXPECT_EQ(xml.get(), nullptr);
    EXPECT_EQ(ribbons->GetCustomUI(nullptr, nullptr), E_POINTER);

    // The same number means another function in the other interface.
    EXPECT_EQ(IdOf(*ribbons.get(), L"getcustomui"), 1);
    EXPECT_EQ(IdOf(*object.get(), L"OnConnection"), 1);
    EXPECT_EQ(IdOf(*object.get(), L"GetCustomUI"), DISPID_UNKNOWN);
    EXPECT_EQ(IdOf(*ribbons.get(), L"OnConnection"), DISPID_UNKNOWN);
    const DISPID action = IdOf(*object.get(), L"Ribbon_OnAction");
    EXPECT_GT(action, 1);
    EXPECT_EQ(IdOf(*ribbons.get(), L"ribbon_onaction"), action);
    EXPECT_EQ(IdOf(*object.get(), L"Ribbon_OnSomething"), DISPID_UNKNOWN);

    VARIANT name = Variant("Microsoft.Outlook.Explorer").Detach();
    DISPPARAMS one{&name, nullptr, 1, 0};
    Variant described;
    EXPECT_EQ(
        ribbons->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &one, described.Out(), nullptr, nullptr),
        S_OK);
    EXPECT_EQ(described.ToText().value().find("<customUI "), 0U);
    EXPECT_EQ(ribbons->Invoke(2, IID_NULL, 0, DISPATCH_METHOD, &one, nullptr, nullptr, nullptr),
              DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(ribbons->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
              DISP_E_BADPARAMCOUNT);
    VariantClear(&name);
  }
  EXPECT_EQ(use.count(), 0);
}

TEST(AddInObjectTest, CallbacksStandHostileArguments) {
  ModuleUse use;
  {
    const auto object = MakeComObject<AddInObject>(use, fs::path(L"C:\\nowhere"));
    const auto ribbons = object.As<IRibbonExtensibility>(__uuidof(IRibbonExtensibility));
    const auto empty = MakeComObject<EmptyApplication>(use);
    const auto nameless = MakeComObject<FakeControl>(use, "", empty.get());
    const auto homeless = MakeComObject<FakeControl>(use, "CmdSend", nullptr);
    const auto elsewhere = MakeComObject<FakeControl>(use, "CmdSend", empty.get());
    Variant result;
    const auto call = [&](const wchar_t* name, std::vector<Variant> arguments,
                          WORD flags = DISPATCH_METHOD) {
      std::vector<VARIANT> reversed;
      for (auto at = arguments.rbegin(); at != arguments.rend(); ++at)
        reversed.push_back(at->get());
      DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
      return ribbons->Invoke(IdOf(*object.get(), name), IID_NULL, 0, flags, &parameters,
                             result.Out(), nullptr, nullptr);
    };
    const auto with = [](auto... values) {
      std::vector<Variant> all;
      (all.emplace_back(values), ...);
      return all;
    };
    // Nobody has asked for a ribbon: Outlook is left alone.
    EXPECT_EQ(call(L"Ribbon_OnAction", with(elsewhere.get())), E_INVALIDARG);
    EXPECT_EQ(call(L"Ribbon_GetVisible", with(elsewhere.get())), S_OK);
    EXPECT_EQ(result.ToBool().value(), false);
    EXPECT_EQ(elsewhere->asked, 0);

    Bstr xml;
    ASSERT_EQ(ribbons->GetCustomUI(Bstr("Microsoft.Outlook.Explorer").get(), xml.Out()), S_OK);
    const wchar_t* names[] = {L"MainRibbon_Load",     L"ComposeRibbon_Load",  L"Ribbon_GetVisible",
                              L"Ribbon_GetImage",     L"Ribbon_OnAction",     L"Ribbon_GetEnabled",
                              L"Ribbon_GetItemCount", L"Ribbon_GetItemLabel", L"Ribbon_GetText",
                              L"Ribbon_OnChange"};
    for (const wchar_t* name : names) {
      SCOPED_TRACE(ModWide::ToUtf8(name));
      const bool more = std::wstring_view(name).ends_with(L"ItemLabel") ||
                        std::wstring_view(name).ends_with(L"Change");
      const auto first = [&](auto value) { return more ? with(value, 0) : with(value); };
      EXPECT_EQ(call(name, {}), DISP_E_BADPARAMCOUNT);
      EXPECT_EQ(call(name, with(1, 2, 3)), DISP_E_BADPARAMCOUNT);
      EXPECT_EQ(call(name, first("CmdSend")), DISP_E_TYPEMISMATCH);
      EXPECT_EQ(call(name, first(static_cast<IDispatch*>(nullptr))), DISP_E_TYPEMISMATCH);
      EXPECT_EQ(call(name, first(empty.get()), DISPATCH_PROPERTYPUT), DISP_E_MEMBERNOTFOUND);
      if (std::wstring_view(name).ends_with(L"Load")) continue;
      for (IDispatch* control :
           {static_cast<IDispatch*>(nameless.get()), static_cast<IDispatch*>(homeless.get()),
            static_cast<IDispatch*>(elsewhere.get()), static_cast<IDispatch*>(empty.get())}) {
        EXPECT_EQ(call(name, first(control)), E_INVALIDARG);
      }
    }
    const DISPID action = IdOf(*object.get(), L"Ribbon_OnAction");
    EXPECT_EQ(
        object->Invoke(action, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
        DISP_E_BADPARAMCOUNT);
    DISPPARAMS nothing{};
    EXPECT_EQ(object->Invoke(action + 1000, IID_NULL, 0, DISPATCH_METHOD, &nothing, nullptr,
                             nullptr, nullptr),
              DISP_E_MEMBERNOTFOUND);

    // What was loaded is let go with the connection.
    const auto ribbon = MakeComObject<EmptyApplication>(use);
    EXPECT_EQ(call(L"MainRibbon_Load", with(ribbon.get())), S_OK);
    EXPECT_EQ(ribbon->AddRef(), 3U);
    EXPECT_EQ(object->OnDisconnection(0, nullptr), S_OK);
    EXPECT_EQ(ribbon->Release(), 1U);
    EXPECT_EQ(call(L"Ribbon_OnAction", with(elsewhere.get())), E_INVALIDARG);
  }
  EXPECT_EQ(use.count(), 0);
}

}  // namespace
}  // namespace vespro
