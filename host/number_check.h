// Checks of numbers on the command line.
#pragma once

#include <CLI/CLI.hpp>

namespace host {

/// A number from `low` to `high`; not one (NaN) and infinity are none. CLI::Range lets NaN pass.
CLI::Validator NumberFrom(double low, double high);

}  // namespace host
