#include "host/progress.h"

#include <fmt/format.h>

#include "host/measurement_result.h"

namespace host {
namespace {

constexpr int kBarWidth = 24;
constexpr char kEraseLine[] = "\r\033[K";

}  // namespace

Progress::Progress(Session& session)
    : err_(session.err()),
      bar_(session.err_terminal() && !session.tracing()),
      dots_(!session.err_terminal() && !session.json() && !session.tracing()) {}

Progress::~Progress() { Clear(); }

void Progress::Show(int status, double done) {
  if (bar_) {
    const auto full = static_cast<int>(done * kBarWidth);
    err_ << kEraseLine
         << fmt::format("[{:<{}}] {:3.0f} %  {}", std::string(static_cast<std::size_t>(full), '#'),
                        kBarWidth, 100 * done, StatusText(status))
         << std::flush;
  } else if (dots_) {
    err_ << '.' << std::flush;
  }
  shown_ = true;
}

void Progress::Clear() {
  if (!shown_) return;
  if (bar_) err_ << kEraseLine << std::flush;
  if (dots_) err_ << '\n';
  shown_ = false;
}

}  // namespace host
