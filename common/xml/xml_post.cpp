// The calibration group: how reading the EEPROMs ended.
#include "common/zpubsub/records/xml_post.h"

#include <algorithm>
#include <chrono>

#include "common/lib/instrument_file.h"
#include "common/log/log_line.h"
#include "common/msg/records/module_id.h"
#include "common/xml/chip_files.h"
#include "common/xml/eeprom_group.h"
#include "platform/backend.h"

using Logger::ee_grpL;

namespace Dev {
namespace {

constexpr auto kSecond = std::chrono::seconds(1);
constexpr int kPostRounds = 10;

constexpr char kRevisionText[] = "FAIL - xml/eeprom block revision mismatch\n";
constexpr char kChecksumText[] = "FAIL - xml/eeprom checksum error\n";
constexpr char kUnknownText[] = "FAIL - xml/eeprom unknown error\n";

struct PostFailure {
  int xres;
  const char* text;
  const char* code_line;
  const char* post_err;
};
constexpr PostFailure kFailures[] = {
    {0x1010, kRevisionText, "!1705\n", "1705"}, {0x1020, kRevisionText, "!2706\n", "2706"},
    {0x1040, kRevisionText, "!3707\n", "3707"}, {0x2010, kChecksumText, "!1708\n", "1708"},
    {0x2020, kChecksumText, "!2709\n", "2709"}, {0x2040, kChecksumText, "!370A\n", "370a"},
    {0x4010, kUnknownText, "!170B\n", "170b"},  {0x4020, kUnknownText, "!270C\n", "270c"},
    {0x4040, kUnknownText, "!370D\n", "370d"},
};

/// Bit of a module in a post word, by MODULE_ID.
constexpr int kModuleBits[] = {0x10, 0x20, 0x40};

}  // namespace

void EepromGroup::xml_post_result(int result, int failtype) {
  if (module_ == Msg::MAIN_MODULE) {
    XMLPostResults(IMSG::XmlPostWord(result, failtype, module_));
    return;
  }
  Q5_LOG_NOTICE(ee_grpL, "XML POST: result %d failtype %d\n", result, failtype);
  if (!links_.send_xml_post_result) return;
  platform::Machine().Clock().SleepFor(kSecond);
  links_.send_xml_post_result(result, failtype);
}

void EepromGroup::XMLPostResults(int xres) {
  if (xres == 0) {
    Q5_LOG_NOTICE(ee_grpL, "XML POST: PASS\n");
    return;
  }
  Q5_LOG_ERROR(ee_grpL, "XML POST: FAIL 0x%x\n", static_cast<unsigned>(xres));
  const auto* failure = std::ranges::find(kFailures, xres, &PostFailure::xres);
  if (failure == std::end(kFailures)) return;
  for (std::size_t module = 0; module < std::size(kModuleBits); ++module) {
    if ((xres & kModuleBits[module]) == 0) continue;
    lib::AppendText(kDiagnosticsPaths.at(module), std::string(failure->text) + failure->code_line,
                    ee_grpL);
  }
  const platform::Lock lock(post_err_mutex_);
  post_err = failure->post_err;
}

std::string EepromGroup::PostError() const {
  const platform::Lock lock(post_err_mutex_);
  return post_err;
}

void EepromGroup::WaitForXMLPost() {
  if (!links_.xml_result_received) return;
  for (int round = 0; round < kPostRounds; ++round) {
    const bool received = links_.xml_result_received();
    Q5_LOG_INFO(ee_grpL, "Read From Xml 200a %d \n", round);
    if (received) return;
    platform::Machine().Clock().SleepFor(kSecond);
  }
  Q5_LOG_ERROR(ee_grpL, "No xml post message\n");
}

}  // namespace Dev
