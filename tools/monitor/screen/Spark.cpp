#include "monitor/screen/Spark.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "monitor/model/Scale.h"
#include "monitor/screen/Bar.h"

namespace corvalux::monitor {

namespace {

char32_t column(double part) {
  static constexpr std::array<char32_t, 8> glyphs = {U'▁', U'▂', U'▃', U'▄', U'▅', U'▆', U'▇', U'█'};
  return glyphs.at(static_cast<std::size_t>(std::lround(std::clamp(part, 0.0, 1.0) * 7)));
}

/// NaN counts as empty.
float highest(const std::vector<float>& numbers, std::size_t begin, std::size_t end) {
  auto result = static_cast<float>(floorDb);
  bool any = false;
  for (std::size_t i = begin; i < end; ++i) {
    if (std::isnan(numbers[i])) continue;
    result = any ? std::max(result, numbers[i]) : numbers[i];
    any = true;
  }
  return result;
}

}  // namespace

bool areLevels(const std::vector<float>& numbers) {
  const bool none = std::any_of(numbers.begin(), numbers.end(), [](float number) { return number > 6; });
  const bool below = std::any_of(numbers.begin(), numbers.end(), [](float number) { return number < -10; });
  return !none && below;
}

int drawSpark(Canvas& canvas, int row, int begin, int end, const std::vector<float>& numbers) {
  const int wide = std::min(end - begin, static_cast<int>(numbers.size()));
  if (wide <= 0) return begin;
  const bool levels = areLevels(numbers);
  const double top = highest(numbers, 0, numbers.size());
  const double bottom = std::min(0.0, static_cast<double>(*std::min_element(numbers.begin(), numbers.end())));
  for (int i = 0; i < wide; ++i) {
    const auto from = numbers.size() * static_cast<std::size_t>(i) / static_cast<std::size_t>(wide);
    const auto to = numbers.size() * static_cast<std::size_t>(i + 1) / static_cast<std::size_t>(wide);
    const double number = highest(numbers, from, to);
    const double part = levels ? bandDeflection(number) : top > bottom ? (number - bottom) / (top - bottom) : 0;
    canvas.Put(row, begin + i, column(part), levels ? styleOf(number) : Style::plain);
  }
  return begin + wide;
}

}  // namespace corvalux::monitor
