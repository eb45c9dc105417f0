// The daemon's configuration: good files, bad files, every key.
#include "mos/daemon_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <libconfig.h++>
#include <memory>
#include <sstream>

#include "common/log/logger_mgr.h"
#include "tests/platform/bare_machine.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class DaemonConfig : public testing::Test {
 protected:
  DaemonConfig() {
    char name[] = "/tmp/q5-config-XXXXXX";
    root = mkdtemp(name);
    fs::create_directories(root + "/varek/config");
    backend = std::make_unique<platform::LocalBackend>(machine, clock, root);
    in_place = std::make_unique<platform::ScopedBackend>(*backend);
  }
  ~DaemonConfig() override { fs::remove_all(root); }

  std::string File() const { return root + Mos::kConfigPath; }
  void Write(const std::string& text) { std::ofstream(File()) << text; }
  static std::string Group(const std::string& keys) { return "VarekConfig : { " + keys + " };\n"; }

  // The result of reading the file as it is; `told` is what went to standard output.
  int Init() {
    testing::internal::CaptureStdout();
    const int result = Mos::InitConfigFile(config, Mos::kConfigPath);
    told = testing::internal::GetCapturedStdout();
    return result;
  }

  // Sets everything from a group with these keys; `log` is what the log got, errors and notices.
  void Set(const std::string& keys) {
    data = std::make_unique<Msg::HMPData>(config, Msg::MEAS_MODULE);
    Write(Group(keys));
    ASSERT_EQ(Init(), 0) << keys << told;
    Logger::logger_mgr::SetModuleLevel(Logger::measurementL, Logger::kNotice);
    testing::internal::CaptureStderr();
    own = Mos::SetConfigParameters(config, *data);
    log = testing::internal::GetCapturedStderr();
  }

  platform::BareInstrument machine;
  platform::FakeClock clock;
  std::string root;
  std::unique_ptr<platform::LocalBackend> backend;
  std::unique_ptr<platform::ScopedBackend> in_place;
  libconfig::Config config;
  std::unique_ptr<Msg::HMPData> data;
  Mos::DaemonConfig own;
  std::string told;
  std::string log;
};

using Data = const Msg::HMPData&;
using Own = const Mos::DaemonConfig&;

const struct Key {
  const char* name;
  bool real;
  double (*value)(Data, Own);
  double fallback;
  double good;                       // another value that it may have
  std::vector<std::string> refused;  // written values that count as missing
} kKeys[] = {
    {"hvmeasurementscalefactor",
     true,
     [](Data d, Own) -> double { return d.GetHVScaleFactor(); },
     50,
     42.5,
     {"0.0", "-1.0", "1e39", "1e-60"}},
    {"vlfinterruptspersecond",
     false,
     [](Data d, Own) -> double { return d.GetVLFBlockReadyInterrupts(); },
     10,
     4,
     {"0", "-1"}},
    {"vlfthreshold",
     false,
     [](Data d, Own) -> double { return d.GetVLFThreshold(); },
     1,
     0,
     {"-1"}},
    {"normalinterruptspersecond",
     false,
     [](Data d, Own) -> double { return d.GetBlockReadyInterrupts(); },
     60,
     30,
     {"0", "-60"}},
    {"maxsamplelimit",
     false,
     [](Data d, Own) -> double { return d.max_sample_limit; },
     5,
     9,
     {"0"}},
    {"powersanityfaillimit",
     false,
     [](Data d, Own) -> double { return d.power_sanity_fail_limit; },
     5,
     9,
     {"0"}},
    {"progresstimeout",
     false,
     [](Data d, Own) -> double { return d.progresstimeout; },
     25,
     100,
     {}},
    {"dctesttimeout", false, [](Data d, Own) -> double { return d.dctesttimeout; }, 120, 60, {"0"}},
    {"currentfudgefactor",
     true,
     [](Data d, Own) -> double { return d.currentfudgefactor; },
     1,
     1.5,
     {"0.0", "-1.5"}},
    {"currentautorangelimit",
     false,
     [](Data d, Own) -> double { return d.currentautorangelimit; },
     11,
     7,
     {"0", "-2"}},
    {"multisamplerangingcount",
     false,
     [](Data d, Own) -> double { return d.GetMultiSampleRangingCount(); },
     1,
     3,
     {"0", "-2"}},
    {"voltagefudgefactor",
     true,
     [](Data d, Own) -> double { return d.voltagefudgefactor; },
     1,
     1.25,
     {"0.0"}},
    {"i2cswitch", false, [](Data d, Own) -> double { return d.GetI2CSwitchSetting(); }, 1, 0, {}},
    {"vlfvoltagemin",
     true,
     [](Data d, Own) -> double { return d._vlfvoltagemin; },
     10,
     2.5,
     {"0.0", "-1.0"}},
    {"dccurrentmin",
     true,
     [](Data d, Own) -> double { return d._dccurrentmin; },
     0.05F,
     0.25,
     {"0.0"}},
    {"acvoltagemin", true, [](Data d, Own) -> double { return d._acvoltagemin; }, 5, 2.5, {"0.0"}},
    {"hvacvoltagemin",
     true,
     [](Data d, Own) -> double { return d._hvacvoltagemin; },
     100,
     50,
     {"0.0"}},
    {"straycapacitance", false, [](Data, Own o) -> double { return o.straycapacitance; }, 0, 1, {}},
    {"mosmaxhvvoltage",
     false,
     [](Data, Own o) -> double { return o.maxhvvoltagemeasurement; },
     12500,
     2000,
     {"0", "-1"}},
    {"consumerbacklog",
     false,
     [](Data d, Own) -> double { return d.GetConsumerBacklog(); },
     4,
     8,
     {"0", "-1"}},
    {"meascalibration", false, [](Data, Own o) -> double { return o.meascalibration; }, 0, 1, {}},
    {"HVvoltageautorangelimit",
     false,
     [](Data d, Own) -> double { return d.hvvoltagerangelimit; },
     11,
     6,
     {}},
    {"DCvoltageautorangelimit",
     false,
     [](Data d, Own) -> double { return d.dcvoltagerangelimit; },
     11,
     5,
     {}},
    {"maxsamplerate",
     false,
     [](Data d, Own) -> double { return d.maxsamplingrate; },
     50000,
     40000,
     {}},
    {"minsamplerate",
     false,
     [](Data d, Own) -> double { return d.minsamplingrate; },
     25000,
     20000,
     {}},
    {"vlfresetcyclefraction",
     true,
     [](Data d, Own) -> double { return d.vlfresetcyclefraction; },
     0.05F,
     0.5,
     {}},
    {"vlfmeasrelaywarmtime",
     false,
     [](Data d, Own) -> double { return d.vlfmeasrelaywarmtime; },
     0,
     7,
     {}},
    {"enable_nak_on_sample_fault",
     false,
     [](Data d, Own) -> double { return d.enable_nak_on_sample_fault; },
     0,
     1,
     {}},
    {"enable_nak_on_sample_overrange",
     false,
     [](Data d, Own) -> double { return d.enable_nak_on_sample_overrange; },
     0,
     1,
     {}},
};

std::string Written(const Key& key, double value) {
  std::ostringstream text;
  text << key.name << " = " << (key.real ? std::showpoint : std::noshowpoint) << value << "; ";
  return text.str();
}

TEST_F(DaemonConfig, EveryKeyReachesItsPlace) {
  std::string all;
  for (const Key& key : kKeys) all += Written(key, key.good);
  Set(all);
  for (const Key& key : kKeys) EXPECT_EQ(key.value(*data, own), key.good) << key.name;
  EXPECT_THAT(log, testing::Not(HasSubstr("meas:3 ")));
  EXPECT_THAT(log, HasSubstr("hmp hv scalefactor 42.500000 normalinterruptrate 30 "
                             "vlfinterruptspersec 4 vlfthreshold 0\n"));
  EXPECT_THAT(log, HasSubstr("acvoltagemin 2.500000 hvvoltagemin 50.000000 dccurrentmin 0.250000 "
                             "vlfvoltagemin 2.500000 \n"));
  EXPECT_THAT(log, HasSubstr("maxsamplingrate  40000 minsamplingrate 20000 meas cal 1\n"));
  EXPECT_THAT(log, HasSubstr("NAK on Sample OverRange : Enabled \n"));
}

TEST_F(DaemonConfig, AMissingKeyHasItsDefault) {
  Set("");
  for (const Key& key : kKeys) EXPECT_EQ(key.value(*data, own), key.fallback) << key.name;
  EXPECT_THAT(log, HasSubstr("assuming default powersanity 5 \n"));
  EXPECT_THAT(log, HasSubstr("assuming default maxsample 5 \n"));
  for (const char* line :
       {"VarekConfig.hvmeasurementscalefactor is missing or out of its limits, using 50\n",
        "VarekConfig.vlfinterruptspersecond is missing or out of its limits, using 10\n",
        "VarekConfig.vlfthreshold is missing or out of its limits, using 1\n",
        "VarekConfig.normalinterruptspersecond is missing or out of its limits, using 60\n",
        "VarekConfig.currentfudgefactor is missing or out of its limits, using 1\n",
        "VarekConfig.voltagefudgefactor is missing or out of its limits, using 1\n"}) {
    EXPECT_THAT(log, HasSubstr(line));
  }
}

TEST_F(DaemonConfig, AKeyOfTheWrongTypeOrOutOfItsLimitsCountsAsMissing) {
  for (const Key& key : kKeys) {
    SCOPED_TRACE(key.name);
    std::vector<std::string> wrong_type = {"\"7\"", "true", "[7, 8]", "{ a = 1; }",
                                           key.real ? "7" : "7.0"};
    if (!key.real) wrong_type.emplace_back("99999999999L");
    for (const std::string& value : wrong_type) {
      Set(std::string(key.name) + " = " + value + ";");
      EXPECT_EQ(key.value(*data, own), key.fallback) << value;
      EXPECT_THAT(log, HasSubstr(std::string(key.name) + " is no ")) << value;
    }
    for (const std::string& value : key.refused) {
      Set(std::string(key.name) + " = " + value + ";");
      EXPECT_EQ(key.value(*data, own), key.fallback) << value;
    }
  }
}

TEST_F(DaemonConfig, ProgressTimeoutIsHeldBetweenItsEnds) {
  for (const auto& [written, value] :
       {std::pair{"5", 10}, {"-1", 10}, {"10", 10}, {"12000", 12000}, {"20000", 12000}}) {
    Set(std::string("progresstimeout = ") + written + ";");
    EXPECT_EQ(data->progresstimeout, value) << written;
  }
}

TEST_F(DaemonConfig, ABadFileIsToldAndCountsAsEmpty) {
  const std::string whole = Group("maxsamplelimit = 9;");
  const struct {
    const char* what;
    std::string text;
    const char* told;
  } cases[] = {
      {"cut off", whole.substr(0, whole.size() - 6), " at line "},
      {"cut off behind a key", "VarekConfig : {\n maxsamplelimit = 9;\n", " at line 3 - "},
      {"garbage", "\xff\xfe\x01 no configuration", " at line 1 - "},
      {"a key twice", Group("maxsamplelimit = 9; maxsamplelimit = 8;"), " at line 1 - "},
      {"a group that is a number", "VarekConfig = 5", nullptr},
      {"empty", "", nullptr},
      {"a comment", "# nothing\n", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Set("maxsamplelimit = 9;");
    Write(c.text);
    EXPECT_EQ(Init(), c.told == nullptr ? 0 : -1);
    if (c.told != nullptr) {
      EXPECT_THAT(told, testing::StartsWith("Parse Exception file /varek/config/varekconfig.cfg"));
      EXPECT_THAT(told, HasSubstr(c.told));
    } else {
      EXPECT_EQ(told, "");
    }
    own = Mos::SetConfigParameters(config, *data);
    EXPECT_EQ(data->max_sample_limit, 5);
  }
}

TEST_F(DaemonConfig, AFileThatCannotBeReadIsTold) {
  const std::string line = "File I/O error while reading /varek/config/varekconfig.cfg\n";
  EXPECT_EQ(Init(), -1);  // there is none
  EXPECT_EQ(told, line);
  fs::create_directory(File());
  EXPECT_EQ(Init(), -1);
  EXPECT_EQ(told, line);
  fs::remove(File());
  ASSERT_EQ(::mkfifo(File().c_str(), 0600), 0);
  EXPECT_EQ(Init(), -1);
  EXPECT_EQ(told, line);
  fs::remove(File());
  Write(Group(""));
  ::chmod(File().c_str(), 0);
  if (::access(File().c_str(), R_OK) == 0) GTEST_SKIP() << "the super-user reads everything";
  EXPECT_EQ(Init(), -1);
  EXPECT_EQ(told, line);
}

TEST_F(DaemonConfig, LongLinesAreReadOrRefusedAtOnce) {
  for (const auto& [bytes, result] : {std::pair{10'000, 0}, {10'000'000, -1}}) {
    const std::string blank(static_cast<std::size_t>(bytes), ' ');
    Write("VarekConfig : {" + blank + "maxsamplelimit = 9; text = \"" + blank + "\"; };");
    EXPECT_EQ(Init(), result);
    int value = 0;
    EXPECT_EQ(config.lookupValue("VarekConfig.maxsamplelimit", value), result == 0);
  }
  EXPECT_THAT(told, testing::StartsWith("File I/O error while reading "));
  Write("VarekConfig : {" + std::string(100'000, '{'));
  EXPECT_EQ(Init(), -1);
}

TEST_F(DaemonConfig, TheShippedFileHasEveryKey) {
  std::ifstream sample(SAMPLE_CONFIG);
  std::stringstream text;
  text << sample.rdbuf();
  Write(text.str());
  ASSERT_EQ(Init(), 0) << told;
  for (const Key& key : kKeys) {
    EXPECT_TRUE(config.exists(std::string("VarekConfig.") + key.name)) << key.name;
  }
  data = std::make_unique<Msg::HMPData>(config, Msg::MEAS_MODULE);
  own = Mos::SetConfigParameters(config, *data);
  for (const Key& key : kKeys) {
    // the virtual instrument's calibration is in use, unlike that of a daemon without a file
    const double expected = std::string_view(key.name) == "meascalibration" ? 1 : key.fallback;
    EXPECT_EQ(key.value(*data, own), expected) << key.name;
  }
}

}  // namespace
