// Curves over a common axis, drawn with cairo.
#pragma once

#include <string>
#include <vector>

namespace host {

struct PlotPanel {
  std::string label;
  std::vector<double> values;  ///< one for each x; what is not finite is a gap
};

/// Panels are one below the other.
struct Plot {
  std::string x_label;
  bool log_x = false;  ///< all of `x` is above 0
  std::vector<double> x;
  std::vector<PlotPanel> panels;
};

/// Round values for an axis, within `low` to `high`.
std::vector<double> Ticks(double low, double high, bool logarithmic);

/// What is wrong with a name for a plot, or nothing: it ends in ".svg" or ".png", and the file can
/// be written.
std::string CheckPlotFile(const std::string& file);

/// Why the file could not be written, or nothing.
std::string Draw(const Plot& plot, const std::string& file);

}  // namespace host
