// The event log: events that it does not know, and the lines of odd data.
#include "common/log/eventlog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "common/log/logger_mgr.h"
#include "tests/platform/bare_machine.h"

namespace {

using namespace Logger;
using testing::EndsWith;
using testing::HasSubstr;

class EventLogTest : public testing::Test {
 protected:
  EventLogTest() {
    for (int module : {eventlogL, histogramL}) logger_mgr::SetModuleLevel(module, 7);
    log->SetSampleCounters("4711", "17", 1, 1);
  }

  // What an action writes to the log, without the time stamp and module of each line.
  std::string Written(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    action();
    std::string text = testing::internal::GetCapturedStderr(), bare;
    for (size_t start = 0; start < text.size();) {
      const size_t end = std::min(text.find('\n', start), text.size());
      std::string line = text.substr(start, end - start);
      const size_t module = line.find(":7 ");
      bare += (module == std::string::npos ? line : line.substr(module + 3)) + "\n";
      start = end + 1;
    }
    return bare;
  }
  std::string LineOf(eventtypes_t event, const void* data) {
    return Written([&] { EXPECT_EQ(log->CaptureEvent(7, event, data), 0); });
  }

  platform::MachineInPlace<> machine;
  eventlog* log = eventlog::GetEventLog("moseventlog");
};

TEST_F(EventLogTest, UnknownNumbersAreRefused) {
  for (int number : {-1, 221, 1000}) {
    EXPECT_EQ(log->GetString(static_cast<eventtypes_t>(number)), nullptr);
    EXPECT_EQ(log->CaptureEvent(7, static_cast<eventtypes_t>(number)), -1);
  }
}

TEST_F(EventLogTest, EveryFormHasItsLine) {
  const evseqdataI_t words{3, {1, 0xABCDE, -1, 0, 0, 0}};
  const evstates_t states{{"Idle", "Ready", "filter set"}};
  const short stop = 7;
  const msg4freqdata_t bad{0.01f, false};
  const struct {
    eventtypes_t event;
    const void* data;
    const char* values;
  } cases[] = {
      {FINE_TUNE_DONE, &words, "0001h abcdeh ffffffffh"},
      {CH1_NEW_STATE, &states,
       "Idle                          Ready                         filter set                   "
       " "},
      {SPCLK_SET_FREQUENCY_DONE, &bad, "1.00e-02 Failed  "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(log->GetString(c.event));
    char head[64];
    std::snprintf(head, sizeof head, "%-10d %-30s ", 4711, log->GetString(c.event));
    EXPECT_THAT(LineOf(c.event, c.data), EndsWith(std::string(head) + c.values + "\n"));
  }
  EXPECT_THAT(LineOf(HMP_MESSAGE_RECEIVED, &stop), HasSubstr("STOP_TEST "));
  for (int length : {0, 7, -1, 1000000}) {
    const evseqdataI_t odd{length, {}};
    EXPECT_EQ(LineOf(FINE_TUNE_DONE, &odd), "\n") << length;
  }
}

}  // namespace
