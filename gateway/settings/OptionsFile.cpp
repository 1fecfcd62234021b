#include "gateway/settings/OptionsFile.h"

#define TOML_HEADER_ONLY 1  // NOLINT(modernize-macro-to-enum)
#include <toml++/toml.h>

#include <iterator>
#include <sstream>

namespace corvalux::gateway {

namespace {

[[noreturn]] void fail(const std::string& what, const toml::source_region& where) {
  throw CLI::ConfigError("line " + std::to_string(where.begin.line) + " of the file: " + what,
                         CLI::ExitCodes::ConfigError);
}

std::string plainText(const toml::node& value) {
  if (const auto* text = value.as_string()) return text->get();
  std::ostringstream text;
  if (const auto* number = value.as_integer()) text << number->get();
  if (const auto* number = value.as_floating_point()) text << number->get();
  if (text.str().empty()) fail("a value is a text, a number, or a list of them", value.source());
  return text.str();
}

std::vector<std::string> textsOf(const toml::node& value) {
  std::vector<std::string> texts;
  if (const auto* list = value.as_array()) {
    for (const toml::node& each : *list) texts.push_back(plainText(each));
  } else {
    texts.push_back(plainText(value));
  }
  return texts;
}

}  // namespace

std::vector<CLI::ConfigItem> OptionsFile::from_config(std::istream& input) const {
  std::vector<CLI::ConfigItem> items;
  // As a whole: the parser moves about in a stream, which a pipe does not let it do.
  const std::string text(std::istreambuf_iterator<char>(input), {});
  try {
    for (const auto& [key, value] : toml::parse(text)) {
      CLI::ConfigItem item;
      item.name = key.str();
      item.inputs = textsOf(value);
      // An empty list is the same as no option.
      if (!item.inputs.empty() || !IsList(item.name)) items.push_back(std::move(item));
    }
  } catch (const toml::parse_error& error) {
    fail(std::string(error.description()), error.source());
  }
  return items;
}

bool OptionsFile::IsList(const std::string& name) const {
  const CLI::Option* option = app.get_option_no_throw("--" + name);
  return option && option->get_expected_max() > 1;
}

}  // namespace corvalux::gateway
