#include "outlook/loading.h"

#include <algorithm>
#include <array>

#include "base/files.h"
#include "base/win32/wide.h"

namespace vespro::standin {
namespace {

constexpr IID kExtensibility = {
    0xB65AD801, 0xABAF, 0x11D0, {0xBB, 0x8B, 0x00, 0xA0, 0xC9, 0x0F, 0x27, 0x44}};
constexpr const wchar_t* kList = L"Software\\Microsoft\\Office\\Outlook\\Addins";
constexpr const wchar_t* kClasses = L"Software\\Classes\\";
const HKEY kRoots[] = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE};

constexpr int kStartup = 1;       // ext_cm_Startup
constexpr int kHostShutdown = 0;  // ext_dm_HostShutdown

std::optional<std::wstring> ReadText(HKEY root, const std::wstring& path, const wchar_t* name) {
  std::array<wchar_t, 1024> text{};
  auto size = static_cast<DWORD>((text.size() - 1) * sizeof(wchar_t));
  if (RegGetValueW(root, path.c_str(), name, RRF_RT_REG_SZ, nullptr, text.data(), &size) != 0) {
    return std::nullopt;
  }
  return std::wstring(text.data());
}

// A class's value: the user's own classes lie over the machine's.
std::wstring ReadClass(const std::wstring& path, const wchar_t* name = nullptr) {
  for (const HKEY root : kRoots) {
    if (const auto text = ReadText(root, kClasses + path, name)) return *text;
  }
  return {};
}

ListedAddIn Read(HKEY root, const std::wstring& prog_id) {
  ListedAddIn listed;
  listed.prog_id = ModWide::ToUtf8(prog_id);
  DWORD behavior = 0, size = sizeof(behavior);
  RegGetValueW(root, (std::wstring(kList) + L"\\" + prog_id).c_str(), L"LoadBehavior",
               RRF_RT_REG_DWORD, nullptr, &behavior, &size);
  listed.load_behavior = behavior;
  const std::wstring class_id = ReadClass(prog_id + L"\\CLSID");
  listed.class_id = ModWide::ToUtf8(class_id);
  const std::wstring server = L"CLSID\\" + class_id + L"\\InprocServer32";
  listed.dll = ReadClass(server);
  listed.threading_model = ModWide::ToUtf8(ReadClass(server, L"ThreadingModel"));
  return listed;
}

Status Failed(const char* what, HRESULT result) {
  return Status(Code::kUnavailable, what, static_cast<std::uint32_t>(result));
}

// Of the add-in's calls.
class CustomArray {
 public:
  explicit CustomArray(const Custom& custom) : form_(custom.form) {
    if (form_ != Custom::Form::kArray && form_ != Custom::Form::kEmptyArray) return;
    SAFEARRAYBOUND bound{form_ == Custom::Form::kArray ? 1UL : 0UL, custom.lower_bound};
    array_ = SafeArrayCreate(VT_VARIANT, 1, &bound);
    if (form_ == Custom::Form::kEmptyArray) return;
    VARIANT element;
    VariantInit(&element);
    V_VT(&element) = custom.type;
    if (custom.type == VT_I2) {
      V_I2(&element) = static_cast<SHORT>(custom.first);
    } else {
      V_I4(&element) = custom.first;
    }
    LONG index = custom.lower_bound;
    SafeArrayPutElement(array_, &index, &element);
  }
  ~CustomArray() {
    if (array_ != nullptr) SafeArrayDestroy(array_);
  }
  CustomArray(const CustomArray&) = delete;
  CustomArray& operator=(const CustomArray&) = delete;
  SAFEARRAY** get() { return form_ == Custom::Form::kNoPointer ? nullptr : &array_; }

 private:
  const Custom::Form form_;
  SAFEARRAY* array_ = nullptr;
};

}  // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// What an add-in has to have, in this order.
struct LoadedAddIn::Interface : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, int mode,
                                                 IDispatch* instance, SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnDisconnection(int mode, SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;
};

#pragma GCC diagnostic pop

std::vector<ListedAddIn> ListedAddIns() {
  std::vector<ListedAddIn> all;
  for (const HKEY root : kRoots) {
    HKEY list = nullptr;
    if (RegOpenKeyExW(root, kList, 0, KEY_READ, &list) != 0) continue;
    for (DWORD i = 0;; ++i) {
      std::array<wchar_t, 256> name{};
      auto size = static_cast<DWORD>(name.size());
      const LSTATUS found =
          RegEnumKeyExW(list, i, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
      if (found != 0) break;
      ListedAddIn listed = Read(root, name.data());
      const bool is_known = std::any_of(all.begin(), all.end(), [&](const ListedAddIn& other) {
        return other.prog_id == listed.prog_id;
      });
      if (!is_known) all.push_back(std::move(listed));
    }
    RegCloseKey(list);
  }
  return all;
}

Result<std::unique_ptr<LoadedAddIn>> LoadedAddIn::Load(const ListedAddIn& listed) {
  CLSID class_id{};
  if (FAILED(CLSIDFromString(ModWide::FromUtf8(listed.class_id).c_str(), &class_id))) {
    return Status(Code::kNotFound, listed.prog_id + " has no class");
  }
  std::unique_ptr<LoadedAddIn> loaded(new LoadedAddIn());
  loaded->listed_ = listed;
  loaded->module_ = LoadLibraryExW(listed.dll.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (loaded->module_ == nullptr) {
    return Status(Code::kNotFound, ModFiles::ToUtf8(listed.dll) + " can't be loaded",
                  GetLastError());
  }
  using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  const auto get = reinterpret_cast<GetClassObject>(
      reinterpret_cast<void*>(GetProcAddress(loaded->module_, "DllGetClassObject")));
  if (get == nullptr) return Failed("the DLL makes no objects", E_NOTIMPL);
  ComPtr<IClassFactory> factory;
  HRESULT result = get(class_id, IID_IClassFactory, factory.OutVoid());
  if (FAILED(result)) return Failed("the DLL does not make this class", result);
  ComPtr<IUnknown> object;
  result = factory->CreateInstance(nullptr, IID_IUnknown, object.OutVoid());
  if (FAILED(result)) return Failed("the DLL can't make its object", result);
  void* add_in = nullptr;
  result = object->QueryInterface(kExtensibility, &add_in);
  if (FAILED(result)) return Failed("the object is no add-in", result);
  loaded->add_in_ = static_cast<Interface*>(add_in);
  return loaded;
}

LoadedAddIn::~LoadedAddIn() {
  if (add_in_ != nullptr) add_in_->Release();
  if (module_ != nullptr) FreeLibrary(module_);
}

HRESULT LoadedAddIn::Connect(Client& client, const Custom& custom) {
  client.ledger.OpenForAddIn();
  auto& instance = client.ledger.Make<ComAddIn>(listed_.prog_id, listed_.class_id);
  CustomArray array(custom);
  // Lent for the call, as an argument is.
  const ComPtr<IDispatch> application(client.application().dispatch());
  const ComPtr<IDispatch> add_in(instance.dispatch());
  using Asks = Client::Asks;
  const Asks asks = client.asks_for_ribbons;
  if (asks != Asks::kUnannounced) client.ribbons.Attach(*add_in_);
  if (asks == Asks::kBeforeConnection) client.ribbons.AskForMainWindows();
  HRESULT result = add_in_->OnConnection(application.get(), kStartup, add_in.get(), array.get());
  if (result != S_OK) {
    client.ribbons.Detach();
    std::exchange(add_in_, nullptr)->Release();
    client.ledger.CloseForAddIn();
    return result;
  }
  if (asks == Asks::kUnannounced) client.ribbons.Attach(*add_in_);
  if (asks == Asks::kAfterConnection || asks == Asks::kUnannounced) {
    client.ribbons.AskForMainWindows();
  }
  CustomArray unused(Custom{});
  add_in_->OnAddInsUpdate(unused.get());
  add_in_->OnStartupComplete(unused.get());
  return result;
}

void LoadedAddIn::Disconnect(Client& client) {
  CustomArray unused(Custom{});
  if (add_in_ != nullptr) {
    add_in_->OnBeginShutdown(unused.get());
    add_in_->OnDisconnection(kHostShutdown, unused.get());
  }
  client.ribbons.Detach();
  client.ledger.CloseForAddIn();
}

bool LoadedAddIn::Unload() {
  if (add_in_ != nullptr) std::exchange(add_in_, nullptr)->Release();
  using CanUnload = HRESULT(STDAPICALLTYPE*)();
  const auto can_unload = reinterpret_cast<CanUnload>(
      reinterpret_cast<void*>(GetProcAddress(module_, "DllCanUnloadNow")));
  if (can_unload == nullptr || can_unload() != S_OK) return false;
  return FreeLibrary(std::exchange(module_, nullptr)) != FALSE;
}

}  // namespace vespro::standin
