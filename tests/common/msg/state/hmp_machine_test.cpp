// What the shared state asks of the shell: mounts.
#include <gtest/gtest.h>

#include <functional>
#include <libconfig.h++>
#include <set>
#include <utility>

#include "common/msg/state/hmp_data.h"
#include "tests/platform/bare_machine.h"

namespace {

using Msg::HMPData;

// A machine whose shell answers as the test says and remembers what it was asked.
class Machine : public platform::BareInstrument {
 public:
  int System(std::string_view command) override {
    commands.emplace_back(command);
    return answer(commands.back()) << 8;
  }

  std::vector<std::string> commands;
  std::function<int(const std::string&)> answer = [](const std::string&) { return 0; };
};

class HmpMachine : public testing::Test {
 protected:
  std::vector<std::string> Take() { return std::exchange(machine.commands, {}); }
  static bool Has(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
  }

  platform::MachineInPlace<Machine> in_place;
  Machine& machine = in_place.instrument;
  libconfig::Config config;
  HMPData data{config, Msg::MEAS_MODULE};
};

TEST_F(HmpMachine, MountsTheOtherModulesOnTheSixthCall) {
  std::set<std::string> mounted = {"/mnt/main"};
  machine.answer = [&](const std::string& command) {
    if (Has(command, " ps ")) return 1;
    if (command.starts_with("cat /etc/mtab|egrep -i ")) {
      const std::string path = command.substr(23);
      return path.starts_with("/media") || mounted.contains(path) ? 0 : 1;
    }
    if (command.starts_with("mount -t cifs")) mounted.insert("/mnt/src");
    return 0;
  };
  for (int call = 1; call <= 6; ++call) {
    data.CheckNetworkDrives();
    EXPECT_FALSE(data.networkmountdone);
    const auto commands = Take();
    const auto mounts = std::ranges::count_if(
        commands, [](const std::string& c) { return c.starts_with("mount"); });
    EXPECT_EQ(mounts, call == 6 ? 1 : 0) << call;
  }
  data.CheckNetworkDrives();
  EXPECT_TRUE(data.networkmountdone);
}

TEST_F(HmpMachine, MountsNothingWhileAMountIsUnderWay) {
  machine.answer = [](const std::string&) { return 0; };  // ps finds one
  data.fail1 = data.fail3 = 10;
  data.CheckNetworkDrives();
  EXPECT_FALSE(data.networkmountdone);
  EXPECT_TRUE(data.networkmountbusy);
  for (const std::string& command : Take()) EXPECT_FALSE(Has(command, "//192")) << command;

  Take();
  data.mount1progress = true;  // by another thread
  data.MountNetworkShare("/mnt/main", "//192.168.42.51/Root");
  data.MountNetworkShare("/mnt/elsewhere", "//x/y");
  EXPECT_TRUE(machine.commands.empty());
  EXPECT_TRUE(data.mount1progress);
}

}  // namespace
