#include "outlook/add_in_object.h"

#include <array>
#include <cwchar>
#include <string>
#include <string_view>
#include <utility>

#include "addin/connect.h"
#include "base/clock.h"
#include "base/files.h"
#include "base/random.h"
#include "base/text.h"
#include "base/user.h"
#include "outlook/com_edge.h"
#include "outlook/event_sink.h"
#include "outlook/outlook_client.h"
#include "outlook/ribbon_callbacks.h"
#include "settings/registry_backend.h"
#include "win32/win32_desktop.h"

namespace vespro {
namespace {

constexpr char kEngineFile[] = "Vespro.exe";

enum MethodId : DISPID {
  kOnConnection = 1,
  kOnDisconnection,
  kOnAddInsUpdate,
  kOnStartupComplete,
  kOnBeginShutdown
};
constexpr DISPID kGetCustomUI = 1;  // of the other interface
struct Method {
  const wchar_t* name;
  UINT arguments;
};
// In the order of their numbers.
constexpr std::array<Method, 5> kMethods = {{{L"OnConnection", 4},
                                             {L"OnDisconnection", 2},
                                             {L"OnAddInsUpdate", 1},
                                             {L"OnStartupComplete", 1},
                                             {L"OnBeginShutdown", 1}}};

bool IsSmallNumber(VARTYPE type) {
  return type == VT_I2 || type == VT_I4 || type == VT_INT || type == VT_UI2 || type == VT_UI4 ||
         type == VT_UINT;
}

// The array in an argument; nullptr where there is none.
SAFEARRAY* ArrayIn(const VARIANT& value) {
  if ((V_VT(&value) & VT_ARRAY) == 0) return nullptr;
  if ((V_VT(&value) & VT_BYREF) == 0) return V_ARRAY(&value);
  return V_ARRAYREF(&value) == nullptr ? nullptr : *V_ARRAYREF(&value);
}

// A window of this thread: forms can't stay before others.
HWND Ours(HWND window) {
  const bool is_ours =
      window != nullptr && GetWindowThreadProcessId(window, nullptr) == GetCurrentThreadId();
  return is_ours ? window : nullptr;
}

void LogLine(std::string_view line) { ReportAtEdge("log", std::string(line).c_str()); }

}  // namespace

std::optional<int> FirstNumber(SAFEARRAY* custom) {
  LONG first = 0, last = 0;
  VARTYPE type = VT_EMPTY;
  if (custom == nullptr || SafeArrayGetDim(custom) != 1 ||
      FAILED(SafeArrayGetLBound(custom, 1, &first)) ||
      FAILED(SafeArrayGetUBound(custom, 1, &last)) || last < first ||
      FAILED(SafeArrayGetVartype(custom, &type))) {
    return std::nullopt;
  }
  Variant element;
  HRESULT result = E_FAIL;
  if (type == VT_VARIANT) {
    result = SafeArrayGetElement(custom, &first, element.Out());
  } else if (IsSmallNumber(type)) {
    VARIANT* value = element.Out();
    V_VT(value) = type;
    result = SafeArrayGetElement(custom, &first, &V_I4(value));
  }
  if (FAILED(result)) return std::nullopt;
  const Result<std::int32_t> number = element.ToInt();
  return number.ok() ? std::optional<int>(number.value()) : std::nullopt;
}

std::filesystem::path InstallFolder(const std::filesystem::path& dll) {
  const std::filesystem::path folder = dll.parent_path();
  const std::string name = ModFiles::ToUtf8(folder.filename());
  const bool is_processor = ModText::EqualsIgnoringAsciiCase(name, "x64") ||
                            ModText::EqualsIgnoringAsciiCase(name, "x86");
  return is_processor ? folder.parent_path() : folder;
}

// What one connection lives on.
class AddInObject::Connection {
 public:
  explicit Connection(const std::filesystem::path& install_folder)
      : desktop_([this] { return HostWindow(); }, LogLine),
        connect_(desktop_, backend_, clock_, randomness_,
                 {install_folder, kEngineFile, ModUser::Name()}) {}

  Connect& connect() { return connect_; }

 private:
  // Outlook's window in front, or whatever is there of this thread's.
  HWND HostWindow() const {
    const std::shared_ptr<MailClient> client = connect_.add_in().mail_client;
    const auto* outlook = dynamic_cast<const OutlookClient*>(client.get());
    HWND window = outlook != nullptr ? Ours(outlook->ActiveWindow()) : nullptr;
    if (window == nullptr) window = Ours(GetForegroundWindow());
    return window != nullptr ? window : GetActiveWindow();
  }

  RegistryBackend backend_;
  SystemClock clock_;
  SystemRandomness randomness_;
  Win32Desktop desktop_;
  Connect connect_;
};

STDMETHODIMP AddInObject::QueryInterface(REFIID iid, void** out) {
  if (out == nullptr || iid != __uuidof(IRibbonExtensibility)) {
    return ComObject::QueryInterface(iid, out);
  }
  asked_for_ribbons_ = true;
  *out = static_cast<IRibbonExtensibility*>(&ribbon_extensibility_);
  AddRef();
  return S_OK;
}

std::shared_ptr<AddInObject::Connection> AddInObject::Prepare() {
  if (connection_ == nullptr) connection_ = std::make_shared<Connection>(install_folder_);
  if (context_ == nullptr) {
    context_ = std::make_shared<const HostContext>(HostContext{use(), connection_});
  }
  return connection_;
}

STDMETHODIMP AddInObject::OnConnection(IDispatch* application, std::int32_t, IDispatch* instance,
                                       SAFEARRAY** custom) {
  const ComPtr<AddInObject> self(this);
  return AtComEdge("OnConnection", [&]() -> HRESULT {
    if (application == nullptr) return E_INVALIDARG;
    context_ = nullptr;  // numbers of members may be another Outlook's
    const std::shared_ptr<Connection> connection = Prepare();
    const std::shared_ptr<const HostContext> context = context_;
    const Dispatch in_outlook(ComPtr<IDispatch>(instance), ObjectKind::kAddInInstance,
                              context->ids);
    const Result<std::string> prog_id = in_outlook.Text(L"ProgId");
    if (asked_for_ribbons_) connection->connect().ExpectRibbons();
    connection->connect().IDTExtensibility2_OnConnection(
        std::make_shared<OutlookClient>(ComPtr<IDispatch>(application), context),
        FirstNumber(custom == nullptr ? nullptr : *custom),
        prog_id.ok() ? prog_id.value() : std::string(kProgId));
    return S_OK;
  });
}

STDMETHODIMP AddInObject::OnDisconnection(std::int32_t, SAFEARRAY**) {
  const ComPtr<AddInObject> self(this);
  return Disconnect("OnDisconnection");
}

STDMETHODIMP AddInObject::OnStartupComplete(SAFEARRAY**) {
  const ComPtr<AddInObject> self(this);
  return AtComEdge("OnStartupComplete", [&] {
    const std::shared_ptr<Connection> connection = connection_;
    if (connection != nullptr) connection->connect().IDTExtensibility2_OnStartupComplete();
    return S_OK;
  });
}

// Later Outlooks let it go without disconnecting it.
AddInObject::~AddInObject() { Disconnect("the end"); }

HRESULT AddInObject::Disconnect(const char* why) {
  return AtComEdge(why, [&] {
    const std::shared_ptr<Connection> connection = connection_;
    if (connection != nullptr) connection->connect().IDTExtensibility2_OnDisconnection();
    return S_OK;
  });
}

STDMETHODIMP AddInObject::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 0;
  return S_OK;
}

STDMETHODIMP AddInObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
  for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
  for (std::size_t i = 0; i < kMethods.size(); ++i) {
    if (_wcsicmp(names[0], kMethods[i].name) == 0) ids[0] = static_cast<DISPID>(i + 1);
  }
  if (const auto callback = ModRibbonCallbacks::Find(names[0])) ids[0] = *callback;
  // Names after the first are those of arguments, which have none here.
  return ids[0] == DISPID_UNKNOWN || count > 1 ? DISP_E_UNKNOWNNAME : S_OK;
}

STDMETHODIMP AddInObject::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* arguments,
                                 VARIANT* result, EXCEPINFO*, UINT*) {
  const ComPtr<AddInObject> self(this);
  return AtComEdge("Invoke", [&]() -> HRESULT {
    if (id >= ModRibbonCallbacks::kFirst) {
      if ((flags & DISPATCH_METHOD) == 0) return DISP_E_MEMBERNOTFOUND;
      if (arguments == nullptr) return DISP_E_BADPARAMCOUNT;
      const std::shared_ptr<Connection> connection = Prepare();
      const std::shared_ptr<const HostContext> context = context_;
      return ModRibbonCallbacks::Invoke(id, *arguments, result, connection->connect(), context);
    }
    if (id < kOnConnection || id > kOnBeginShutdown || (flags & DISPATCH_METHOD) == 0) {
      return DISP_E_MEMBERNOTFOUND;
    }
    const UINT wanted = kMethods[static_cast<std::size_t>(id - 1)].arguments;
    if (arguments == nullptr || arguments->cArgs != wanted) return DISP_E_BADPARAMCOUNT;
    if (id == kOnDisconnection) return OnDisconnection(0, nullptr);
    if (id == kOnStartupComplete) return OnStartupComplete(nullptr);
    if (id != kOnConnection) return S_OK;
    SAFEARRAY* custom = ArrayIn(arguments->rgvarg[0]);  // the last one comes first
    return OnConnection(ObjectArgument(*arguments, 0).get(), 0, ObjectArgument(*arguments, 2).get(),
                        &custom);
  });
}

STDMETHODIMP AddInObject::RibbonExtensibility::GetIDsOfNames(REFIID iid, LPOLESTR* names,
                                                             UINT count, LCID language,
                                                             DISPID* ids) {
  const HRESULT found = owner_.GetIDsOfNames(iid, names, count, language, ids);
  if (found == E_INVALIDARG) return found;
  if (_wcsicmp(names[0], L"GetCustomUI") == 0) {
    ids[0] = kGetCustomUI;
  } else if (ids[0] < ModRibbonCallbacks::kFirst) {
    ids[0] = DISPID_UNKNOWN;
  }
  return ids[0] == DISPID_UNKNOWN || count > 1 ? DISP_E_UNKNOWNNAME : S_OK;
}

STDMETHODIMP AddInObject::RibbonExtensibility::Invoke(DISPID id, REFIID iid, LCID language,
                                                      WORD flags, DISPPARAMS* arguments,
                                                      VARIANT* result, EXCEPINFO* exception,
                                                      UINT* wrong_argument) {
  if (id >= ModRibbonCallbacks::kFirst) {
    return owner_.Invoke(id, iid, language, flags, arguments, result, exception, wrong_argument);
  }
  return AtComEdge("Invoke", [&]() -> HRESULT {
    if (id != kGetCustomUI || (flags & DISPATCH_METHOD) == 0) return DISP_E_MEMBERNOTFOUND;
    if (arguments == nullptr || arguments->cArgs != 1) return DISP_E_BADPARAMCOUNT;
    const Result<std::string> ribbon_id = Variant::CopyOf(arguments->rgvarg[0]).ToText();
    if (!ribbon_id.ok()) return DISP_E_TYPEMISMATCH;
    Bstr xml;
    const HRESULT got = GetCustomUI(Bstr(ribbon_id.value()).get(), xml.Out());
    if (FAILED(got) || result == nullptr) return got;
    VariantInit(result);
    V_VT(result) = VT_BSTR;
    V_BSTR(result) = xml.Detach();
    return S_OK;
  });
}

// No text at all: this ribbon is left as it is.
STDMETHODIMP AddInObject::RibbonExtensibility::GetCustomUI(BSTR ribbon_id, BSTR* xml) {
  if (xml == nullptr) return E_POINTER;
  *xml = nullptr;
  const ComPtr<AddInObject> self(&owner_);
  return AtComEdge("GetCustomUI", [&]() -> HRESULT {
    const std::shared_ptr<Connection> connection = owner_.Prepare();
    const std::string description = connection->connect().GetCustomUI(TextOf(ribbon_id));
    if (description.empty()) return S_OK;
    *xml = Bstr(description).Detach();
    return *xml == nullptr ? E_OUTOFMEMORY : S_OK;
  });
}

}  // namespace vespro
