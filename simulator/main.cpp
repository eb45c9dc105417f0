// q5sim: the virtual instrument, and the command that speaks to its control socket.

#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <deque>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "common/log/build_info.h"
#include "platform/real_clock.h"
#include "simulator/addresses.h"
#include "simulator/config.h"
#include "simulator/control_server.h"
#include "simulator/device_server.h"
#include "simulator/eeprom_command.h"
#include "simulator/neighbours.h"
#include "simulator/root_dir.h"
#include "simulator/virtual_instrument.h"

namespace {

constexpr int kCannotRun = 1;
constexpr int kBadUsage = 2;  // command line or configuration
constexpr platform::Nanoseconds kPumpPeriod = std::chrono::milliseconds(5);

struct Options {
  std::string root;
  std::string config;
  std::string subnet;
  double speed = 0;  ///< 0: as configured
};

int Fail(int status, const std::string& problem) {
  std::fprintf(stderr, "q5sim: %s\n", problem.c_str());
  return status;
}

/// Never 0, which means "none chosen".
std::uint64_t DrawSeed() {
  std::random_device random;
  return std::uniform_int_distribution<std::uint64_t>(1, 0xFFFFFFFF)(random);
}

/// SIGTERM and SIGINT for Wait; threads made after this leave them to it.
class EndSignals {
 public:
  EndSignals() {
    ::signal(SIGPIPE, SIG_IGN);
    sigemptyset(&set_);
    sigaddset(&set_, SIGTERM);
    sigaddset(&set_, SIGINT);
    pthread_sigmask(SIG_BLOCK, &set_, nullptr);
  }
  void Wait() const {
    int signal = 0;
    sigwait(&set_, &signal);
  }

 private:
  sigset_t set_;
};

int Serve(const Options& options) {
  simulator::Config config;
  if (!options.config.empty()) {
    const std::string problem = simulator::ReadConfig(options.config, config);
    if (!problem.empty()) return Fail(kBadUsage, problem);
  }
  if (options.speed > 0) config.speed = options.speed;
  if (config.seed == 0) config.seed = DrawSeed();

  const EndSignals end_signals;
  simulator::RootDir root;
  if (auto problem = root.Claim(options.root); !problem.empty()) return Fail(kCannotRun, problem);
  platform::UniqueFd host_listener;
  if (auto problem =
          simulator::ClaimAddresses(options.subnet, root.EarlierAddresses(), config, host_listener);
      !problem.empty()) {
    return Fail(kCannotRun, problem);
  }
  if (auto problem = root.WriteFiles(config); !problem.empty()) return Fail(kCannotRun, problem);

  platform::RealClock clock;
  simulator::VirtualInstrument instrument(config, root.Path(), clock);
  if (!instrument.Problem().empty()) return Fail(kCannotRun, instrument.Problem());
  simulator::Neighbours neighbours(config, std::move(host_listener), clock, instrument);
  if (!neighbours.Problem().empty()) return Fail(kCannotRun, neighbours.Problem());
  simulator::DeviceServer devices(instrument);
  if (auto problem = devices.Start(root.Path()); !problem.empty()) {
    return Fail(kCannotRun, problem);
  }
  simulator::ControlServer control(instrument.Units());
  if (auto problem = control.Start(root.Path()); !problem.empty()) {
    return Fail(kCannotRun, problem);
  }

  const auto pump = clock.StartTicks(kPumpPeriod, [&instrument, &neighbours] {
    instrument.Update();
    neighbours.Update();
  });
  if (pump == nullptr) return Fail(kCannotRun, "no timer");

  std::printf("q5sim seed %llu\n", static_cast<unsigned long long>(config.seed));
  std::printf("q5sim ready %s\n", root.Path().c_str());
  std::fflush(stdout);
  end_signals.Wait();
  instrument.Units().Release();
  return 0;
}

constexpr char kDaemonLog[] = "/var/volatile/moslog";
constexpr std::size_t kTailLines = 20;

/// "log tail [LINES]": the end of the daemon's log, which needs no running q5sim.
int TailLog(const std::string& root, const std::vector<std::string>& words) {
  std::size_t lines = kTailLines;
  if (words.size() > 3 || words[1] != "tail" ||
      (words.size() == 3 && !CLI::detail::lexical_cast(words[2], lines))) {
    return Fail(kBadUsage, "expected: log tail [LINES]");
  }
  std::ifstream file(root + kDaemonLog);
  if (!file)
    return Fail(kCannotRun,
                root + kDaemonLog + ": no log; a mos in the foreground logs to its terminal");
  std::deque<std::string> tail;
  for (std::string line; std::getline(file, line);) {
    tail.push_back(line);
    if (tail.size() > lines) tail.pop_front();
  }
  for (const std::string& line : tail) std::printf("%s\n", line.c_str());
  return 0;
}

int SendCommand(const std::string& root, const std::vector<std::string>& words) {
  if (words.size() >= 2 && words[0] == "log") return TailLog(root, words);
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + word;
  std::string answer;
  if (!simulator::SendControlLine(root, line, answer)) return Fail(kCannotRun, answer);
  std::printf("%s\n", answer.c_str());
  return answer.starts_with("ok") ? 0 : kCannotRun;
}

/// "eeprom pack XML IMAGE" and "eeprom unpack IMAGE XML", which need no running q5sim.
struct EepromCommand {
  explicit EepromCommand(CLI::App& app)
      : eeprom(app.add_subcommand("eeprom", "Makes and reads images of calibration chips")),
        pack(eeprom->add_subcommand("pack", "XML file to image")),
        unpack(eeprom->add_subcommand("unpack", "Image with a compressed record to XML file")) {
    eeprom->require_subcommand(1);
    pack->add_option("xml", from)->required();
    pack->add_option("image", to)->required();
    pack->add_flag("--raw", raw, "Fields at their addresses instead of a compressed record");
    unpack->add_option("image", from)->required();
    unpack->add_option("xml", to)->required();
  }
  int Run() const {
    using simulator::ImageForm;
    const std::string problem =
        pack->parsed()
            ? simulator::PackFile(from, to, raw ? ImageForm::kRaw : ImageForm::kCompressed)
            : simulator::UnpackFile(from, to);
    return problem.empty() ? 0 : Fail(kCannotRun, problem);
  }

  CLI::App* eeprom;
  CLI::App* pack;
  CLI::App* unpack;
  std::string from;
  std::string to;
  bool raw = false;
};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("The virtual instrument: serves the devices of one module under a directory.");
  app.set_version_flag("--version", "q5sim " + std::string(hgrev));
  Options options;
  auto* root = app.add_option("--root", options.root, "Directory that is the instrument's /");
  app.add_option("--config", options.config, "JSON file that says what kind of instrument this is");
  app.add_option("--speed", options.speed, "Factor on the pace of samples")
      ->check(CLI::Range(0.001, 1000.0));
  app.add_option("--subnet", options.subnet, "127.0.N for the modules' addresses, or auto");

  CLI::App* ctl = app.add_subcommand("ctl", "Sends one command to the q5sim of a directory");
  std::string ctl_root;
  std::vector<std::string> words;
  ctl->add_option("--root", ctl_root, "The directory")->required();
  ctl->add_option("command", words,
                  "get NAME, set NAME VALUE, list, fault NAME [FAULT [NUMBER]], "
                  "memory NAME ACTION [NUMBERS], log tail [LINES]")
      ->required();

  const EepromCommand eeprom(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kBadUsage;
  }
  if (ctl->parsed()) return SendCommand(ctl_root, words);
  if (eeprom.eeprom->parsed()) return eeprom.Run();
  if (root->count() == 0) return Fail(kBadUsage, "--root is required (see --help)");
  return Serve(options);
}
