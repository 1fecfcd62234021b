#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "monitor/screen/Area.h"
#include "monitor/screen/Input.h"

namespace corvalux::monitor {

enum class Panel { meters, values, changes };
constexpr std::size_t panelCount = 3;

/// What the user has chosen to see.
/// Threads: one at a time.
class Ui {
 public:
  /// Where a panel is on the screen. Set when it is drawn, for keys and mouse.
  struct Place {
    Area area;
    int items = 0;    ///< all there are
    int visible = 0;  ///< of them at once
  };

  void Take(const Input& input);

  bool Quit() const { return quit; }
  bool Paused() const { return paused; }
  bool Help() const { return help; }
  bool Typing() const { return typing; }
  const std::string& Filter() const { return filter; }
  Panel Focus() const { return focus; }

  /// True once after the key that resets the held peaks.
  bool TakeReset();

  /// True for a text that contains the filter; ignores the case of ASCII letters.
  bool Passes(std::string_view text) const;

  /// Stores the place and returns the first item to show, so that a panel is never scrolled past its end.
  int Settle(Panel panel, const Place& place);

 private:
  void Type(const Input& input);
  void Command(char32_t character);
  void Scroll(Panel panel, int items);
  void FocusNext();

  Place& PlaceOf(Panel panel) { return places.at(static_cast<std::size_t>(panel)); }
  int& FirstOf(Panel panel) { return first.at(static_cast<std::size_t>(panel)); }
  const Panel* PanelAt(int row, int column) const;

  bool quit = false;
  bool paused = false;
  bool help = false;
  bool typing = false;
  bool reset = false;
  std::string filter;
  Panel focus = Panel::meters;
  std::array<Place, panelCount> places;
  std::array<int, panelCount> first{};
};

}  // namespace corvalux::monitor
