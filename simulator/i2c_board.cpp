#include "simulator/i2c_board.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>

#include "simulator/calibration/board_images.h"
#include "simulator/i2c/ad7998.h"
#include "simulator/i2c/dac8571.h"
#include "simulator/i2c/eeprom.h"
#include "simulator/i2c/si5338.h"
#include "simulator/i2c/small_chips.h"
#include "simulator/i2c/spi_bridge.h"
#include "simulator/i2c/temperature.h"
#include "simulator/i2c/tmp112.h"
#include "simulator/sample_files.h"

namespace simulator {
namespace {

enum class Kind {
  kEeprom,
  kMux,
  kTmp112,
  kTps659112,
  kPca9536,
  kAd7998,
  kDac8571,
  kBridge,
  kDs75,
  kSi5338,
};

constexpr const char* kChipNames[] = {"EE24LC32", "PCA9544A", "TMP112",     "TPS659112", "PCA9536",
                                      "AD7998",   "DAC8571",  "SC18IS602B", "DS75",      "SI5338"};

/// The segment of a bus that a chip hangs on.
enum class Branch { kRoot, kChannel1, kChannel2 };

/// Which instruments have the row.
enum class When {
  kAlways,
  kSignalModule,    ///< measurement and source module
  kRevisionAbove2,  ///< of these, by board revision
  kRevisionUpTo2,
  kCpld0985,  ///< of these, by the generation of the branch's channel board
  kCpld1093,
};

constexpr unsigned kLastOldRevision = 2;
constexpr int kChannel1Branch = 2;
constexpr int kChannel2Branch = 3;

}  // namespace

/// The one table of the chips: where each is.
struct I2cBoard::Row {
  When when;
  const char* assembly;
  Kind kind;
  int number;  ///< among its like on the assembly; 0: the only one
  std::size_t bus;
  Branch branch;
  std::uint8_t address;
};

constexpr I2cBoard::Row I2cBoard::kRows[] = {
    {When::kAlways, "CORE", Kind::kEeprom, 0, 1, Branch::kRoot, 0x50},
    {When::kAlways, "CORE", Kind::kTps659112, 0, 1, Branch::kRoot, 0x2D},
    {When::kAlways, "CORE", Kind::kTmp112, 1, 1, Branch::kRoot, 0x48},
    {When::kAlways, "CORE", Kind::kTmp112, 2, 1, Branch::kRoot, 0x49},
    {When::kAlways, "CORE", Kind::kTmp112, 3, 1, Branch::kRoot, 0x4A},
    {When::kAlways, "CORE", Kind::kTmp112, 4, 1, Branch::kRoot, 0x4B},
    {When::kSignalModule, "SIGNAL_HOST", Kind::kSi5338, 0, 1, Branch::kRoot, 0x70},
    {When::kRevisionAbove2, "SIGNAL_HOST", Kind::kMux, 0, 2, Branch::kRoot, 0x68},
    {When::kRevisionUpTo2, "SIGNAL_HOST", Kind::kMux, 0, 2, Branch::kRoot, 0x74},
    {When::kSignalModule, "SIGNAL_HOST", Kind::kEeprom, 0, 2, Branch::kRoot, 0x50},
    {When::kSignalModule, "SIGNAL_HOST", Kind::kPca9536, 0, 2, Branch::kRoot, 0x41},
    {When::kSignalModule, "MEAS_CH1", Kind::kEeprom, 0, 2, Branch::kChannel1, 0x52},
    {When::kSignalModule, "MEAS_CH1", Kind::kAd7998, 0, 2, Branch::kChannel1, 0x23},
    {When::kSignalModule, "MEAS_CH1", Kind::kDac8571, 0, 2, Branch::kChannel1, 0x4C},
    {When::kSignalModule, "MEAS_CH1", Kind::kBridge, 0, 2, Branch::kChannel1, 0x28},
    {When::kCpld0985, "MEAS_CH1", Kind::kDs75, 0, 2, Branch::kChannel1, 0x48},
    {When::kCpld1093, "MEAS_CH1", Kind::kDs75, 0, 2, Branch::kChannel1, 0x4A},
    {When::kSignalModule, "MEAS_CH2", Kind::kEeprom, 0, 2, Branch::kChannel2, 0x53},
    {When::kSignalModule, "MEAS_CH2", Kind::kAd7998, 0, 2, Branch::kChannel2, 0x24},
    {When::kSignalModule, "MEAS_CH2", Kind::kDac8571, 0, 2, Branch::kChannel2, 0x4E},
    {When::kSignalModule, "MEAS_CH2", Kind::kBridge, 0, 2, Branch::kChannel2, 0x29},
    {When::kCpld0985, "MEAS_CH2", Kind::kDs75, 0, 2, Branch::kChannel2, 0x49},
    {When::kCpld1093, "MEAS_CH2", Kind::kDs75, 0, 2, Branch::kChannel2, 0x4B},
};

namespace {

constexpr int kNoChannel = -1;

/// What an assembly's EEPROM, and on a channel board its hardware, is made from.
struct AssemblyInfo {
  const char* assembly;
  Eeprom eeprom;
  int channel;         ///< 0, 1 or kNoChannel
  const char* source;  ///< shipped, may be overridden for a channel board
  const char* layout;  ///< the template
};

constexpr AssemblyInfo kAssemblies[] = {
    {"CORE", Eeprom::kCore, kNoChannel, "core.json", "/varek/config/1s_core_t.xml"},
    {"SIGNAL_HOST", Eeprom::kSignalHost, kNoChannel, "signal_host.json",
     "/varek/config/2s_sig_t.xml"},
    {"MEAS_CH1", Eeprom::kMeas1, 0, "meas1.json", "/varek/config/3s_meas1_t.xml"},
    {"MEAS_CH2", Eeprom::kMeas2, 1, "meas2.json", "/varek/config/4s_meas2_t.xml"},
};

const AssemblyInfo& FindAssembly(std::string_view name) {
  return *std::ranges::find_if(kAssemblies,
                               [&](const AssemblyInfo& info) { return name == info.assembly; });
}

std::string ChipName(const char* assembly, Kind kind, int number) {
  std::string name =
      std::string("i2c.") + assembly + "." + kChipNames[static_cast<std::size_t>(kind)];
  if (number != 0) name += "." + std::to_string(number);
  return name;
}

/// A channel's true hardware: as shipped, or from the file that the configuration names.
std::string ReadHardware(const std::string& path, const char* shipped, ChannelHardware& hardware) {
  if (path.empty()) return ParseChannelHardware(ShippedSource(shipped), hardware);
  std::ifstream file(path);
  if (!file) return path + ": cannot be read";
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const std::string problem = ParseChannelHardware(text, hardware);
  return problem.empty() ? "" : path + ": " + problem;
}

}  // namespace

I2cBoard::I2cBoard(const Config& config, platform::Clock& clock, Units& units) : config_(config) {
  if (config_.module != Module::kMain) MakeChannels(clock, units);
  const Surroundings around{clock, units, config_.seed};
  for (const Row& row : kRows) {
    if (IsFitted(row)) Place(row, around);
  }
  units.AddValue("i2c.chips", [this] { return List(); });
}

void I2cBoard::MakeChannels(platform::Clock& clock, Units& units) {
  for (const AssemblyInfo& info : kAssemblies) {
    if (info.channel == kNoChannel) continue;
    const auto channel = static_cast<std::size_t>(info.channel);
    ChannelHardware hardware;
    const std::string problem = ReadHardware(config_.calibration[channel], info.source, hardware);
    if (!problem.empty()) problem_ = problem;
    const CpldKind& cpld = config_.cpld[channel];
    channels_[channel] = std::make_unique<MeasChannelBoard>(
        ChipName(info.assembly, Kind::kBridge, 0), MeasChannelBoard::Kind{cpld.id, cpld.revision},
        std::move(hardware), clock, units);
  }
}

bool I2cBoard::IsFitted(const Row& row) const {
  const bool signal_module = config_.module != Module::kMain;
  const bool new_board = config_.board_revision > kLastOldRevision;
  switch (row.when) {
    case When::kAlways:
      return true;
    case When::kSignalModule:
      return signal_module;
    case When::kRevisionAbove2:
      return signal_module && new_board;
    case When::kRevisionUpTo2:
      return signal_module && !new_board;
    case When::kCpld0985:
    case When::kCpld1093:
      break;
  }
  const CpldId wanted = row.when == When::kCpld0985 ? CpldId::k0985 : CpldId::k1093;
  return signal_module && config_.cpld[row.branch == Branch::kChannel1 ? 0 : 1].id == wanted;
}

void I2cBoard::Place(const Row& row, const Surroundings& around) {
  std::string name = ChipName(row.assembly, row.kind, row.number);
  std::unique_ptr<I2cChip> chip =
      row.kind == Kind::kEeprom ? MakeEeprom(row, std::move(name), around)
      : row.kind == Kind::kMux  ? MakeMux(row, std::move(name), around)
                                : MakeOther(row, std::move(name), around);
  int segment = I2cBus::kRoot;
  if (row.branch == Branch::kChannel1) segment = kChannel1Branch;
  if (row.branch == Branch::kChannel2) {
    segment = config_.i2c_switch ? kChannel2Branch : kChannel1Branch;
  }
  if (!buses_[row.bus - 1].Add({segment, row.address, chip.get()})) {
    problem_ = "two chips at the place of " + chip->Name();
  }
  chips_.push_back(std::move(chip));
}

std::unique_ptr<I2cChip> I2cBoard::MakeMux(const Row& row, std::string name,
                                           const Surroundings& around) {
  const auto select =
      row.when == When::kRevisionAbove2 ? Pca9544a::Select::kOneHot : Pca9544a::Select::kNumber;
  auto mux = std::make_unique<Pca9544a>(std::move(name), around, select);
  buses_[row.bus - 1].SetMux(*mux);
  return mux;
}

std::unique_ptr<I2cChip> I2cBoard::MakeEeprom(const Row& row, std::string name,
                                              const Surroundings& around) {
  const AssemblyInfo& info = FindAssembly(row.assembly);
  EepromDocument document;
  std::string problem = document.Parse(ShippedFile(info.layout));
  if (problem.empty() && info.channel != kNoChannel) {
    const auto& board = *channels_[static_cast<std::size_t>(info.channel)];
    problem = FillCalibration(board.Hardware(), document);
  } else if (problem.empty()) {
    BoardFields fields;
    problem = ParseBoardFields(ShippedSource(info.source), fields);
    if (problem.empty()) problem = FillFields(fields, document);
  }
  std::vector<std::uint8_t> image;
  if (problem.empty()) {
    problem = MakeImage(config_.eeprom[static_cast<std::size_t>(info.eeprom)], document, image);
  }
  if (!problem.empty()) {
    image.clear();
    if (problem_.empty()) problem_ = "EEPROM of " + std::string(row.assembly) + ": " + problem;
  }
  return std::make_unique<Ee24lc32>(std::move(name), around, std::move(image));
}

std::unique_ptr<I2cChip> I2cBoard::MakeClockChip(std::string name, const Surroundings& around) {
  auto chip = std::make_unique<Si5338>(std::move(name), around);
  clock_chip_ = chip.get();
  return chip;
}

std::unique_ptr<I2cChip> I2cBoard::MakeOther(const Row& row, std::string name,
                                             const Surroundings& around) {
  MeasChannelBoard* board = channels_[row.branch == Branch::kChannel2 ? 1 : 0].get();
  switch (row.kind) {
    case Kind::kTmp112:
      return std::make_unique<Tmp112>(std::move(name), around);
    case Kind::kDs75:
      return std::make_unique<Ds75>(std::move(name), around);
    case Kind::kTps659112:
      return std::make_unique<Tps659112>(std::move(name), around);
    case Kind::kPca9536:
      return std::make_unique<Pca9536>(std::move(name), around);
    case Kind::kAd7998:
      return std::make_unique<Ad7998>(std::move(name), around, *board);
    case Kind::kDac8571:
      return std::make_unique<Dac8571>(std::move(name), around, *board);
    case Kind::kBridge:
      return std::make_unique<Sc18is602b>(std::move(name), around, board->Cpld());
    case Kind::kSi5338:
      return MakeClockChip(std::move(name), around);
    case Kind::kEeprom:
    case Kind::kMux:
      break;
  }
  assert(false);
  return nullptr;
}

std::string I2cBoard::List() const {
  std::string text;
  for (std::size_t bus = 0; bus < kBuses; ++bus) {
    for (const I2cBus::Place& place : buses_[bus].Places()) {
      char where[32];
      std::snprintf(where, sizeof where, "%zu%s%s 0x%02X", bus + 1,
                    place.channel == I2cBus::kRoot ? "" : ".",
                    place.channel == I2cBus::kRoot ? "" : std::to_string(place.channel).c_str(),
                    static_cast<unsigned>(place.address));
      text += (text.empty() ? "" : "; ") + place.chip->Name() + " at " + where + ": " +
              place.chip->Transfers() + ": " + place.chip->Last();
    }
  }
  return text;
}

}  // namespace simulator
