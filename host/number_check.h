// Checks of numbers on the command line.
#pragma once

#include <CLI/CLI.hpp>

namespace host {

/// A whole number from `low` to `high`, in this unit.
CLI::Validator WholeFrom(int low, int high, const char* unit = "");

/// A number from `low` to `high` in this unit; NaN and infinity are invalid. CLI::Range lets
/// NaN pass.
CLI::Validator NumberFrom(double low, double high, const char* unit = "");

}  // namespace host
