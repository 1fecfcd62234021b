#include "monitor/screen/Terminal.h"

#define NCURSES_WIDECHAR 1
#include <ncurses.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace corvalux::monitor {

namespace {

/// Colours that are legible on a dark and on a light background; without colours, the attributes carry the meaning.
struct Look {
  short rich;   ///< of 256 colours
  short plain;  ///< of 8; -1: the terminal's own
  attr_t attributes;
};

constexpr std::array<Look, styleCount> looks = {{{-1, -1, A_NORMAL},
                                                 {245, -1, A_DIM},
                                                 {-1, -1, A_BOLD},
                                                 {-1, -1, A_REVERSE},
                                                 {34, COLOR_GREEN, A_NORMAL},
                                                 {172, COLOR_YELLOW, A_NORMAL},
                                                 {160, COLOR_RED, A_BOLD},
                                                 {160, COLOR_RED, A_REVERSE | A_BOLD},
                                                 {-1, -1, A_BOLD},
                                                 {-1, -1, A_REVERSE}}};

/// NO_COLOR: a convention that many programs follow.
bool colourful() {
  const char* unwanted = std::getenv("NO_COLOR");
  return has_colors() && (!unwanted || !*unwanted);
}

void prepareColours() {
  if (!colourful()) return;
  start_color();
  use_default_colors();
  for (std::size_t i = 0; i < looks.size(); ++i) {
    init_pair(static_cast<short>(i + 1), COLORS >= 256 ? looks.at(i).rich : looks.at(i).plain, -1);
  }
}

void useStyle(Style style) {
  const Look& look = looks.at(static_cast<std::size_t>(style));
  const bool rich = colourful() && COLORS >= 256 && look.rich >= 0;
  // A style with a colour of its own is not dimmed as well.
  attr_set(rich ? look.attributes & ~A_DIM : look.attributes,
           colourful() ? static_cast<short>(static_cast<int>(style) + 1) : static_cast<short>(0), nullptr);
}

/// For a locale without UTF-8: replaces block characters by ASCII.
wchar_t asciiOf(char32_t glyph) {
  if (glyph < 0x80) return static_cast<wchar_t>(glyph);
  switch (glyph) {
    case U'▒': return L'=';
    case U'┃': return L'|';
    case U'·': return L'.';
    case U'─': return L'-';
    case U'●': return L'*';
    case U'○': return L'o';
    case U'▸':
    case U'→': return L'>';
    case U'▁':
    case U'▂': return L'_';
    case U'▃':
    case U'▄': return L'-';
    case U'▅':
    case U'▆': return L'=';
    default: return glyph >= 0x2580 && glyph < 0x25A0 ? L'#' : L'?';
  }
}

wchar_t shown(char32_t glyph) { return MB_CUR_MAX > 1 ? static_cast<wchar_t>(glyph) : asciiOf(glyph); }

std::optional<Input> mouseInput() {
  MEVENT event;
  if (getmouse(&event) != OK) return std::nullopt;
  const auto at = [&event](Input::Kind kind) { return Input{kind, 0, event.y, event.x}; };
  if (event.bstate & BUTTON4_PRESSED) return at(Input::Kind::wheelUp);
  if (event.bstate & BUTTON5_PRESSED) return at(Input::Kind::wheelDown);
  if (event.bstate & (BUTTON1_PRESSED | BUTTON1_CLICKED)) return at(Input::Kind::click);
  return std::nullopt;
}

std::optional<Input> keyInput(wint_t key) {
  using Kind = Input::Kind;
  switch (key) {
    case KEY_UP: return Input{Kind::up};
    case KEY_DOWN: return Input{Kind::down};
    case KEY_PPAGE: return Input{Kind::pageUp};
    case KEY_NPAGE: return Input{Kind::pageDown};
    case KEY_HOME: return Input{Kind::home};
    case KEY_END: return Input{Kind::end};
    case KEY_ENTER: return Input{Kind::enter};
    case KEY_BACKSPACE: return Input{Kind::backspace};
    case KEY_MOUSE: return mouseInput();
    default: return std::nullopt;
  }
}

Input characterInput(wint_t character) {
  using Kind = Input::Kind;
  switch (character) {
    case '\t': return {Kind::tab};
    case '\r':
    case '\n': return {Kind::enter};
    case 27: return {Kind::escape};
    case 8:
    case 127: return {Kind::backspace};
    default: return {Kind::character, static_cast<char32_t>(character)};
  }
}

}  // namespace

Terminal::Terminal() {
  const char* name = std::getenv("TERM");
  SCREEN* screen = newterm(nullptr, stdout, stdin);
  if (!screen) throw std::runtime_error(std::string("the terminal '") + (name ? name : "") + "' has no full screen");
  set_term(screen);
  cbreak();
  noecho();
  nonl();
  intrflush(stdscr, FALSE);
  keypad(stdscr, TRUE);
  nodelay(stdscr, TRUE);
  set_escdelay(50);
  curs_set(0);
  mouseinterval(0);
  mousemask(BUTTON1_PRESSED | BUTTON1_CLICKED | BUTTON4_PRESSED | BUTTON5_PRESSED, nullptr);
  prepareColours();
  KeepErrors();
}

Terminal::~Terminal() {
  endwin();
  WriteErrors();
}

void Terminal::KeepErrors() {
  keptErrors = memfd_create("errors", MFD_CLOEXEC);
  errors = dup(STDERR_FILENO);
  if (keptErrors >= 0 && errors >= 0) dup2(keptErrors, STDERR_FILENO);
}

void Terminal::WriteErrors() {
  if (keptErrors < 0 || errors < 0) return;
  dup2(errors, STDERR_FILENO);
  close(errors);
  std::array<char, 4096> text;
  off_t place = 0;
  for (ssize_t count = 1; count > 0; place += count) {
    count = pread(keptErrors, text.data(), text.size(), place);
    if (count > 0 && write(STDERR_FILENO, text.data(), static_cast<std::size_t>(count)) < 0) break;
  }
  close(keptErrors);
}

int Terminal::Rows() const { return LINES; }

int Terminal::Columns() const { return COLS; }

void Terminal::Show(const Canvas& canvas) {
  for (int row = 0; row < canvas.Rows(); ++row) {
    for (int column = 0; column < canvas.Columns();) {
      const Style style = canvas.At(row, column).style;
      std::wstring text;
      const int begin = column;
      for (; column < canvas.Columns() && canvas.At(row, column).style == style; ++column) {
        const char32_t glyph = canvas.At(row, column).glyph;
        if (glyph != 0) text += shown(glyph);
      }
      useStyle(style);
      mvaddnwstr(row, begin, text.data(), static_cast<int>(text.size()));
    }
  }
  refresh();
}

std::optional<Input> Terminal::Next() {
  while (true) {
    wint_t key = 0;
    const int kind = get_wch(&key);
    if (kind == ERR) return std::nullopt;
    if (kind == OK) return characterInput(key);
    // Other keys need no action: ncurses has handled KEY_RESIZE by reading it.
    if (const auto input = keyInput(key)) return input;
  }
}

}  // namespace corvalux::monitor
