#include "host/plot.h"

#include <cairo-svg.h>
#include <cairo.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>

namespace host {
namespace {

// In points.
constexpr double kWidth = 720;
constexpr double kPanelHeight = 260;
constexpr double kLeft = 90;
constexpr double kRight = 24;
constexpr double kTop = 30;
constexpr double kBottom = 40;
constexpr double kFontSize = 12;
constexpr double kDot = 2.5;

constexpr int kWantedTicks = 6;
constexpr std::size_t kFewestTicks = 3;
constexpr double kMargin = 0.05;    // of the values' span, above and below the curve
constexpr double kFlattest = 1e-3;  // of a value: less of a span would show noise only

struct SurfaceEnd {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct ContextEnd {
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceEnd>;
using Context = std::unique_ptr<cairo_t, ContextEnd>;

bool IsPng(const std::string& file) { return file.ends_with(".png"); }

// An axis from values to points on the paper.
struct Axis {
  double low;
  double high;
  bool logarithmic;
  double begin;  // where `low` is
  double end;

  double Scale(double value) const { return logarithmic ? std::log10(value) : value; }
  double At(double value) const {
    return begin + (end - begin) * (Scale(value) - Scale(low)) / (Scale(high) - Scale(low));
  }
};

// The finite values' range, with room around it; never empty.
Axis AxisOf(const std::vector<double>& values, bool logarithmic, double begin, double end) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  Axis axis{kInfinity, -kInfinity, logarithmic, begin, end};
  for (const double value : values) {
    if (!std::isfinite(value)) continue;
    axis.low = std::min(axis.low, value);
    axis.high = std::max(axis.high, value);
  }
  if (axis.low > axis.high) return {0, 1, false, begin, end};
  if (logarithmic) {
    if (axis.low == axis.high) axis = {axis.low / 2, axis.high * 2, true, begin, end};
    return axis;
  }
  const double least = std::max(std::abs(axis.low), std::abs(axis.high)) * kFlattest;
  const double room = std::max((axis.high - axis.low) * kMargin, least > 0 ? least : 1);
  return {axis.low - room, axis.high + room, false, begin, end};
}

void Line(cairo_t* paper, double x1, double y1, double x2, double y2) {
  cairo_move_to(paper, x1, y1);
  cairo_line_to(paper, x2, y2);
  cairo_stroke(paper);
}

enum class Align : std::uint8_t { kToLeftOf, kCentred };

void Text(cairo_t* paper, const std::string& text, double x, double y, Align align) {
  cairo_text_extents_t size;
  cairo_text_extents(paper, text.c_str(), &size);
  cairo_move_to(paper, x - size.x_advance * (align == Align::kCentred ? 0.5 : 1), y);
  cairo_show_text(paper, text.c_str());
}

std::string TickText(double value) { return fmt::format("{:.6g}", value); }

void DrawGrid(cairo_t* paper, const Axis& x, const Axis& y) {
  for (const double tick : Ticks(x.low, x.high, x.logarithmic)) {
    cairo_set_source_rgb(paper, 0.85, 0.85, 0.85);
    Line(paper, x.At(tick), y.begin, x.At(tick), y.end);
    cairo_set_source_rgb(paper, 0, 0, 0);
    Text(paper, TickText(tick), x.At(tick), y.begin + 1.3 * kFontSize, Align::kCentred);
  }
  for (const double tick : Ticks(y.low, y.high, y.logarithmic)) {
    cairo_set_source_rgb(paper, 0.85, 0.85, 0.85);
    Line(paper, x.begin, y.At(tick), x.end, y.At(tick));
    cairo_set_source_rgb(paper, 0, 0, 0);
    Text(paper, TickText(tick), x.begin - 6, y.At(tick) + kFontSize / 3, Align::kToLeftOf);
  }
  cairo_rectangle(paper, x.begin, y.end, x.end - x.begin, y.begin - y.end);
  cairo_stroke(paper);
}

void DrawCurve(cairo_t* paper, const Axis& x, const Axis& y, const std::vector<double>& xs,
               const std::vector<double>& values) {
  cairo_set_source_rgb(paper, 0.1, 0.3, 0.7);
  bool joined = false;
  const std::size_t points = std::min(xs.size(), values.size());
  for (std::size_t i = 0; i < points; ++i) {
    const bool finite = std::isfinite(values[i]);
    if (finite && joined) cairo_line_to(paper, x.At(xs[i]), y.At(values[i]));
    if (finite && !joined) cairo_move_to(paper, x.At(xs[i]), y.At(values[i]));
    joined = finite;
  }
  cairo_stroke(paper);
  for (std::size_t i = 0; i < points; ++i) {
    if (!std::isfinite(values[i])) continue;
    cairo_arc(paper, x.At(xs[i]), y.At(values[i]), kDot, 0, 2 * M_PI);
    cairo_fill(paper);
  }
}

void DrawPanels(cairo_t* paper, const Plot& plot) {
  cairo_set_source_rgb(paper, 1, 1, 1);
  cairo_paint(paper);
  cairo_select_font_face(paper, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(paper, kFontSize);
  cairo_set_line_width(paper, 1);
  const Axis x = AxisOf(plot.x, plot.log_x, kLeft, kWidth - kRight);
  double top = 0;
  for (const PlotPanel& panel : plot.panels) {
    const Axis y = AxisOf(panel.values, false, top + kPanelHeight - kBottom, top + kTop);
    DrawGrid(paper, x, y);
    Text(paper, panel.label, (x.begin + x.end) / 2, y.end - 8, Align::kCentred);
    Text(paper, plot.x_label, (x.begin + x.end) / 2, y.begin + 2.6 * kFontSize, Align::kCentred);
    DrawCurve(paper, x, y, plot.x, panel.values);
    top += kPanelHeight;
  }
}

}  // namespace

std::vector<double> Ticks(double low, double high, bool logarithmic) {
  constexpr double kSteps[] = {1, 2, 5, 10};
  std::vector<double> ticks;
  if (logarithmic) {
    const int last = static_cast<int>(std::floor(std::log10(high)));
    for (int decade = static_cast<int>(std::floor(std::log10(low))); decade <= last; ++decade) {
      for (int i = 0; i < 3; ++i) {
        const double tick = kSteps[i] * std::pow(10, decade);
        if (tick >= low && tick <= high) ticks.push_back(tick);
      }
    }
    if (ticks.size() >= kFewestTicks) return ticks;
    ticks.clear();  // less than a decade
  }
  const double rough = (high - low) / kWantedTicks;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  const double step = power * *std::ranges::find_if(
                                  kSteps, [&](double s) { return s >= 10 || s * power >= rough; });
  // counted, so that a step too small for the numbers' digits ends too
  const auto first = std::ceil(low / step);
  for (int i = 0; i <= kWantedTicks && (first + i) * step <= high; ++i) {
    ticks.push_back((first + i) * step);
  }
  return ticks;
}

std::string CheckPlotFile(const std::string& file) {
  if (!IsPng(file) && !file.ends_with(".svg")) {
    return fmt::format("'{}' ends neither in .svg nor in .png", file);
  }
  std::filesystem::path place = file;
  if (::access(place.c_str(), F_OK) != 0)
    place = place.has_parent_path() ? place.parent_path() : ".";
  if (::access(place.c_str(), W_OK) == 0) return "";
  return fmt::format("cannot write {}: {}", file, std::strerror(errno));
}

std::string Draw(const Plot& plot, const std::string& file) {
  if (plot.panels.empty()) return "there is no curve to draw";
  const double height = kPanelHeight * static_cast<double>(plot.panels.size());
  const Surface surface(IsPng(file) ? cairo_image_surface_create(CAIRO_FORMAT_RGB24,
                                                                 static_cast<int>(kWidth),
                                                                 static_cast<int>(height))
                                    : cairo_svg_surface_create(file.c_str(), kWidth, height));
  const Context paper(cairo_create(surface.get()));
  DrawPanels(paper.get(), plot);
  cairo_status_t status = cairo_status(paper.get());
  if (status == CAIRO_STATUS_SUCCESS && IsPng(file)) {
    status = cairo_surface_write_to_png(surface.get(), file.c_str());
  }
  cairo_surface_finish(surface.get());
  if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_status(surface.get());
  if (status == CAIRO_STATUS_SUCCESS) return "";
  return fmt::format("cannot draw into {}: {}", file, cairo_status_to_string(status));
}

}  // namespace host
