#include "monitor/text/Columns.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cwchar>

#include "client/Utf8.h"

namespace corvalux::monitor {

void useUtf8() {
  std::setlocale(LC_ALL, "");
  const auto isSet = [](const char* name) { return std::getenv(name) && *std::getenv(name); };
  if (isSet("LC_ALL") || isSet("LC_CTYPE") || isSet("LANG")) return;
  std::setlocale(LC_CTYPE, "C.UTF-8");
}

int widthOf(char32_t glyph) { return client::isControl(glyph) ? 1 : std::max(0, wcwidth(static_cast<wchar_t>(glyph))); }

int widthOf(std::string_view text) {
  int width = 0;
  while (!text.empty()) width += widthOf(client::takeGlyph(text));
  return width;
}

std::string_view takeColumns(std::string_view& text, int width) {
  const std::string_view whole = text;
  for (std::string_view rest = text; !rest.empty(); text = rest) {
    width -= widthOf(client::takeGlyph(rest));
    if (width < 0) break;
  }
  return whole.substr(0, whole.size() - text.size());
}

std::string fitted(std::string_view text, int width) {
  if (widthOf(text) <= width) return std::string(text);
  return width > 0 ? std::string(takeColumns(text, width - 1)) + "…" : "";
}

}  // namespace corvalux::monitor
