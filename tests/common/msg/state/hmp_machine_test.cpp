// What the shared test state does with the machine: waits, shell commands, the FPGA.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <libconfig.h++>
#include <set>
#include <thread>
#include <utility>

#include "common/msg/state/hmp_data.h"
#include "tests/platform/bare_machine.h"

namespace {

using Msg::HMPData;
using std::chrono_literals::operator""s;
using testing::ElementsAre;

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
  HmpMachine() {
    char name[] = "/tmp/q5-hmp-XXXXXX";
    root = mkdtemp(name);
    backend = std::make_unique<platform::LocalBackend>(machine, clock, root);
    in_place = std::make_unique<platform::ScopedBackend>(*backend);
  }
  ~HmpMachine() override { std::filesystem::remove_all(root); }

  void WriteFile(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(root + path).parent_path());
    std::ofstream(root + path) << text;
  }
  std::vector<std::string> Take() { return std::exchange(machine.commands, {}); }
  static bool Has(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
  }

  Machine machine;
  platform::FakeClock clock;
  std::string root;
  std::unique_ptr<platform::LocalBackend> backend;
  std::unique_ptr<platform::ScopedBackend> in_place;
  libconfig::Config config;
  HMPData data{config, Msg::MEAS_MODULE};
};

TEST_F(HmpMachine, WaitForTheSourceEndsAtItsFirstAnswer) {
  std::atomic<int> enquiries = 0;
  data.SetLinks({.enquire_source_status = [&] { ++enquiries; }});
  std::thread waiting([&] { data.WaitForSosRecovery(); });
  for (int period = 0; period < 5; ++period) {
    ASSERT_TRUE(clock.AwaitBlocked(1));
    EXPECT_EQ(enquiries, period + 1);
    EXPECT_TRUE(data.recoveryblocked);
    if (period < 4) {
      clock.Advance(3s);
      while (enquiries < period + 2) std::this_thread::yield();
    }
  }
  data.SignalMainRecovery(false);  // in the middle of a period
  waiting.join();
  EXPECT_EQ(enquiries, 5);
  EXPECT_FALSE(data.recoveryblocked);
  EXPECT_TRUE(data.IsSosRecoveryDone());
}

TEST_F(HmpMachine, WaitForTheSourceTakesAnAnswerWhileItAsks) {
  int enquiries = 0;
  data.SetLinks({.enquire_source_status = [&] {
    if (++enquiries == 3) data.SignalMainRecovery(true);
    clock.Advance(3s);
  }});
  data.WaitForSosRecovery();
  EXPECT_EQ(enquiries, 3);
  EXPECT_FALSE(data.IsSosRecoveryDone());
}

TEST_F(HmpMachine, WaitForTheSourceEndsAfterTwoHours) {
  int enquiries = 0;
  data.SetLinks({.enquire_source_status = [&] {
    ++enquiries;
    clock.Advance(3s);
  }});
  const auto start = clock.Monotonic();
  data.WaitForSosRecovery();
  EXPECT_EQ(enquiries, 2400);
  EXPECT_EQ(clock.Monotonic() - start, 7200s);
  EXPECT_FALSE(data.recoveryblocked);
}

TEST_F(HmpMachine, SafetySwitchKeepsItsFirstTime) {
  data.SetRampAllowed(true);
  const std::time_t first = clock.Realtime().tv_sec;
  data.SafetySwitchReleased(1);
  clock.Advance(10s);
  data.SafetySwitchReleased(1);
  EXPECT_EQ(data.switchreleasetime, first);
  EXPECT_TRUE(data.safetyswitch);
  EXPECT_FALSE(data.IsRampAllowed());
  EXPECT_EQ(data.GetSafetyRampDownStartTime(), first + 10);
  data.SetLinks({.ramp_down_start = [] { return std::time_t{1234}; }});
  EXPECT_EQ(data.GetSafetyRampDownStartTime(), 1234);
  EXPECT_EQ(data.switchreleaserampdown, 1234);
}

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

TEST_F(HmpMachine, SelfTestsOfASilentModuleAreGivenUp) {
  data.SetLinks({.is_alive = [](int module) { return module == 2; }});
  clock.SetAutoAdvance(true);
  const auto start = clock.Monotonic();
  EXPECT_EQ(data.CheckPOSTFiles(), -1);
  EXPECT_EQ(clock.Monotonic() - start, 30s);
  EXPECT_TRUE(machine.commands.empty());

  data.SetLinks({.is_alive = [](int) { return true; }});
  machine.answer = [](const std::string&) { return 1; };  // nothing to fetch
  EXPECT_EQ(data.CheckPOSTFiles(), 0);
  EXPECT_EQ(clock.Monotonic() - start, 50s);
}

TEST_F(HmpMachine, CheckerGetsTheManifestOfTheFirmware) {
  const std::string fetch = "ftpget 192.168.42.53 src_chk.log -u root;mv /src_chk.log /home/root;";
  data.SetLinks({.is_alive = [](int module) { return module == 2; }});
  WriteFile("/etc/varek-fw-version", "varek_fw_version=5.4.0.17-beta-3\n");
  EXPECT_EQ(data.CheckerFiles(), 0);
  EXPECT_THAT(Take(), ElementsAre(fetch,
                                  "python /varek/bin/Q5_sysChecker.py -f "
                                  "/etc/Q5400-Manifest-5.4.0.17-be.csv"));
  WriteFile("/home/root/src_chk.log", "");
  WriteFile("/etc/varek-fw-version", "varek_fw_version=1;reboot");
  EXPECT_EQ(data.CheckerFiles(), -1);
  EXPECT_TRUE(machine.commands.empty());
}

}  // namespace
