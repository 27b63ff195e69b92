// win32/win32_renderer.h - shows forms as Windows' own windows. The mail client's own thread.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <vector>

#include "forms/renderer.h"
#include "win32/icons.h"
#include "win32/visual_styles.h"

namespace vespro {

class Win32View;

class Win32Renderer final : public FormRenderer {
 public:
  static constexpr const wchar_t* kWindowClass = L"VesproForm";

  // `host_window` gives the mail client's window in front, or nullptr.
  explicit Win32Renderer(std::function<HWND()> host_window) : host_window_(host_window) {}

  // Forgets the class of the forms' windows unless another renderer shows some: it would outlive a
  // DLL, and with it the address of a procedure that is gone.
  ~Win32Renderer() override;
  Win32Renderer(const Win32Renderer&) = delete;
  Win32Renderer& operator=(const Win32Renderer&) = delete;

  std::unique_ptr<FormView> CreateView(Form& form, FormView* owner) override;
  // Runs Windows' events of this thread, the mail client's included.
  void RunWhile(const std::function<bool()>& go_on) override;
  void ShowLoading() override;

  // What a box of the system's should stay in front of: the form on top that can be seen, or the
  // mail client.
  HWND Front() const;
  // The visible forms' windows, from the bottom to the top; those that are loading, too, which need
  // not be visible yet.
  const std::vector<Win32View*>& visible() const { return visible_; }
  const VisualStyles& styles() const { return styles_; }
  IconLibrary& icons() { return icons_; }
  // The pointer while the user waits.
  bool hourglass() const { return hourglass_; }
  void set_hourglass(bool on) { hourglass_ = on; }

  // For the views.
  void Add(Win32View& view);
  void Remove(Win32View& view);
  void Shown(Win32View& view);
  // Before it is hidden: the windows of the mail client take input again first, or the system
  // would choose some other program's to come to the front.
  void Hidden(Win32View& view);
  // Its window is gone; the form is unloaded when no message is under way any more.
  void Lost(Win32View& view);

  // Keeps the windows of this thread from taking input, for as long as a form or a box is shown.
  // It is modal: the mail client's other windows must not start a second command beside it.
  class HostBlock {
   public:
    // `owner` is left alone: that of a box, which blocks it by itself.
    explicit HostBlock(HWND owner);
    HostBlock(const HostBlock&) = delete;
    HostBlock& operator=(const HostBlock&) = delete;
    ~HostBlock();

   private:
    std::vector<HWND> disabled_;
  };

 private:
  void ChainOwners();
  void UnloadLost();

  std::function<HWND()> host_window_;
  VisualStyles styles_;
  IconLibrary icons_;
  std::vector<Win32View*> views_;
  std::vector<Win32View*> visible_;
  std::vector<Win32View*> lost_;
  std::unique_ptr<HostBlock> block_;
  HWND host_ = nullptr;  // the one in front of which the forms are, while any is shown
  bool hourglass_ = false;
};

}  // namespace vespro
