// Which bad samples count.
#include "common/acquisition/sample_status.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/log/logger_mgr.h"
#include "tests/common/acquisition/acquisition_bench.h"

namespace {

using acquisition::CheckFaultAndOverRangeStatusBits;

// A channel's status: '.' good, F fault, O over range, B busy, S sync error, s fault with it.
int StatusOf(char letter) {
  switch (letter) {
    case 'F':
      return 0x80;
    case 'O':
      return 0x40;
    case 'B':
      return 0xC0;
    case 'S':
      return 0x20;
    case 's':
      return 0xA0;
    default:
      return 0;
  }
}

TEST(SampleStatus, OneBadSampleIsAGlitchTwoCount) {
  const struct {
    const char* first;
    const char* second;
    int result;
    const char* log;
  } cases[] = {
      {"......", "......", 0, ""},
      {"..F...", "......", 0, "A2D_STATUS_FAULT isolated glitch index=3"},
      {".....F", "O.....", 0, "AcqCh1 LogCount.L A2D_STATUS_FAULT count=1"},
      {"..FF..", "......", 1, "NAK_MCODE_FAULT_IN_SAMPLES consecutive count = 2"},
      {"......", ".FFFF.", 1, "AcqCh2 End.L end of A2D_STATUS_FAULT index=5  consecutive=4"},
      {"FF....", "......", 1, "second consecutive sample index=1"},
      {"....OO", "......", 2, "NAK_MCODE_CPLD_OVERINPUT non-glitch count = 2"},
      {"..FF..", "...OO.", 3, "AcqCh2 LogCount.L A2D_STATUS_OVER_RANGE count=2"},
      {"F.F.F.", ".F.F.F", 0, "A2D_STATUS_FAULT count=3"},
      {"FO.FO.", "OFOFOF", 0, "AcqCh2"},
      {"BBBBBB", "SSSSSS", 0, ""},
      {"FsFsFs", "..BF..", 0, ""},
      {".FBFF.", "......", 1, "consecutive count = 2"},
  };
  Logger::logger_mgr::SetModuleLevel(Logger::acquisitionL, Logger::kDebug);
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.first) + " " + c.second);
    acquisition_test::TestChannels channels;
    std::vector<int> words;
    for (int i = 0; c.first[i] != 0; ++i) {
      words.push_back(-0x12345600 | StatusOf(c.first[i]) | i);
      words.push_back(0x65432100 | StatusOf(c.second[i]));
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(CheckFaultAndOverRangeStatusBits(words.data(), static_cast<int>(words.size() / 2),
                                               channels),
              c.result);
    const bool asked = channels.channels[0].cpld_requests + channels.channels[1].cpld_requests > 0;
    EXPECT_EQ(asked, c.result != 0);
    std::string log = testing::internal::GetCapturedStderr();
    for (std::size_t at = 0; (at = log.find('.', at)) != std::string::npos; ++at) {
      const std::size_t end = log.find_first_not_of("0123456789", at + 1);
      if (end != at + 1 && log[end] == ' ') log.replace(at + 1, end - at - 1, "L");
    }
    EXPECT_NE(log.find(c.log), std::string::npos) << log;
  }
  Logger::logger_mgr::SetModuleLevel(Logger::acquisitionL, 0);
}

}  // namespace
