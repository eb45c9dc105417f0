#include "common/log/eventlog.h"
#include "common/log/log_line.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "common/log/logger_mgr.h"

namespace Logger {
namespace {

constexpr int kMeasurementModule = 1;
constexpr short kStopTestOpcode = 7;

struct EventRow {
  const char* text;
  EventForm form;
};

constexpr std::array<EventRow, MAX_EVENT_LOG> MakeRows() {
  using enum EventForm;
  std::array<EventRow, MAX_EVENT_LOG> rows = {{
#define Q5_EVENT_ROW(name, form) {#name, form},
      Q5_EVENTS(Q5_EVENT_ROW)
#undef Q5_EVENT_ROW
  }};
  rows[SAMPLE_COUNT_ERROR].text = "SAMPLECOUNT_ERROR";
  return rows;
}

/// Event number to text and form.
constexpr std::array<EventRow, MAX_EVENT_LOG> eventmap = MakeRows();

struct MessageRow {
  short opcode;
  const char* text;
};

/// Host opcode to text, by opcode.
constexpr MessageRow messagemap[] = {
    {3, "INIT_TEST"},
    {4, "UPDATE_TEST"},
    {5, "START_TEST"},
    {6, "GET_RESULT"},
    {7, "STOP_TEST"},
    {8, "MESSAGE_8"},
    {23, "RELAY_MSG"},
    {24, "FRONTPANEL_MSG"},
    {25, "FRONTPANEL_STATUS"},
    {26, "SAMPLE_SETUP"},
    {27, "ADJUST_FREQUENCY"},
    {28, "LOAD_PSC"},
    {29, "TAPCHANGER"},
    {30, "OLED_MSG"},
    {31, "POLL_MSG"},
    {32, "MESSAGE_20"},
    {33, "MESSAGE_21"},
    {34, "MESSAGE_22"},
    {35, "MESSAGE_23"},
    {38, "MESSAGE_26"},
    {39, "PAUSE_TEST"},
    {40, "LEADCONFIG"},
    {41, "MESSAGE_29"},
    {42, "MESSAGE_2A"},
    {43, "MESSAGE_2B"},
    {45, "MESSAGE_2D"},
    {46, "MESSAGE_2E"},
    {47, "MESSAGE_2F"},
    {51, "INIT_TEST_CURRENT"},
    {52, "UPDATE_TEST_CURRENT"},
    {53, "SET_TOD"},
    {54, "START_SESSION_TEST"},
    {55, "END_SESSION_TEST"},
    {56, "GET_MISC_CONFIG"},
    {70, "ACK_IN_PROGRESS_REQ"},
    {80, "MESSAGE_50"},
    {81, "MESSAGE_51"},
    {82, "Q5_COMMAND_MESSAGE"},
};
static_assert(std::ranges::is_sorted(messagemap, {}, &MessageRow::opcode));

[[gnu::format(printf, 2, 3)]] void Append(std::string& line, const char* format, ...) {
  char text[128];
  std::va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  line += text;
}

// Words of a sequence, one blank between them.
template <class Sequence, class AppendWord>
void AppendWords(std::string& line, const void* data, AppendWord append_word) {
  const auto& sequence = *static_cast<const Sequence*>(data);
  if (sequence.len < 1 || sequence.len > kEventWords) {
    line.clear();
    return;
  }
  for (int i = 0; i < sequence.len; ++i) {
    if (i > 0) line += ' ';
    append_word(sequence.dataarr[i]);
  }
}

// Events whose line says so when their data is missing.
bool DataIsRequired(EventForm form) {
  using enum EventForm;
  return form == kHostMessage || form == kFrequency || form == kCorrelator || form == kPhasors ||
         form == kAddresses;
}

}  // namespace

eventlog* eventlog::GetEventLog(const char*) {
  static eventlog* const log = new eventlog;
  return log;
}

void eventlog::Init(int its_module) {
  module = its_module;
  Q5_LOG_NOTICE(eventlogL, "Eventlog object created \n");
  Q5_LOG_NOTICE(eventlogL, "%-30s %-10s %-28s %-20s\n", "Timestamp", "BufferCount", "EventName",
                "EventValues");
}

const char* eventlog::GetString(eventtypes_t event) const {
  if (event >= 0 && event < MAX_EVENT_LOG) return eventmap[static_cast<size_t>(event)].text;
  Q5_LOG_ERROR(eventlogL, "%-10d INVALID EVENT NUMBER %d \n", blockreadyIndex.load(),
               static_cast<int>(event));
  return nullptr;
}

const char* eventlog::GetMessageString(short opcode) const {
  const auto* row = std::ranges::lower_bound(messagemap, opcode, {}, &MessageRow::opcode);
  if (row != std::end(messagemap) && row->opcode == opcode) return row->text;
  Q5_LOG_ERROR(eventlogL, "%-10d INVALID MESSAGE NUMBER %d \n", blockreadyIndex.load(), opcode);
  return nullptr;
}

void eventlog::SetSampleCounters(const char* block_ready, const char* dma_blocks, int sample_blocks,
                                 int consumed_blocks) {
  platform::Lock lock(mutexlock);
  sampleblockcount = sample_blocks;
  consumedblockcount = consumed_blocks;
  blockreadyIndex = static_cast<int>(std::strtol(block_ready, nullptr, 10));
  DMAblocks = static_cast<int>(std::strtol(dma_blocks, nullptr, 10));
}

void eventlog::FormatData(std::string& line, eventtypes_t event, const void* data) const {
  switch (eventmap[static_cast<size_t>(event)].form) {
    case EventForm::kBare:
      break;
    case EventForm::kHex:
      AppendWords<evseqdataI_t>(
          line, data, [&](int word) { Append(line, "%04xh", static_cast<unsigned>(word)); });
      break;
    case EventForm::kFloat:
      AppendWords<evseqdataF_t>(
          line, data, [&](float word) { Append(line, "%.2e", static_cast<double>(word)); });
      break;
    case EventForm::kDecimal:
      AppendWords<evseqdataI_t>(line, data, [&](int word) { Append(line, "%05d", word); });
      break;
    case EventForm::kMonitor:
      AppendWords<evseqdataU64_t>(line, data, [&](std::uint64_t word) {
        Append(line, "%lluh", static_cast<unsigned long long>(word));
      });
      break;
    case EventForm::kState:
      for (const auto& text : static_cast<const evstates_t*>(data)->texts) {
        Append(line, "%-30.80s", text);
      }
      break;
    case EventForm::kName:
      Append(line, "%-20s", static_cast<const char*>(data));
      break;
    case EventForm::kHostMessage: {
      const short opcode = *static_cast<const short*>(data);
      const char* text = GetMessageString(opcode);
      Append(line, "%-30s", text == nullptr ? "" : text);
      Append(line, "%04xh ", static_cast<unsigned short>(opcode));
      break;
    }
    case EventForm::kFrequency: {
      const auto& frequency = *static_cast<const msg4freqdata_t*>(data);
      Append(line, "%.2e %-8s", static_cast<double>(frequency.frequency),
             frequency.status ? "Success" : "Failed");
      break;
    }
    case EventForm::kCorrelator: {
      const auto* values = static_cast<const long*>(data);
      Append(line, "%-10ld %-10ld", values[0], values[1]);
      break;
    }
    case EventForm::kPhasors: {
      const auto& phasors = *static_cast<const evphasors_t*>(data);
      line += event == GET_FAST_PHASORS ? "FAST" : event == GET_SLOW_PHASORS ? "SLOW" : "XXXX";
      for (const auto& channel : phasors.channel) {
        Append(line, " %.2e %.2e", channel.mag, channel.phase);
      }
      break;
    }
    case EventForm::kChannel: {
      const auto& channel = *static_cast<const evchannel_t*>(data);
      Append(line, "%d %s", channel.channel, channel.text);
      break;
    }
    case EventForm::kAddresses: {
      const auto& words = *static_cast<const evaddresses_t*>(data);
      Append(line, "%.20s %.20s %.20s %d %d", words.addresses[0], words.addresses[1],
             words.addresses[2], words.tries, words.module);
      break;
    }
    case EventForm::kMonitorName: {
      const auto& named = *static_cast<const evnamedata_t*>(data);
      Append(line, "%-20.20s %-10d", named.name, named.id);
      break;
    }
  }
}

bool eventlog::ClosesATest(eventtypes_t event, const void* data) const {
  if (event == SOURCE_DISABLE_DONE) return true;
  return module == kMeasurementModule && event == HMP_MESSAGE_RECEIVED && data != nullptr &&
         *static_cast<const short*>(data) == kStopTestOpcode;
}

int eventlog::CaptureEvent(int level, eventtypes_t event, const void* data) {
  if (event < 0 || event >= MAX_EVENT_LOG) {
    Q5_LOG_ERROR(eventlogL, "TRY TO LOG THE EVENT %d WITH NO EVENTLOG CREATED \n",
                 static_cast<int>(event));
    return -1;
  }
  if (!logger_mgr::LogSamples(eventlogL, level)) return 0;

  const EventRow& row = eventmap[static_cast<size_t>(event)];
  std::string line;
  {
    platform::Lock lock(mutexlock);
    Append(line, "%-10d %-30s ", blockreadyIndex.load(), row.text);
    if (data != nullptr) {
      FormatData(line, event, data);
    } else if (DataIsRequired(row.form)) {
      Append(line, "%-30s event NO DATA FAIL\n", row.text);
    }
  }
  Q5_LOG_AT(level, eventlogL, "%s\n", line.c_str());
  if (ClosesATest(event, data)) {
    Q5_LOG_AT(level, eventlogL, "%s\n", std::string(91, '#').c_str());
  }
  return 0;
}

}  // namespace Logger
