#include "monitor/screen/Ui.h"

#include <algorithm>
#include <utility>

#include "client/Utf8.h"

namespace corvalux::monitor {

namespace {

constexpr int wheelStep = 3;
constexpr int everything = 1'000'000;
constexpr std::array panels = {Panel::meters, Panel::values, Panel::changes};

char lower(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

}  // namespace

void Ui::Take(const Input& input) {
  using Kind = Input::Kind;
  if (const Panel* panel = PanelAt(input.row, input.column); panel && input.kind >= Kind::wheelUp) {
    if (input.kind == Kind::click) focus = *panel;
    if (input.kind != Kind::click) Scroll(*panel, input.kind == Kind::wheelUp ? -wheelStep : wheelStep);
    return;
  }
  if (typing) return Type(input);
  const int page = std::max(1, PlaceOf(focus).visible - 1);
  switch (input.kind) {
    case Kind::up: return Scroll(focus, -1);
    case Kind::down: return Scroll(focus, 1);
    case Kind::pageUp: return Scroll(focus, -page);
    case Kind::pageDown: return Scroll(focus, page);
    case Kind::home: return Scroll(focus, -everything);
    case Kind::end: return Scroll(focus, everything);
    case Kind::tab: return FocusNext();
    case Kind::character: return Command(input.character);
    case Kind::escape:
      if (!help) filter.clear();
      help = false;
      return;
    default: return;
  }
}

void Ui::Type(const Input& input) {
  using Kind = Input::Kind;
  if (input.kind == Kind::character && input.character >= U' ') client::appendGlyph(filter, input.character);
  if (input.kind == Kind::backspace) client::removeLastGlyph(filter);
  if (input.kind == Kind::escape) filter.clear();
  if (input.kind == Kind::enter || input.kind == Kind::escape) typing = false;
}

void Ui::Command(char32_t character) {
  switch (character) {
    case U'q': quit = true; return;
    case U' ':
    case U'p': paused = !paused; return;
    case U'?':
    case U'h': help = !help; return;
    case U'r': reset = true; return;
    case U'k': return Scroll(focus, -1);
    case U'j': return Scroll(focus, 1);
    case U'/':
    case U'f':
      help = false;
      typing = true;
      return;
    default: return;
  }
}

bool Ui::TakeReset() { return std::exchange(reset, false); }

bool Ui::Passes(std::string_view text) const {
  const auto same = [](char left, char right) { return lower(left) == lower(right); };
  return std::search(text.begin(), text.end(), filter.begin(), filter.end(), same) != text.end() || filter.empty();
}

int Ui::Settle(Panel panel, const Place& place) {
  PlaceOf(panel) = place;
  int& item = FirstOf(panel);
  item = std::clamp(item, 0, std::max(0, place.items - place.visible));
  return item;
}

void Ui::Scroll(Panel panel, int items) {
  const Place& place = PlaceOf(panel);
  FirstOf(panel) = std::clamp(FirstOf(panel) + items, 0, std::max(0, place.items - place.visible));
}

void Ui::FocusNext() {
  auto next = static_cast<std::size_t>(focus);
  do {
    next = (next + 1) % panelCount;
  } while (places.at(next).visible == 0 && static_cast<Panel>(next) != focus);
  focus = static_cast<Panel>(next);
}

const Panel* Ui::PanelAt(int row, int column) const {
  const auto* found = std::find_if(panels.begin(), panels.end(), [&](Panel panel) {
    return places.at(static_cast<std::size_t>(panel)).area.Contains(row, column);
  });
  return found == panels.end() ? nullptr : found;
}

}  // namespace corvalux::monitor
