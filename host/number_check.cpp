#include "host/number_check.h"

#include <fmt/format.h>

namespace host {

CLI::Validator NumberFrom(double low, double high) {
  const auto check = [low, high](const std::string& text) -> std::string {
    double value = 0;
    if (CLI::detail::lexical_cast(text, value) && value >= low && value <= high) return "";
    return fmt::format("'{}' is no number from {} to {}", text, low, high);
  };
  return {check, ""};
}

}  // namespace host
