// The daemon's configuration: good files, bad files, keys of each kind.
#include "mos/daemon_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

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

using Place = double (*)(const Msg::HMPData&, const Mos::DaemonConfig&);

// Keys of each kind: real and whole, in the shared state and in the daemon's own, with each limit.
const struct Key {
  const char* name;
  bool real;
  double fallback, good;
  const char* refused;  // a written value that counts as missing
  Place place;
} kKeys[] = {
    {"hvmeasurementscalefactor", true, 50, 42.5, "1e39",
     [](auto& d, auto&) -> double { return d.hvscalefactor; }},
    {"voltagefudgefactor", true, 1, 1.5, "1e-60",
     [](auto& d, auto&) -> double { return d.voltagefudgefactor; }},
    {"vlfthreshold", false, 1, 0, "-1", [](auto& d, auto&) -> double { return d.vlfthreshold; }},
    {"maxsamplelimit", false, 5, 9, "0",
     [](auto& d, auto&) -> double { return d.max_sample_limit; }},
    {"dccurrentmin", true, 0.05F, 0.25, "0.0",
     [](auto& d, auto&) -> double { return d._dccurrentmin; }},
    {"hvacvoltagemin", true, 100, 50, "-1.0",
     [](auto& d, auto&) -> double { return d._hvacvoltagemin; }},
    {"mosmaxhvvoltage", false, 12500, 2000, "-1",
     [](auto&, auto& o) -> double { return o.maxhvvoltagemeasurement; }},
    {"meascalibration", false, 0, 1, nullptr,
     [](auto&, auto& o) -> double { return o.meascalibration; }},
    {"maxsamplerate", false, 50000, 40000, nullptr,
     [](auto& d, auto&) -> double { return d.maxsamplingrate; }},
    {"minsamplerate", false, 25000, 20000, nullptr,
     [](auto& d, auto&) -> double { return d.minsamplingrate; }},
};

std::string Written(const Key& key, double value) {
  std::ostringstream text;
  text << key.name << " = " << (key.real ? std::showpoint : std::noshowpoint) << value << "; ";
  return text.str();
}

TEST_F(DaemonConfig, AKeyReachesItsFieldOrHasItsDefault) {
  std::string all;
  for (const Key& key : kKeys) all += Written(key, key.good);
  Set(all);
  for (const Key& key : kKeys) EXPECT_EQ(key.place(*data, own), key.good) << key.name;
  Set("");
  for (const Key& key : kKeys) EXPECT_EQ(key.place(*data, own), key.fallback) << key.name;
  EXPECT_THAT(log, HasSubstr("assuming default maxsample 5 \n"));
  EXPECT_THAT(log, HasSubstr("VarekConfig.hvmeasurementscalefactor is missing or out of its "
                             "limits, using 50\n"));
}

TEST_F(DaemonConfig, AKeyOfTheWrongTypeOrOutOfItsLimitsCountsAsMissing) {
  for (const Key& key : kKeys) {
    SCOPED_TRACE(key.name);
    std::vector<std::string> wrong_type = {"\"7\"", "true", "[7, 8]", "{ a = 1; }",
                                           key.real ? "7" : "7.0"};
    if (!key.real) wrong_type.emplace_back("99999999999L");
    for (const std::string& value : wrong_type) {
      Set(std::string(key.name) + " = " + value + ";");
      EXPECT_EQ(key.place(*data, own), key.fallback) << value;
      EXPECT_THAT(log, HasSubstr(std::string(key.name) + " is no ")) << value;
    }
    if (key.refused == nullptr) continue;
    Set(std::string(key.name) + " = " + key.refused + ";");
    EXPECT_EQ(key.place(*data, own), key.fallback) << key.refused;
  }
}

TEST_F(DaemonConfig, ProgressTimeoutIsHeldBetweenItsLimits) {
  for (const auto& [written, value] :
       {std::pair{"5", 10}, {"-1", 10}, {"10", 10}, {"12000", 12000}, {"20000", 12000}}) {
    Set(std::string("progresstimeout = ") + written + ";");
    EXPECT_EQ(data->progresstimeout, value) << written;
  }
}

TEST_F(DaemonConfig, ABadFileIsReportedAndCountsAsEmpty) {
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

TEST_F(DaemonConfig, AFileThatCannotBeReadIsReported) {
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

TEST_F(DaemonConfig, TheShippedFileIsAccepted) {
  fs::copy_file(SAMPLE_CONFIG, File());
  ASSERT_EQ(Init(), 0) << told;
  data = std::make_unique<Msg::HMPData>(config, Msg::MEAS_MODULE);
  own = Mos::SetConfigParameters(config, *data);
  for (const Key& key : kKeys) {
    // the virtual instrument's calibration is in use, unlike that of a daemon without a file
    const double expected = std::string_view(key.name) == "meascalibration" ? 1 : key.fallback;
    EXPECT_EQ(key.place(*data, own), expected) << key.name;
  }
}

}  // namespace
