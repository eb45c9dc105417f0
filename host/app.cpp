#include "host/app.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "common/log/build_info.h"
#include "host/command.h"
#include "host/last_nak.h"
#include "host/transport_address.h"

namespace host {
namespace {

constexpr const Command* kCommands[] = {&kVersions, &kProgress, &kSend,  &kErrors,  &kMeasure,
                                        &kSweep,    &kStop,     &kWatch, &kMessages};

constexpr int kDefaultTimeoutMs = 5000;  // an update that waits for the mains takes over 3 s
constexpr int kLongestTimeoutMs = 24 * 3600 * 1000;

constexpr char kDescription[] =
    "q5host: a host for the instrument, at the command line. It sends a request to the "
    "measurement\n"
    "daemon, checks the reply and prints what it says.";

constexpr char kFooter[] =
    "Routes:\n"
    "  --root DIR --via host    the host's TCP port 3087 of \"main\" in DIR/etc/hosts; the source\n"
    "                           hears what passes here, so measure, sweep, stop and send take it\n"
    "  --root DIR --via bus     the daemon's ipc end point, DIR/tmp/Mos.MeasMgr.ipc; the other\n"
    "                           commands take it, and work beside a host that measures\n"
    "  --root DIR --via tcp     the bus on TCP port 3088 of \"meas\" in DIR/etc/hosts\n"
    "  --connect ipc://PATH     the bus\n"
    "  --connect tcp://ADDRESS[:3088]\n"
    "  --connect host://ADDRESS[:3087]\n"
    "Q5_ROOT in the environment is the directory where neither --root nor --connect is given.\n"
    "\n"
    "Exit status:\n"
    "  0  the daemon did what was asked\n"
    "  1  NAK: it refused; the errors are printed\n"
    "  2  the command line, or a file that it names, is wrong\n"
    "  3  cannot connect, or no answer in time\n"
    "  4  malformed reply: length, checksum, opcode or acknowledgement is wrong\n"
    "  5  the test ran, but its data did not become valid in time\n"
    "  6  the output could not be written\n"
    "  7  the test ran, but the source did not give what was asked for\n"
    "  8  another host is connected; the main module takes one at a time\n"
    "  130  Ctrl-C; the test was stopped\n"
    "\n"
    "Examples:\n"
    "  q5host --root /tmp/q5 versions\n"
    "  q5host --root /tmp/q5 --via host --json progress\n"
    "  q5host --connect tcp://192.168.42.52 --timeout 500 progress\n"
    "  q5host --root /tmp/q5 send 00 00 46 00 00 00         (progress, as a record)\n"
    "  q5host --root /tmp/q5 errors                         (the last NAK, by name)\n"
    "  q5host --root /tmp/q5 measure --voltage 10000 --frequency 60\n"
    "  q5host --root /tmp/q5 sweep --voltage 100 --lv --from 15 --to 400 --plot pf.svg\n"
    "  q5host --root /tmp/q5 watch\n"
    "  q5host --root /tmp/q5 messages                       (what the modules say)\n"
    "  q5host --root /tmp/q5 stop\n"
    "  q5host --root /tmp/q5 send --raw 00004600000000FF    (with a wrong checksum)";

struct Options {
  std::string root;
  std::string connect;
  std::string via;  ///< empty: the command's own
  bool json = false;
  bool trace = false;
  int timeout_ms = kDefaultTimeoutMs;
};

void Declare(CLI::App& app, Options& options) {
  app.footer(kFooter);
  app.set_version_flag("--version", fmt::format("q5host {}", hgrev));
  app.fallthrough();  // options may follow the command, too
  app.require_subcommand(1);
  auto* root = app.add_option("--root", options.root, "The instrument's directory, as for q5sim")
                   ->type_name("DIR");
  auto* connect = app.add_option("--connect", options.connect, "The address to connect to")
                      ->type_name("URI")
                      ->excludes(root);
  app.add_option("--via", options.via, "Route into --root; see below what each command takes")
      ->check(CLI::IsMember({"bus", "tcp", "host"}))
      ->type_name("ROUTE")
      ->excludes(connect);
  app.add_flag("--json", options.json, "Print JSON; errors too, as {\"error\": ...}");
  app.add_flag("--trace", options.trace, "Show every record in hexadecimal, on standard error");
  app.add_option("--timeout", options.timeout_ms, "Longest wait for the answer, in milliseconds")
      ->check(CLI::Range(1, kLongestTimeoutMs))
      ->type_name("MS")
      ->capture_default_str();
}

// What --root, --via and the environment say where the command line leaves it open.
void Complete(Options& options, Route route) {
  if (options.via.empty()) options.via = route == Route::kHost ? "host" : "bus";
  const char* root = std::getenv("Q5_ROOT");
  if (root == nullptr) return;
  if (options.root.empty() && options.connect.empty()) options.root = root;
  ::unsetenv("Q5_ROOT");  // for a daemon it moves every path; here the paths are whole
}

std::optional<TransportAddress> AddressOf(const Options& options, std::string& error) {
  if (!options.connect.empty()) return AddressFrom(options.connect, error);
  if (!options.root.empty()) return AddressUnder(options.root, options.via, error);
  error = "where to? give --root or --connect, or set Q5_ROOT";
  return std::nullopt;
}

}  // namespace

ExitStatus RunHost(const std::vector<std::string>& arguments, std::ostream& out,
                   std::ostream& err) {
  CLI::App app(kDescription, "q5host");
  Options options;
  Declare(app, options);
  Action chosen;
  Route route = Route::kBus;
  for (const Command* command : kCommands) {
    CLI::App* sub = app.add_subcommand(command->name, command->summary);
    sub->footer("");  // a command's own, if it has one; not the program's
    sub->callback([&chosen, &route, command, action = command->declare(*sub)] {
      chosen = action;
      route = command->route;
    });
  }
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {  // --help comes this way, too
    if (error.get_exit_code() == 0) {
      app.exit(error, out, err);
      return ExitStatus::kOk;
    }
    // an unknown command is reported before a missing one
    const std::vector<std::string> rest = app.remaining();
    const std::string what =
        rest.empty() ? error.what() : fmt::format("'{}' is not known here", rest.front());
    TellFailure(std::ranges::find(arguments, "--json") != arguments.end(), what + "; see --help",
                out, err);
    return ExitStatus::kUsage;
  }

  Complete(options, route);
  std::string error;
  std::optional<TransportAddress> address = AddressOf(options, error);
  auto transport = address ? MakeTransport(*address, options.timeout_ms) : nullptr;
  if (!transport) {
    TellFailure(options.json, error, out, err);
    return ExitStatus::kUsage;
  }
  Session session(*transport, options.json, out, err);
  session.SetTerminals(&out == &std::cout && ::isatty(STDOUT_FILENO) == 1,
                       &err == &std::cerr && ::isatty(STDERR_FILENO) == 1);
  if (options.trace) session.Trace();
  if (!options.root.empty()) session.SetRoot(options.root);
  const ExitStatus status = chosen(session);
  if (out.flush() || status != ExitStatus::kOk) return status;
  err << "q5host: the output could not be written\n";
  return ExitStatus::kNotWritten;
}

}  // namespace host
