// addin/commands.h - the add-in's commands: what the user reads and sees of each one, in the menu,
// on the bars and on the ribbon of a window.
#pragma once

#include <memory>

#include "host/command_bars.h"
#include "host/desktop.h"

namespace vespro {

class MyAddIn;

// One command, or the menu within the menu that the commands after it are in.
struct Command {
  enum class Place { kMenu, kReportsMenu, kBar };

  const char* name;     // of its button; with "_Click" after it, of its handler
  const char* caption;  // "&" before its access key; the tag of its controls, too
  Place place = Place::kMenu;
  bool in_main_window = true;
  bool in_compose_window = true;
  const char* tooltip = "";
  const char* picture = "";  // a resource
  PictureKind picture_kind = PictureKind::kIcon;
  ButtonStyle style = ButtonStyle::kAutomatic;
  bool begins_group = false;
  std::shared_ptr<CommandBarButton> MyAddIn::*button = nullptr;
  void (MyAddIn::*click)() = nullptr;

  bool IsMenu() const { return click == nullptr; }
  bool IsIn(bool compose_window) const {
    return compose_window ? in_compose_window : in_main_window;
  }
  bool IsEverywhere() const { return in_main_window && in_compose_window; }
  bool HasTooltip() const { return *tooltip != '\0'; }
  bool HasPicture() const { return *picture != '\0'; }
};

}  // namespace vespro
