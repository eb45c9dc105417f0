#include "host/number_check.h"

#include <fmt/format.h>

#include <cmath>

namespace host {
namespace {

std::string Refusal(const std::string& text, const char* kind, double low, double high,
                    const char* unit) {
  return fmt::format("'{}' is no {} from {:.15g} to {:.15g}{}{}", text, kind, low, high,
                     *unit == '\0' ? "" : " ", unit);
}

}  // namespace

CLI::Validator WholeFrom(int low, int high, const char* unit) {
  const auto check = [low, high, unit](const std::string& text) -> std::string {
    int value = 0;
    if (CLI::detail::lexical_cast(text, value) && value >= low && value <= high) return "";
    return Refusal(text, "whole number", low, high, unit);
  };
  return {check, ""};
}

CLI::Validator NumberFrom(double low, double high, const char* unit) {
  const auto check = [low, high, unit](const std::string& text) -> std::string {
    double value = 0;
    if (CLI::detail::lexical_cast(text, value) && value >= low && value <= high) return "";
    return Refusal(text, "number", low, high, unit);
  };
  return {check, ""};
}

}  // namespace host
