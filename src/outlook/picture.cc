#include "outlook/picture.h"

#include <olectl.h>

#include "win32/clipboard_picture.h"

namespace vespro {

ComPtr<IDispatch> OlePicture(std::string_view resource, PictureKind kind) {
  Owned<HBITMAP> bitmap = ModClipboardPicture::Load(resource, kind);
  if (!bitmap) return nullptr;
  PICTDESC description{};
  description.cbSizeofstruct = sizeof(description);
  description.picType = PICTYPE_BITMAP;
  description.bmp.hbitmap = bitmap.get();
  ComPtr<IDispatch> picture;
  if (FAILED(OleCreatePictureIndirect(&description, IID_IPictureDisp, TRUE, picture.OutVoid()))) {
    picture.Detach();
    return nullptr;
  }
  bitmap.Forget();  // the picture owns it from then on
  return picture;
}

}  // namespace vespro
