// Both passes over the four chips of the measurement module, beside what cannot be left out of
// them: a plain inflate of the same records, and the same files through a parser that throws
// everything away (a process of its own each, start-up included). Medians of 31 runs.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "common/msg/records/module_id.h"
#include "common/xml/eeprom_group.h"
#include "tests/common/xml/board_files.h"
#include "tests/platform/bare_machine.h"

namespace {

using namespace xml_bench;

constexpr int kRuns = 31;

// As many rows as a channel board has: 22 of the modes and 14 filters.
std::vector<Row> ShippedRows() {
  const struct {
    const char* tag;
    int count;
  } tags[] = {{"range_mode_acdc_i", 8},
              {"range_mode_acdc_v", 6},
              {"range_mode_dc_v", 4},
              {"range_mode_dcir", 4},
              {"range_filter", 14}};
  std::vector<Row> rows;
  for (const auto& tag : tags) {
    for (int i = 0; i < tag.count; ++i) {
      const auto step = static_cast<float>(rows.size() + 1);
      rows.push_back({static_cast<unsigned>(rows.size()), tag.tag, Ramp(1.3e-6F * step, 2),
                      Ramp(0.97F * step, 8)});
    }
  }
  return rows;
}

double MedianMs(const std::function<bool()>& work) {
  std::vector<double> times;
  for (int i = 0; i < kRuns; ++i) {
    const auto start = std::chrono::steady_clock::now();
    if (!work()) {
      std::fprintf(stderr, "a run failed\n");
      std::exit(1);
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    times.push_back(took.count());
  }
  std::ranges::nth_element(times, times.begin() + kRuns / 2);
  return times[kRuns / 2];
}

bool Inflate(const Bytes& record, std::string& text) {
  uLongf size = text.size();
  return uncompress(reinterpret_cast<Bytef*>(text.data()), &size, record.data() + 11,
                    record.size() - 11) == Z_OK;
}

struct Bench {
  explicit Bench(bool raw) {
    for (const char* directory : {"varek/config", "varek/diags", "home/root"}) {
      std::filesystem::create_directories(machine.root / directory);
    }
    const auto channel = RowBoard(ShippedRows());
    const std::string small = XmlOf(RowBoard(MainrefRows()), true);
    texts = {small, small, XmlOf(channel, true), XmlOf(channel, true)};
    for (std::size_t i = 0; i < texts.size(); ++i) {
      chips.chips[i].content = raw && i >= 2 ? ImageOf(channel) : Packed(texts[i]);
    }
    for (const char* name : {"3s_meas1_t.xml", "4s_meas2_t.xml"}) {
      std::ofstream(machine.root / ("varek/config/" + std::string(name))) << XmlOf(channel, false);
    }
    std::ofstream(machine.root / "home/root/5m_back_f.xml") << XmlOf(Backplane(4, 8), true);
    std::ofstream(machine.root / "home/root/11m_mainref_f.xml") << small;
  }

  bool BothPasses() {
    Dev::EepromGroup group(Msg::MEAS_MODULE, chips, errors);
    int err = 0;
    return group.WriteEepromToXml(nullptr) == 0 && group.ReadEeDataFromXml(err) == 0;
  }

  platform::MachineInPlace<> machine;
  Msg::Errorcodes errors{Msg::MEAS_MODULE};
  MemoryChips chips{{{{1, Dev::EepromKind::Other}, {}},
                     {{2, Dev::EepromKind::Other}, {}},
                     {{3, Dev::EepromKind::MeasCh1}, {}},
                     {{4, Dev::EepromKind::MeasCh2}, {}}}};
  std::vector<std::string> texts;
};

}  // namespace

int main() {
  {
    Bench raw(true);
    std::printf("%-44s %8.3f ms\n", "both passes, channel boards as raw images",
                MedianMs([&] { return raw.BothPasses(); }));
  }
  Bench bench(false);
  std::printf("%-44s %8.3f ms\n", "both passes, four compressed records",
              MedianMs([&] { return bench.BothPasses(); }));
  std::printf("%-44s %8.3f ms\n", "plain inflate of the four records", MedianMs([&] {
                bool good = true;
                for (std::size_t i = 0; i < bench.texts.size(); ++i) {
                  std::string text(bench.texts[i].size(), ' ');
                  good = Inflate(bench.chips.chips[i].content, text) && good;
                }
                return good;
              }));
  const std::string lint = "xmllint --noout " + bench.machine.root.Path() +
                           "/varek/config/*_f.xml " + bench.machine.root.Path() +
                           "/home/root/*.xml 2>/dev/null";
  if (std::system("command -v xmllint >/dev/null") != 0) {
    std::printf("xmllint is not installed\n");
    return 0;
  }
  std::printf("%-44s %8.3f ms\n", "xmllint --noout on the same files",
              MedianMs([&] { return std::system(lint.c_str()) == 0; }));
  return 0;
}
