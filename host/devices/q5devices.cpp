// q5devices: the chips of the measurement module as the daemon knows them, with what the virtual
// instrument says that each read last.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "common/dev/i2c/bus/device_table.h"
#include "common/log/build_info.h"
#include "host/exit_status.h"
#include "simulator/control_server.h"

namespace {

constexpr int kLastChannel = 3;
constexpr std::string_view kNone = "-";

struct Line {
  std::string key, chip, path, address, rate, in_test, last;
};

std::string PathOf(int bus, int hmux, int lmux) {
  std::string path = std::to_string(bus);
  for (const int channel : {hmux, lmux}) {
    if (channel > kLastChannel) break;
    path += "." + std::to_string(channel);
  }
  return path;
}

std::string RateOf(int rate) {
  if (rate == 0) return "once";
  return rate == Dev::kNever ? "by request" : std::to_string(rate) + " s";
}

/// "PATH ADDRESS" and the last reading of every chip, from the instrument's list
/// "NAME at PATH ADDRESS: COUNTS: READING; NAME at ...".
std::map<std::string, std::string> Readings(std::string_view list) {
  std::map<std::string, std::string> readings;
  while (!list.empty()) {
    const std::string_view entry = list.substr(0, list.find("; "));
    list.remove_prefix(std::min(list.size(), entry.size() + 2));
    const std::size_t at = entry.find(" at ");
    const std::size_t counts = entry.find(": ");
    const std::size_t reading = entry.find(": ", counts + 2);
    if (at == entry.npos || counts == entry.npos || reading == entry.npos) continue;
    readings.emplace(entry.substr(at + 4, counts - at - 4), entry.substr(reading + 2));
  }
  return readings;
}

class Listing {
 public:
  explicit Listing(std::map<std::string, std::string> readings) : readings_(std::move(readings)) {}

  std::vector<Line> Lines() const {
    std::vector<Line> lines;
    for (const Dev::DeviceRow& row : Dev::kDeviceRows) {
      if (!row.modules.Has(Msg::MEAS_MODULE)) continue;
      lines.push_back(Make(row.aid, row.type, row.num, row.id, row.rate, row.scan,
                           {row.bus, row.hmux, row.lmux}, {row.addr}));
    }
    for (const Dev::ChannelSensorRow& row : Dev::kChannelSensorRows) {
      lines.push_back(Make(row.aid, Dev::TEMP_SENSOR, row.num, Dev::kChannelSensorId,
                           Dev::kChannelSensorRate, false, {2, row.hmux, 4},
                           {row.addr_0985, row.addr_1093}));
    }
    return lines;
  }

 private:
  struct Route {
    int bus, hmux, lmux;
  };

  /// The path and the address are those at which the instrument has a chip, where the table leaves
  /// a choice; else the first.
  Line Make(int aid, int type, int num, const char* id, int rate, bool in_test, const Route& route,
            const std::vector<int>& addresses) const {
    Line line{Dev::DeviceKey(Msg::MEAS_MODULE, aid, type, num),
              id,
              "",
              "",
              RateOf(rate),
              in_test ? "yes" : "no",
              std::string(kNone)};
    const std::vector<int> channels =
        route.hmux == Dev::kSwitched ? std::vector{3, 2} : std::vector{route.hmux};
    for (const int channel : channels) {
      for (const int address : addresses) {
        const std::string path = PathOf(route.bus, channel, route.lmux);
        const std::string text = fmt::format("0x{:02X}", address);
        const auto found = readings_.find(path + " " + text);
        if (line.path.empty() || found != readings_.end()) {
          line.path = path;
          line.address = text;
        }
        if (found == readings_.end()) continue;
        line.last = found->second;
        return line;
      }
    }
    return line;
  }

  const std::map<std::string, std::string> readings_;
};

void PrintTable(const std::vector<Line>& lines) {
  constexpr auto kFormat = "{:<11} {:<11} {:<6} {:<8} {:<11} {:<8} {}\n";
  fmt::print(kFormat, "key", "chip", "path", "address", "scanned", "in test", "last reading");
  for (const Line& line : lines) {
    fmt::print(kFormat, line.key, line.chip, line.path, line.address, line.rate, line.in_test,
               line.last);
  }
}

void PrintJson(const std::vector<Line>& lines) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Line& line : lines) {
    json.push_back({{"key", line.key},
                    {"chip", line.chip},
                    {"path", line.path},
                    {"address", line.address},
                    {"scanned", line.rate},
                    {"in_test", line.in_test == "yes"},
                    {"last", line.last}});
  }
  fmt::print("{}\n", json.dump(2));
}

}  // namespace

int main(int argc, char* argv[]) {
  CLI::App app(
      "The I2C devices of the measurement module: key, bus path and address, how often the "
      "daemon\nscans them, and the last reading of the virtual instrument's chips.");
  std::string root;
  bool json = false;
  app.add_option("--root", root,
                 "The instrument's directory, as for q5sim; without it no readings");
  app.add_flag("--json", json, "Print JSON");
  app.set_version_flag("--version", fmt::format("q5devices {}", hgrev));
  app.footer(
      "Q5_ROOT in the environment is the directory where --root is not given.\n"
      "Exit status: 0 done, 2 the command line is wrong, 3 the instrument does not answer");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : static_cast<int>(host::ExitStatus::kUsage);
  }
  if (const char* variable = std::getenv("Q5_ROOT"); root.empty() && variable != nullptr) {
    root = variable;
  }

  std::string answer;
  if (!root.empty() && !simulator::SendControlLine(root, "get i2c.chips", answer)) {
    fmt::print(stderr, "q5devices: {}\n", answer);
    return static_cast<int>(host::ExitStatus::kNoAnswer);
  }
  constexpr std::string_view kOk = "ok ";
  const std::string_view list =
      answer.starts_with(kOk) ? std::string_view(answer).substr(kOk.size()) : std::string_view();
  const std::vector<Line> lines = Listing(Readings(list)).Lines();
  json ? PrintJson(lines) : PrintTable(lines);
  return 0;
}
