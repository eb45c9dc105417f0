// What q5sim is set up from: its configuration, its root and its addresses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "simulator/addresses.h"
#include "simulator/config.h"
#include "simulator/listeners.h"
#include "simulator/root_dir.h"
#include "tests/platform/test_instrument.h"

namespace simulator {
namespace {

using testing::HasSubstr;

std::string ReadText(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(RootDir, KeepsTheInstrumentsFiles) {
  platform::TemporaryRoot directory;
  const std::string path = directory.Path() + "/new/root";
  Config config;
  {
    RootDir root;
    ASSERT_EQ(root.Claim(path), "");
    ASSERT_EQ(root.WriteFiles(config), "");
    EXPECT_EQ(ReadText(path + "/etc/varek-fw-version"), "varek_fw_version=1.0.0-q5sim\n");
    EXPECT_TRUE(std::filesystem::is_directory(path + "/media/mmcblk0p3/logs/naklogs"));
    RootDir second;
    EXPECT_THAT(second.Claim(path), HasSubstr("already served by the q5sim with process id " +
                                              std::to_string(::getpid())));
    EXPECT_EQ(root.EarlierAddresses(), config.addresses);
  }
  std::ofstream(path + "/etc/varek-fw-version") << "varek_fw_version=2\n";
  config.addresses = SubnetAddresses(9);
  RootDir root;  // the first one's lock has gone with it
  ASSERT_EQ(root.Claim(path), "");
  ASSERT_EQ(root.WriteFiles(config), "");
  EXPECT_EQ(ReadText(path + "/etc/varek-fw-version"), "varek_fw_version=2\n");
  EXPECT_EQ(ReadText(path + "/etc/hosts"), "127.0.9.51 main\n127.0.9.52 meas\n127.0.9.53 source\n");
}

TEST(RootDir, RefusesUnusableRoots) {
  platform::TemporaryRoot directory;
  std::ofstream(directory.Path() + "/file") << "x";
  RootDir root;
  EXPECT_THAT(root.Claim("/"), HasSubstr("this machine's own root"));
  EXPECT_THAT(root.Claim(directory.Path() + "/.."), testing::Not(HasSubstr("own root")));
  EXPECT_THAT(root.Claim(directory.Path() + "/file"), HasSubstr("file"));
  EXPECT_THAT(root.Claim(directory.Path() + "/" + std::string(100, 'l')), HasSubstr("too long"));
}

TEST(Addresses, AutoSkipsBusySubnets) {
  Config first;
  Config second;
  platform::UniqueFd first_listener;
  platform::UniqueFd second_listener;
  ASSERT_EQ(ClaimAddresses("auto", {}, first, first_listener), "");
  ASSERT_EQ(ClaimAddresses("auto", {}, second, second_listener), "");
  EXPECT_NE(first.addresses, second.addresses);

  // A mos that still runs holds its port: its instrument comes back to it, another one does not.
  platform::UniqueFd mos;
  ASSERT_EQ(ListenTcp(first.Address(Module::kMeas), kBusPort, mos), 0);
  first_listener.Reset();
  Config again;
  ASSERT_EQ(ClaimAddresses("auto", first.addresses, again, first_listener), "");
  EXPECT_EQ(again.addresses, first.addresses);
}

TEST(Addresses, BusyOrBadChoicesAreReported) {
  Config config;
  platform::UniqueFd listener;
  platform::UniqueFd other;
  ASSERT_EQ(ClaimAddresses("auto", {}, config, listener), "");
  Config same = config;
  EXPECT_THAT(ClaimAddresses("", {}, same, other),
              HasSubstr(config.Address(Module::kMain) + " port 3087: Address already in use"));
  for (const char* choice : {"127.0.256", "10.0.1", "AUTO"}) {
    EXPECT_THAT(ClaimAddresses(choice, {}, same, other), HasSubstr("expected 127.0.N")) << choice;
  }
}

}  // namespace
}  // namespace simulator
