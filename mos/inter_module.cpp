#include "mos/inter_module.h"

#include <utility>

#include "common/acquisition/ranging/acq_chan.h"
#include "common/acquisition/ranging/channel_enums.h"
#include "common/dev/i2c/bus/sensor_publisher.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/module_id.h"
#include "common/msg/state/hmp_data.h"
#include "mos/instrument/process_objects.h"
#include "mos/instrument/recovery.h"

namespace Mos {

using IMSG::IntPubSubMsg;
using Msg::ghmp;

namespace {

// 0 Hz says that the line is not known (any more). A fraction that is none would give a frequency
// far from the whole part that is checked later.
void TakeLineFrequency(const IntPubSubMsg& message) {
  m3x64_num hertz = message.GetFrequency();
  if (hertz.a == 0 && hertz.b == 0) hertz = {};
  if (hertz.c == 0 || hertz.b >= hertz.c) {
    Q5_LOG_ERROR(measurementL, "the line's frequency %llu %llu/%llu is no number\n",
                 static_cast<unsigned long long>(hertz.a), static_cast<unsigned long long>(hertz.b),
                 static_cast<unsigned long long>(hertz.c));
    return;
  }
  ghmp->SetLineFrequency(hertz);
}

void ResetSilenceWatch(const IntPubSubMsg&) {
  Logger::Capture(Logger::RCVMSGMONITORRESET);
  msgmonitorm.ResetTimer();
}

// A share that hangs must hold up nothing here.
void UnmountLater(const IntPubSubMsg&) {
  const auto unmount = [](void*) {
    ghmp->UnMountSDPartitions();
    return 0;
  };
  if (pt.SetCallbackFunction("unmount", unmount, nullptr) == 0) {
    pt.Release();
  } else {
    Q5_LOG_ERROR(measurementL, "no place for the unmount: the thread for deferred work is busy\n");
  }
}

void ComeToRest(const IntPubSubMsg&) { QuiesceSM(); }

}  // namespace

int NotifyFollowingChannelsEvent(int event) {
  int result = 0;
  for (const ACQ_CHAN_NUM ch : {ACQ_CH2, ACQ_CH1}) {
    auto* channel = AcquisitionSystem::AcqChan::get_AcqCh_instance(ch);
    const int its_result =
        channel == nullptr
            ? 0
            : channel->external_event_notify(static_cast<AcquisitionSystem::EXTERNAL_EVENT>(event));
    Q5_LOG_INFO(measurementL, "%s %s.%d: pubsub CHANEVENTMSG event:%s(%d) status:%d\n",
                channel == nullptr ? "-" : channel->name(), __func__, __LINE__,
                AcquisitionSystem::get_event_text(event).c_str(), event, its_result);
    if (result >= 0) result = its_result;
  }
  return result;
}

void InterModule::SetReactions() {
  messages_.On(IMSG::LINEFREQMSG, TakeLineFrequency);
  messages_.On(IMSG::DFRATZEROMSG, [this](const IntPubSubMsg& message) {
    events_.Post(SourceStep{message.freqfloat, message.manualIrange, message.manualVrange});
  });
  messages_.On(IMSG::CHANEVENTMSG, [this](const IntPubSubMsg& message) {
    events_.Post(SourceEvent{message.external_event});
  });
  messages_.On(IMSG::XMLUPLOADMSG, [this](const IntPubSubMsg&) { SetUploadDone(true); });
  messages_.On(IMSG::UNMOUNTMSG, UnmountLater);
  messages_.On(IMSG::FPESTOPMSG, ComeToRest);
  messages_.On(IMSG::SOSSSWITCHMSG, ComeToRest);
  messages_.On(IMSG::RESETMSGMONITORTIMERMSG, ResetSilenceWatch);
  messages_.On(IMSG::LOGFORCEROTATEMSG, [](const IntPubSubMsg&) {
    Logger::logger_mgr::GetLogger()->ForceRotateSignalHandler();
  });
  messages_.On(IMSG::SOSCONFIGRECORDMSG,
               [](const IntPubSubMsg&) { Q5_LOG_INFO(zpubsubL, "SOSCONFIGRECORD message \n"); });
  messages_.On(IMSG::GETSERVERSTATUSMSG,
               [this](const IntPubSubMsg&) { messages_.SendServerStatus(serverReady); });
}

Dev::EepromLinks InterModule::CalibrationLinks() {
  Dev::EepromLinks links;
  if (!joined_) return links;
  links.send_xml_post_result = [this](int result, int failtype) {
    messages_.SendXMLPostResult(result, failtype);
  };
  return links;
}

void InterModule::PublishTemperatures() {
  Dev::SetSendTempLink([this](int module, int assembly, int address, int sensor, float celsius) {
    if (joined_) messages_.SendTemp(module, assembly, address, sensor, celsius);
  });
}

int InterModule::Start(void* ctx, const Addresses& addresses,
                       std::function<void(const SourceStep&)> step) {
  SetReactions();
  const auto apply = [step = std::move(step)](const SourceEvents::Item& item) {
    if (const auto* next = std::get_if<SourceStep>(&item)) step(*next);
    if (const auto* event = std::get_if<SourceEvent>(&item)) {
      NotifyFollowingChannelsEvent(event->event);
    }
  };
  if (events_.Start(apply) < 0) return -1;
  if (messages_.Init(ctx, Msg::MEAS_MODULE, addresses) < 0) return -1;
  if (messages_.Start() < 0) return -1;
  joined_ = true;
  return 0;
}

void InterModule::End() {
  joined_ = false;
  messages_.End();
  events_.End();
}

}  // namespace Mos
