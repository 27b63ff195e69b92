#include "outlook/class_factory.h"

#include "outlook/add_in_object.h"
#include "outlook/com_edge.h"

namespace vespro {

STDMETHODIMP ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  return AtComEdge("CreateInstance", [&] {
    return MakeComObject<AddInObject>(use(), install_folder_)->QueryInterface(iid, out);
  });
}

STDMETHODIMP ClassFactory::LockServer(BOOL lock) {
  if (lock) {
    use().Add();
  } else {
    use().Drop();
  }
  return S_OK;
}

}  // namespace vespro
