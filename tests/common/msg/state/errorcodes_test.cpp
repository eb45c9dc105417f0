// The daemon's list of error words, and what the NAK record makes of it.
#include "common/msg/state/errorcodes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <libconfig.h++>
#include <thread>

#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/state/hmp_data.h"
#include "common/msg/state/prepare_nak.h"
#include "tests/common/msg/records/wire.h"
#include "tests/common/msg/state/error_list.h"

namespace {

using Msg::Errorcodes;
using Msg::HmpErrorRep;
using Words = std::vector<int>;
using ::ListOf;

Words ListOf(const HmpErrorRep& record) {
  Words words;
  for (int i = 0; i < record.count; ++i) words.push_back(record.ecodes[i] & 0xFFFF);
  return words;
}

HmpErrorRep RecordOf(const Words& words) {
  HmpErrorRep record{};
  record.opcode = 6;
  for (const int word : words) record.ecodes[record.count++] = static_cast<short>(word);
  return record;
}

TEST(ErrorList, KeepsTheDataOfAWord) {
  const struct {
    const char* what;
    void (*add)(Errorcodes&);
    Words words;
  } cases[] = {
      {"two", [](Errorcodes& e) { e.SetErrorCode(200, 2, -1, 7); }, {0x20C8, 0xFFFF, 7}},
      {"fewer given than told", [](Errorcodes& e) { e.SetErrorCode(200, 15, 5); }, {0x10C8, 5}},
      {"more given than told", [](Errorcodes& e) { e.SetErrorCode(200, 1, 5, 6); }, {0x10C8, 5}},
      {"0.05 Hz", [](Errorcodes& e) { e.SetFrequencyError(328, 0.05F); }, {0x2148, 1, 500}},
      {"too high", [](Errorcodes& e) { e.SetFrequencyError(328, 1e9F); }, {0x1148, 32767}},
      {"no number", [](Errorcodes& e) { e.SetFrequencyError(328, NAN); }, {0x1148, 0}},
  };
  for (const auto& c : cases) {
    Errorcodes errors(Msg::MEAS_MODULE);
    c.add(errors);
    Words expected = {2};
    expected.insert(expected.end(), c.words.begin(), c.words.end());
    EXPECT_EQ(ListOf(errors), expected) << c.what;
  }
}

TEST(ErrorList, NeverGrowsPast64Words) {
  for (const int words : {63, 64, 65, 1000}) {
    Errorcodes errors(Msg::MEAS_MODULE);
    for (int i = 1; i <= words; ++i) errors.SetErrorCode(static_cast<short>(i));
    const Words list = ListOf(errors);
    ASSERT_EQ(list.size(), 64u);
    EXPECT_EQ(list[62], 62);
    EXPECT_EQ(list[63], words);  // the newest has the last place
  }
  for (int before = 58; before <= 64; ++before) {  // words in the list when one with data comes
    SCOPED_TRACE(before);
    Errorcodes errors(Msg::MEAS_MODULE);
    for (int i = 1; i < before; ++i) errors.SetErrorCode(7);
    errors.SetErrorCode(200, 4, 1, 2, 3, 4);
    const Words list = ListOf(errors);
    const int fitting = std::clamp(63 - before, 0, 4);
    const int place = std::min(before, 63);
    EXPECT_EQ(static_cast<int>(list.size()), place + 1 + fitting);
    EXPECT_EQ(list.at(static_cast<std::size_t>(place)), fitting << 12 | 200);
    EXPECT_LE(list.size(), 64u);
  }
}

TEST(StickyErrors, OutliveTheListAndJoinItOnce) {
  Errorcodes errors(Msg::MEAS_MODULE);
  EXPECT_FALSE(errors.IsStickyError());
  errors.SetStickyError(385);
  errors.SetStickyError(200, 2, 385, 74);
  errors.SetErrorCode(9);
  errors.ClearErrorCodes();
  EXPECT_TRUE(errors.IsStickyError());
  EXPECT_FALSE(errors.ReportError());
  errors.SetErrorCode(385);
  for (int i = 0; i < 2; ++i) {
    errors.CopyStickyErrors();
    EXPECT_EQ(ListOf(errors), (Words{2, 385, 0x20C8, 385, 74}));
  }
}

TEST(StickyErrors, HaveRoomForTen) {
  for (int before = 0; before <= 12; ++before) {
    SCOPED_TRACE(before);
    Errorcodes errors(Msg::MEAS_MODULE);
    for (int i = 1; i <= before; ++i) errors.SetStickyError(static_cast<short>(i));
    errors.SetStickyError(200, 3, 51, 52, 53);
    errors.CopyStickyErrors();
    const Words list = ListOf(errors);
    const int place = std::min(before, 9) + 1;
    const int fitting = std::clamp(9 - before, 0, 3);
    ASSERT_EQ(static_cast<int>(list.size()), place + 1 + fitting);
    EXPECT_EQ(list.at(static_cast<std::size_t>(place)), fitting << 12 | 200);
  }
}

TEST(BootErrors, AreClearedAndOthersKeepTheirPlaces) {
  Errorcodes only_boot(Msg::MEAS_MODULE);
  only_boot.SetErrorCode(1536, 2, 74, 75);
  only_boot.SetErrorCode(1805);
  only_boot.ClearBootErrorCodes();
  EXPECT_FALSE(only_boot.ReportError());
  EXPECT_EQ(only_boot.CopyErrorCodes().errorindex, -1);

  Errorcodes mixed(Msg::MEAS_MODULE);
  mixed.SetErrorCode(1537);
  mixed.SetErrorCode(200, 1, 1600);  // data that looks like a boot code
  mixed.SetErrorCode(1548, 1, 200);
  mixed.SetErrorCode(1535);
  mixed.ClearBootErrorCodes();
  EXPECT_EQ(ListOf(mixed), (Words{2, 0, 0x10C8, 1600, 0, 0, 1535}));
  mixed.ClearBootErrorCodes();
  EXPECT_EQ(ListOf(mixed), (Words{2, 0, 0x10C8, 1600, 0, 0, 1535}));
}

TEST(ErrorList, TakesWordsFromManyThreads) {
  Errorcodes errors(Msg::MEAS_MODULE);
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&errors] {
        for (int i = 0; i < 500; ++i) {
          errors.SetErrorCode(200, 2, i, i);
          errors.SetStickyError(385);
          errors.CopyStickyErrors();
          if (i % 50 == 0) errors.ClearErrorCodes();
          errors.ClearBootErrorCodes();
        }
      });
    }
  }
  const Words list = ListOf(errors);
  ASSERT_LE(list.size(), 64u);
  for (std::size_t i = 1; i < list.size(); ++i) {
    if ((list[i] & 0xFFF) != 200 || list[i] >> 12 != 2 || i + 2 >= list.size()) continue;
    EXPECT_EQ(list[i + 1], list[i + 2]);  // words of one error stay together
    i += 2;
  }
}

TEST(NakRecord, FindsTheHighestCode) {
  const struct {
    Words words;
    int major;
  } cases[] = {
      {{2}, -1},
      {{2, 74, 448, 75}, 448},
      {{2, 0x204A, 3000, 3001, 75}, 75},  // data is no code
      {{2, 74, 0xF000 | 75, 2000}, 75},   // a count beyond the list
  };
  for (const auto& c : cases) {
    HmpErrorRep record = RecordOf(c.words);
    record.SetMajorError();
    EXPECT_EQ(record.GetMajorErrorCode(), c.major);
    EXPECT_EQ(int{record.count}, static_cast<int>(c.words.size()));
  }
}

TEST(UserErrors, HaveAMajorCodeForEachBit) {
  HmpErrorRep record = RecordOf({2, 0x1090, 0x41});
  EXPECT_EQ(record.GetMajorErr(144, 1), 65535);  // not set up yet
  HmpErrorRep::InitMajorErrors();
  HmpErrorRep::InitMajorErrors();
  const struct {
    int code;
    Words data;
    int major;
  } cases[] = {
      {144, {0x41}, 838},
      {254, {64, 128}, 1037},
      {144, {0x80}, 65535},
      {144, {}, 65535},
  };
  for (const auto& c : cases) {
    Words words = {2, static_cast<int>(c.data.size()) << 12 | c.code};
    words.insert(words.end(), c.data.begin(), c.data.end());
    words.push_back(74);
    record = RecordOf(words);
    EXPECT_EQ(record.GetMajorErr(static_cast<short>(c.code), 1), c.major) << c.code;
  }
  record = RecordOf({2, 0x109A, 8, 0x209B, 32, 64});
  EXPECT_EQ(record.ParseErrorData(1), 899);
  EXPECT_EQ(record.ParseErrorData(3), 1042);
  for (const int index : {-1, 0, 6, 64, 1000}) EXPECT_EQ(record.ParseErrorData(index), 65535);
  record = RecordOf(Words(64, 0xF000 | 254));  // the last words count beyond the record
  EXPECT_EQ(record.ParseErrorData(63), 65535);
}

TEST(PrepareNak, JoinsTheListToTheReply) {
  libconfig::Config config;
  Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE);
  ASSERT_NE(Msg::ghmp, nullptr);
  HmpErrorRep record = RecordOf({99, 99});
  int nak = 0;
  PrepareNak(Msg::NAK_MOS_ERR, nak, &record, "nothing yet\n");
  EXPECT_EQ(nak, 1);
  EXPECT_EQ(int{record.opcode}, -6);
  EXPECT_EQ(ListOf(record), Words{});

  Msg::ghmp->SetErrorCode(328, 1, 60);
  PrepareNak(Msg::NAK_MOS_ERR, nak, &record, "joins what stands there\n");
  EXPECT_EQ(ListOf(record), (Words{2, 0x1148, 60}));
  PrepareNak(Msg::NAK_MOS_ERR, nak, &record, "again\n");
  EXPECT_EQ(ListOf(record), (Words{2, 0x1148, 60, 2, 0x1148, 60}));
  EXPECT_EQ(int{record.opcode}, -6);
  EXPECT_FALSE(record.ChksmInvalid());
}

}  // namespace
