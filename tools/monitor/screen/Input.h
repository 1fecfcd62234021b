#pragma once

namespace corvalux::monitor {

/// What a person does at the terminal.
struct Input {
  enum class Kind {
    character,
    up,
    down,
    pageUp,
    pageDown,
    home,
    end,
    tab,
    enter,
    escape,
    backspace,
    wheelUp,
    wheelDown,
    click
  };
  Kind kind = Kind::character;
  char32_t character = 0;  ///< only of a character
  int row = 0;             ///< only of the mouse, as `column`
  int column = 0;
};

}  // namespace corvalux::monitor
