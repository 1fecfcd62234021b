#include "gateway/api/MetricsText.h"

#include <array>
#include <charconv>
#include <cmath>

namespace corvalux::gateway {

namespace {

void appendNumber(std::string& text, double number) {
  if (std::isnan(number)) {
    text += "NaN";
  } else if (std::isinf(number)) {
    text += number > 0 ? "+Inf" : "-Inf";
  } else {
    std::array<char, 32> digits;
    text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
  }
}

void appendEscaped(std::string& text, std::string_view value) {
  for (const char letter : value) {
    if (letter == '\\' || letter == '"') text += '\\';
    if (letter == '\n') {
      text += "\\n";
    } else {
      text += letter;
    }
  }
}

}  // namespace

void MetricsText::Head(const char* name, const char* type, const char* help) {
  family = name;
  text += "# HELP " + family + " " + help + "\n# TYPE " + family + " " + type + "\n";
}

void MetricsText::Line(const Labels& labels, double number) {
  text += family;
  char before = '{';
  for (const auto& [name, value] : labels) {
    text += before;
    text += name;
    text += "=\"";
    appendEscaped(text, value);
    text += '"';
    before = ',';
  }
  text += labels.empty() ? " " : "} ";
  appendNumber(text, number);
  text += '\n';
}

}  // namespace corvalux::gateway
