#include <algorithm>
#include <chrono>
#include <filesystem>
#include <limits>
#include <memory>

#include "host/command.h"
#include "host/interruption.h"
#include "host/live_stream.h"
#include "host/number_check.h"
#include "host/result_text.h"
#include "platform/backend.h"

namespace host {
namespace {

using platform::Nanoseconds;

struct WatchOptions {
  int rows = 0;
  double interval = 0.5;
};

constexpr double kShortest = 0.001;
constexpr double kLongest = 3600;
constexpr Nanoseconds kNap = std::chrono::milliseconds(100);  // between looks for Ctrl-C
// A client that measures has something to say every second; an update may take longer.
constexpr Nanoseconds kFresh = std::chrono::seconds(3);
constexpr Nanoseconds kReminder = std::chrono::seconds(5);

// What is known at one look: the latest that was read, how old it is, and who read it.
struct View {
  std::optional<LiveEntry> latest;
  double age = 0;  ///< s
  bool alive = false;

  bool Stale() const {
    return latest && latest->state != "ended" &&
           (!alive || age > std::chrono::duration<double>(kFresh).count());
  }
  const char* State() const {
    if (!latest) return "nobody measures here";
    if (latest->state == "ended") return "the test has ended";
    if (!alive) return "the host that measured has gone";
    return Stale() ? "the host that measures is silent" : "measuring";
  }
  std::string Text() const {
    if (!latest) return fmt::format("{}\n", State());
    return fmt::format("{}{}, {:.1f} s old (process {})\n", Stale() ? "STALE: " : "", State(), age,
                       latest->client);
  }
  nlohmann::ordered_json Json() const {
    nlohmann::ordered_json json = {{"state", State()}, {"stale", Stale()}};
    if (latest) json.update({{"age_s", age}, {"client", latest->client}});
    return json;
  }
};

// Rows under each other; on a terminal one table that is drawn over.
class Screen {
 public:
  explicit Screen(Session& session) : session_(session) {}

  // How many rows it printed.
  int Show(const std::vector<LiveEntry>& entries, const View& view) {
    if (session_.out_terminal() && !session_.json()) return Redraw(view);
    int rows = 0;
    for (const LiveEntry& entry : entries) rows += ShowEntry(entry) ? 1 : 0;
    if (rows == 0 && MustShow(view)) {
      session_.out() << (session_.json() ? view.Json().dump() + '\n' : view.Text());
      rows = 1;
    }
    session_.out() << std::flush;
    return rows;
  }

 private:
  // Each new state, and that the data are stale from time to time.
  bool MustShow(const View& view) {
    const auto now = platform::Machine().Clock().Monotonic();
    const bool is_new = state_ != view.State();
    if (!is_new && !(view.Stale() && now - told_ >= kReminder)) return false;
    state_ = view.State();
    told_ = now;
    return true;
  }

  // Of status words only those that differ from the one before.
  bool ShowEntry(const LiveEntry& entry) {
    if (!entry.state.empty()) return false;
    const std::optional<int> status = entry.result ? StatusOf(*entry.result) : entry.status;
    if (!entry.result && status == status_) return false;
    status_ = status;
    if (session_.json()) {
      nlohmann::ordered_json json = {{"client", entry.client}, {"stale", false}};
      if (entry.result) json.update(ResultJson(*entry.result));
      if (!entry.result) json.update({{"status", *status}, {"status_names", StatusNames(*status)}});
      session_.out() << json.dump() << '\n';
    } else {
      session_.out() << (entry.result ? Row(*entry.result) : StatusLine(*status));
    }
    return true;
  }

  // With the head of a table before it where one begins. The units stay those of its first row.
  std::string Row(const MeasurementResult& result) {
    if (table_ && table_->Takes(result)) return table_->Row(result);
    table_.emplace(std::span(&result, 1));
    return table_->Head() + table_->Row(result);
  }

  static std::string StatusLine(int status) {
    return fmt::format("status 0x{:04X}, {}\n", status, StatusText(status));
  }

  int Redraw(const View& view) {
    std::string text;
    if (view.latest && view.latest->result) text = ResultText(*view.latest->result);
    if (view.latest && view.latest->status) text = StatusLine(*view.latest->status);
    text += view.Text();
    if (lines_ > 0) session_.out() << fmt::format("\033[{}A\033[J", lines_);
    session_.out() << text << std::flush;
    lines_ = std::ranges::count(text, '\n');
    return 1;
  }

  Session& session_;
  std::optional<ResultTable> table_;
  std::optional<int> status_;
  std::ptrdiff_t lines_ = 0;
  std::string state_;
  Nanoseconds told_{0};
};

// Up to `duration`; false as soon as Ctrl-C is seen.
bool Sleep(Nanoseconds duration, Interruption& interruption) {
  platform::Clock& clock = platform::Machine().Clock();
  const auto end = clock.Monotonic() + duration;
  while (!interruption.Asked()) {
    const auto left = end - clock.Monotonic();
    if (left <= Nanoseconds::zero()) return true;
    clock.SleepFor(std::min(left, kNap));
  }
  return false;
}

void Update(View& view, const LiveFeed& feed, std::vector<LiveEntry>& entries) {
  std::ranges::stable_sort(entries, {}, &LiveEntry::time);
  if (!entries.empty()) view.latest = entries.back();
  if (!view.latest) return;
  const auto age = platform::Machine().Clock().Monotonic() - view.latest->time;
  view.age = std::max(0.0, std::chrono::duration<double>(age).count());
  const auto clients = feed.Clients();
  view.alive = std::ranges::find(clients, view.latest->client) != clients.end();
}

ExitStatus Watch(Session& session, const WatchOptions& options) {
  if (session.root().empty()) {
    return session.Fail(ExitStatus::kUsage,
                        "what a host measures is published in --root DIR; give it");
  }
  std::error_code none;
  if (!std::filesystem::is_directory(session.root(), none)) {
    return session.Fail(ExitStatus::kUsage,
                        fmt::format("there is no directory {}", session.root()));
  }
  Interruption interruption;
  Screen screen(session);
  LiveFeed feed(session.root());
  View view;
  const auto interval =
      std::chrono::duration_cast<Nanoseconds>(std::chrono::duration<double>(options.interval));
  int rows = 0;
  for (Nanoseconds pause{0}; Sleep(pause, interruption); pause = interval) {
    auto entries = feed.Read();
    Update(view, feed, entries);
    rows += screen.Show(entries, view);
    if (!session.out()) break;  // a full disk
    if (options.rows > 0 && rows >= options.rows) break;
  }
  return ExitStatus::kOk;
}

Action Declare(CLI::App& app) {
  auto options = std::make_shared<WatchOptions>();
  app.add_option("--rows", options->rows, "End after so many rows; 0: at Ctrl-C")
      ->check(WholeFrom(0, std::numeric_limits<int>::max()))
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--interval", options->interval, "From one look to the next")
      ->check(NumberFrom(kShortest, kLongest, "s"))
      ->type_name("S")
      ->capture_default_str();
  app.footer(
      "Shows what a q5host reads that measures on the same directory, and sends nothing: the "
      "daemon does\nnot take it for a sign of life. What is older than 3 s, or of a host that has "
      "gone, is marked STALE.");
  return [options](Session& session) { return Watch(session, *options); };
}

}  // namespace

const Command kWatch{"watch", "show the results of the running test as they come", Route::kBus,
                     Declare};

}  // namespace host
