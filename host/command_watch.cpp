#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>

#include "host/command.h"
#include "host/interruption.h"
#include "host/number_check.h"
#include "host/report.h"
#include "host/request.h"
#include "host/result_text.h"
#include "host/test_plan.h"
#include "platform/backend.h"

namespace host {
namespace {

struct WatchOptions {
  int rows = 0;
  double interval = 0.5;
  bool fast = false;
  bool dc = false;
};

constexpr double kShortest = 0.001;
constexpr double kLongest = 3600;
constexpr platform::Nanoseconds kNap = std::chrono::milliseconds(100);  // between looks for Ctrl-C

// What one look at the daemon gave.
struct Look {
  int status = 0;
  std::optional<TestResult> result;  ///< nothing while the data are not valid
  std::optional<Reply> nak;          ///< of a poll: errors of the test
};

// The cheap poll first: only where there are data a result is asked for, with the filter that a
// measuring host uses, so that the daemon sees no change of filter between its polls and these.
ExitStatus LookOnce(Session& session, const WatchOptions& options, Look& look) {
  Reply reply;
  ExitStatus status = session.Ask(PlainRequest(Msg::HMP_ACK_PROGRESS), reply);
  if (status == ExitStatus::kOk) {
    look.status = ProgressOf(reply);
    if ((look.status & Data_Not_Valid) != 0) return status;
    const auto filter = options.fast ? Msg::MSG6_RSLTYPE_FIR_FAST : Msg::MSG6_RSLTYPE_FIR_SLOW;
    status = session.Ask(ResultRequest(filter), reply);
  }
  if (status == ExitStatus::kOk) {
    look.result = ResultOf(reply, options.dc);
  } else if (status == ExitStatus::kNak) {
    look.nak = std::move(reply);
    status = ExitStatus::kOk;
  }
  return status;
}

// Rows under each other; on a terminal one table that is drawn over.
class Screen {
 public:
  explicit Screen(Session& session) : session_(session) {}

  void Show(const Look& look) {
    if (session_.json()) {
      session_.out() << Json(look).dump() << std::endl;
    } else if (session_.out_terminal()) {
      Redraw(look.result ? ResultText(*look.result) : Line(look));
    } else {
      session_.out() << (look.result ? Row(*look.result) : Line(look)) << std::flush;
    }
  }

 private:
  // With the head of a table before it where one begins. The units stay those of its first row.
  std::string Row(const TestResult& result) {
    if (table_ && table_->Takes(result)) return table_->Row(result);
    table_.emplace(std::span(&result, 1));
    return table_->Head() + table_->Row(result);
  }

  static std::string Line(const Look& look) {
    return look.nak ? NakText(*look.nak)
                    : fmt::format("no data: 0x{:04X}, {}\n", look.status, StatusText(look.status));
  }

  static nlohmann::ordered_json Json(const Look& look) {
    if (look.result) return ResultJson(*look.result);
    if (look.nak) return ReplyJson(*look.nak);
    return {{"status", look.status}, {"status_names", StatusNames(look.status)}};
  }

  void Redraw(const std::string& text) {
    if (lines_ > 0) session_.out() << fmt::format("\033[{}A\033[J", lines_);
    session_.out() << text << std::flush;
    lines_ = std::ranges::count(text, '\n');
  }

  Session& session_;
  std::optional<ResultTable> table_;
  std::ptrdiff_t lines_ = 0;
};

// Up to `duration`; false as soon as Ctrl-C is seen.
bool Sleep(platform::Nanoseconds duration, Interruption& interruption) {
  platform::Clock& clock = platform::Machine().Clock();
  const auto end = clock.Monotonic() + duration;
  while (!interruption.Asked()) {
    const auto left = end - clock.Monotonic();
    if (left <= platform::Nanoseconds::zero()) return true;
    clock.SleepFor(std::min(left, kNap));
  }
  return false;
}

ExitStatus Watch(Session& session, const WatchOptions& options) {
  Interruption interruption;
  Screen screen(session);
  const auto interval = std::chrono::duration_cast<platform::Nanoseconds>(
      std::chrono::duration<double>(options.interval));
  for (int row = 0; options.rows == 0 || row < options.rows; ++row) {
    if (!Sleep(row > 0 ? interval : platform::Nanoseconds::zero(), interruption)) break;
    Look look;
    const ExitStatus status = LookOnce(session, options, look);
    if (status != ExitStatus::kOk) return status;
    screen.Show(look);
    if (!session.out()) break;  // a full disk
  }
  return ExitStatus::kOk;
}

Action Declare(CLI::App& app) {
  auto options = std::make_shared<WatchOptions>();
  app.add_option("--rows", options->rows, "End after so many looks; 0: at Ctrl-C")
      ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""))
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--interval", options->interval, "From one look to the next")
      ->check(NumberFrom(kShortest, kLongest))
      ->type_name("S")
      ->capture_default_str();
  app.add_flag("--fast", options->fast,
               "The filter over one cycle; beside a host that reads the slow one this makes the "
               "slow one begin anew at every look");
  app.add_flag("--dc", options->dc, "The test is a DC test");
  app.footer("The daemon takes every look for a sign of life of the host that runs the test.");
  return [options](Session& session) { return Watch(session, *options); };
}

}  // namespace

const Command kWatch{"watch", "show the results of the running test as they come", Declare};

}  // namespace host
