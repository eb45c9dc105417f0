#include "mos/meas_mgr.h"

#include "common/log/logger_mgr.h"
#include "mos/deferred_work.h"

namespace Mos {

using Logger::logger_mgr;
using Logger::measurementL;

MeasMgr* MeasMgr::_instance = nullptr;

MeasMgr& MeasMgr::CreateMeasMgr(const char* id, std::uint16_t port) {
  static MeasMgr manager(id, port);
  return manager;
}

MeasMgr::MeasMgr(const char* id, std::uint16_t port) {
  if (id != nullptr) SetZid(id);
  if (port != 0) SetDefFeTcpPort(static_cast<short>(port));
}

int MeasMgr::Init() { return ZmbSimpleServant::Init(); }

int MeasMgr::Init(int) {
  if (Init() < 0) return -1;
  for (pthreadobj* deferred : {&pt, &nakpt}) {
    deferred->Init();
    if (deferred->Start() != 0) return -1;
  }
  logger_mgr::print(measurementL, Logger::kNotice, 0, "mos fe tcp port%d\n",
                    static_cast<std::uint16_t>(GetDefFeTcpPort()));
  logger_mgr::print(measurementL, Logger::kNotice, 0, "Init done \n");
  return 0;
}

void MeasMgr::SetFeUris() {
  AddFeIpcLink();
  if (GetDefFeTcpPort() != 0) AddFeTcpLink(GetDefFeTcpPort());
}

}  // namespace Mos
