#pragma once

#include <CLI/CLI.hpp>
#include <istream>
#include <string>
#include <vector>

namespace corvalux::gateway {

/// Options in a file in TOML: one key for each, with a text, a number, or a list of them.
/// Errors: CLI::ConfigError with a sentence, for what is no TOML, and for sections.
class OptionsFile final : public CLI::Config {
 public:
  /// Of the options of `app`, which must outlive this.
  explicit OptionsFile(const CLI::App& app) : app(app) {}

  std::vector<CLI::ConfigItem> from_config(std::istream& input) const override;
  /// Not used: nothing is written.
  std::string to_config(const CLI::App* /*app*/, bool /*defaults*/, bool /*help*/,
                        std::string /*prefix*/) const override {
    return {};
  }

 private:
  bool IsList(const std::string& name) const;

  const CLI::App& app;
};

}  // namespace corvalux::gateway
