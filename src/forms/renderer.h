// forms/renderer.h - what a toolkit implements to show forms: two classes. A renderer knows the
// kinds of control and nothing of any dialog. Everything is called on the mail client's own thread.
//
// How a view works:
//  1. FormRenderer::CreateView makes a window for the form, not yet visible. When it is to be
//     visible, at the latest, it gets a native control for each Form::controls(), set from the
//     control's properties. Sizes and places come from Place() in forms/layout.h, which asks a
//     Measure of the renderer's for single controls.
//  2. Whatever a handler changes afterwards comes as FormView::Update, at once. Where everything
//     is may wait until the program lets events run, so that many changes are one layout.
//  3. Whatever the user does goes to Form::Do, and nowhere else: it knows who may be used, moves
//     the focus, asks who must be asked, and raises the events. False means that nothing happened;
//     what the native control shows by then was put right through Update and SetFocus before.
//
// Native controls like to act first and tell later. So: text typed and rows chosen are told
// afterwards; option buttons and check boxes don't toggle by themselves (Form::Do checks them, and
// tells); a native move of the focus is told as kFocus afterwards, and is turned back by SetFocus
// when the form refuses it. A button may be told as clicked without a kFocus before.
//
// Keys that a form acts on (struct Key) go to Form::Do before the native control sees them, and not
// on to it when Do says true. Exceptions: Tab and the arrows while a drop-down list is open, and
// Escape and Enter there, belong to the list. Space may stay native where that leads to the same
// click.
//
// Form::Do may run for a long time: handlers open further forms and message boxes. When it returns
// the view still exists, though its form may be unloaded and its window hidden by then.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "forms/control.h"

namespace vespro {

class Form;

// A form's window. Destroyed when the form was unloaded and none of its events runs any more.
class FormView {
 public:
  virtual ~FormView() = default;

  // Form_Load begins. The window is on top from now on, and blocks what lies below, but need not be
  // visible yet; when it is (FormRenderer::ShowLoading) it shows that the user has to wait. Show or
  // Hide ends it.
  virtual void ShowLoading() = 0;
  // Makes the window visible, in front of its owner and all other forms, drawn completely before
  // it returns: the form may be about to work without a pause. Also for a window that is visible
  // already: it comes to the front.
  virtual void Show() = 0;
  virtual void Hide() = 0;
  // Only the form shown last takes the user's input; a renderer need not check, but should disable
  // the window so that the user sees it.
  virtual void SetTakesInput(bool takes_input) = 0;
  // Something of a control has changed. `row` counts for kRowInserted and kRowRemoved. kVisible and
  // kEnabled come for every control within a frame or tab strip, too. After kVisible all are to be
  // placed anew and the window be given its new size; after kCaption likewise where it needs more
  // room, but a window does not get smaller by that.
  virtual void Update(const Control& control, Change change, std::size_t row) = 0;
  // The form's caption.
  virtual void UpdateCaption() = 0;
  // Gives the native focus; nullptr: to the window itself. A text box of one line that gets it,
  // also when the window opens, has its text selected. Not to be told to Form::Do again (it does no
  // harm).
  virtual void SetFocus(const Control* control) = 0;
};

class FormRenderer {
 public:
  virtual ~FormRenderer() = default;
  // `owner` is the window that stays behind the new one; nullptr: the mail client's own in front.
  // That one is disabled while any form is shown. Never nullptr.
  virtual std::unique_ptr<FormView> CreateView(Form& form, FormView* owner) = 0;
  // Runs the user's events as long as `go_on` says true, asked before each. May return early when
  // the program ends.
  virtual void RunWhile(const std::function<bool()>& go_on) = 0;
  // The program lets events run: forms that have been loading for a moment become visible.
  virtual void ShowLoading() = 0;
};

}  // namespace vespro
