// A module with its files, its chips and a calibration group.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "common/msg/records/module_id.h"
#include "common/xml/eeprom_group.h"
#include "tests/common/xml/board_files.h"
#include "tests/platform/bare_machine.h"

namespace xml_bench {

class GroupTest : public testing::Test {
 protected:
  explicit GroupTest(int id = Msg::MEAS_MODULE) : module(id), errors(id) {
    for (const char* directory : {"varek/config", "varek/diags", "home/root", "etc"}) {
      std::filesystem::create_directories(machine.root / directory);
    }
    machine.clock.SetAutoAdvance(true);
  }

  void Write(const std::string& path, const std::string& text) {
    std::ofstream(machine.root.Path() + path) << text;
  }
  std::string Content(const std::string& path) {
    std::ifstream file(machine.root.Path() + path);
    return (std::ostringstream() << file.rdbuf()).str();
  }
  bool Exists(const std::string& path) {
    return std::filesystem::exists(machine.root.Path() + path);
  }
  long Seconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(machine.clock.Monotonic() -
                                                            platform::FakeClock::kStart)
        .count();
  }
  void WriteChannels() {
    for (const char* path : {"/varek/config/3s_meas1_f.xml", "/varek/config/4s_meas2_f.xml"}) {
      Write(path, channel);
    }
  }
  void WriteUploads() {
    Write("/home/root/5m_back_f.xml", backplane);
    Write("/home/root/11m_mainref_f.xml", mainref);
  }
  /// Codes of the words in the list, from the first behind the module's.
  std::vector<int> Words() {
    const auto list = errors.CopyErrorCodes();
    std::vector<int> words;
    Msg::ForEachErrorWord(
        std::span(list.words).first(static_cast<std::size_t>(std::max(list.errorindex, 0))),
        [&](const Msg::ErrorWord& word) { words.push_back(word.code); });
    return words;
  }

  const int module;
  platform::MachineInPlace<platform::RecordingShell> machine;
  Msg::Errorcodes errors;
  MemoryChips chips{{{{1, Dev::EepromKind::Other}, {}},
                     {{2, Dev::EepromKind::Other}, {}},
                     {{3, Dev::EepromKind::MeasCh1}, {}},
                     {{4, Dev::EepromKind::MeasCh2}, {}}}};
  int err = 0;
  const std::string channel = XmlOf(RowBoard(ChannelRows()), true);
  const std::string mainref = XmlOf(RowBoard(MainrefRows(), 2, "19/05/2015"), true);
  const std::string backplane = XmlOf(Backplane(4, 2), true);
};

}  // namespace xml_bench
