// What the shared test state does with the machine: waits, shell commands, the FPGA.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
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

TEST_F(HmpMachine, RecoveryCountsOnlyWhileItIsWaitedFor) {
  data.SetSourceRecovery(true, 0);
  EXPECT_FALSE(data.IsSosRecoveryDone());
  data.SetRecoveryBlocked(true);
  data.SetSourceRecovery(true, 0);
  EXPECT_TRUE(data.IsSosRecoveryDone());
  data.SetSourceRecovery(false, 0);
  EXPECT_FALSE(data.IsSosRecoveryDone());
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

TEST_F(HmpMachine, AmplifierIsToldByTheFpga) {
  data.SetLinks({.read_fpga_register =
                     [](int offset, unsigned& value) {
                       value = 0x1000u + static_cast<unsigned>(offset);
                       return offset == 40 ? -1 : 0;
                     },
                 .first_ramp_word = [] { return 77; }});
  EXPECT_EQ(data.GetAmplifierValue(), 77);
  data.StoreFPGAMultiplier();
  EXPECT_EQ(data.amptargetvalue, 0x101E);
  EXPECT_EQ(data.currentamplifiervalue, 0x1024);
  EXPECT_EQ(data.GetAmplifierValue(), 77);  // before the first update
  data.firstUpdate = true;
  EXPECT_EQ(data.GetAmplifierValue(), 0x1024);
  data.SetVoltageAvailableError(120, 59.9F);
  const auto list = data.CopyErrorCodes();
  EXPECT_EQ(std::vector<short>(list.words.begin(), list.words.begin() + list.errorindex),
            (std::vector<short>{2, 0x4046, 120, 0x1024, 0x1030, 59}));
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
    if (call == 6) {
      EXPECT_THAT(commands, testing::Contains("mount -t cifs //192.168.42.53/Root /mnt/src -o "
                                              "username=root,password=tarnid58"));
    }
  }
  data.CheckNetworkDrives();
  EXPECT_TRUE(data.networkmountdone);
  EXPECT_EQ(data.fail1, 0);
  EXPECT_EQ(data.fail3, 6);
  EXPECT_FALSE(data.mount3progress);
}

TEST_F(HmpMachine, MountsNothingWhileAMountIsUnderWay) {
  machine.answer = [](const std::string&) { return 0; };  // ps finds one
  data.fail1 = data.fail3 = 10;
  data.CheckNetworkDrives();
  EXPECT_FALSE(data.networkmountdone);
  EXPECT_TRUE(data.networkmountbusy);
  for (const std::string& command : Take()) EXPECT_FALSE(Has(command, "//192")) << command;

  machine.answer = [](const std::string&) { return 1; };  // nothing is mounted, ps finds none
  EXPECT_FALSE(data.MountBusy());
  Take();
  EXPECT_FALSE(data.MountBusy());  // and is not asked again
  EXPECT_TRUE(machine.commands.empty());
  data.mount1progress = true;  // by another thread
  data.MountNetworkShare("/mnt/main", "//192.168.42.51/Root");
  data.MountNetworkShare("/mnt/elsewhere", "//x/y");
  EXPECT_TRUE(machine.commands.empty());
  EXPECT_TRUE(data.mount1progress);
}

TEST_F(HmpMachine, LocalDrivesAreTriedThreeTimes) {
  machine.answer = [](const std::string& command) {
    return Has(command, "mmcblk0p1") || Has(command, "egrep") ? 1 : 0;
  };
  data.CheckLocalDrives();
  const std::string p1 = "mount /dev/mmcblk0p1 /media/mmcblk0p1 ";
  EXPECT_THAT(Take(), ElementsAre("cat /etc/mtab|egrep -i /media/mmcblk0p1", p1, p1, p1,
                                  "cat /etc/mtab|egrep -i /media/mmcblk0p2",
                                  "mount /dev/mmcblk0p2 /media/mmcblk0p2 "));
}

TEST_F(HmpMachine, DisplayTellsOfTheCardAfterTheSelfTest) {
  std::vector<std::string> shown;
  data.SetLinks({.show = [&](int line, const char* text, int ms) {
    shown.push_back(std::to_string(line) + text + std::to_string(ms));
  }});
  data.CheckNetworkDrives();
  EXPECT_TRUE(shown.empty());
  data.postpass = 1;
  data.CheckNetworkDrives();
  EXPECT_THAT(shown, ElementsAre("2Checking SD500", "20"));
}

TEST_F(HmpMachine, SelfTestsAreFetchedFromLiveModules) {
  std::vector<std::string> shown;
  int asked = 0;
  int src_status = 4;
  data.SetLinks({.show = [&](int, const char* text, int) { shown.emplace_back(text); },
                 .is_alive = [&](int module) { return module == 1 || ++asked > 2; }});
  machine.answer = [&](const std::string& command) {
    if (command == "/home/root/measps") return 4;
    if (command == "/home/root/srcps") return src_status++;
    return 0;
  };
  WriteFile("/varek/diags/diag_src.txt", "");
  clock.SetAutoAdvance(true);
  const auto start = clock.Monotonic();
  EXPECT_EQ(data.CheckPOSTFiles(), 0);
  EXPECT_EQ(clock.Monotonic() - start, 3s);  // two for the source module, one for its result
  EXPECT_THAT(shown, ElementsAre("Check POST", "Src not Alive", "Src not Alive", "Got MeasD",
                                 "Waiting SrcD", "Got MeasD", "Got SrcD", "Download MeasD"));
  EXPECT_EQ(Take().back(),
            "ftpget 192.168.42.52 diag_meas.txt -u root;mv diag_meas.txt /varek/diags");
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
