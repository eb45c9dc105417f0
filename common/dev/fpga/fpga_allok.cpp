// The ALLOK line. On the main module its bits stand in registers that the others use for clocks.
#include "common/dev/fpga/fpga_dev_base.h"
#include "common/log/log_line.h"

namespace Dev {

// A module does not change: once told, no disturbed reading moves its line to other bits.
bool FpgaDevBase::FindAllok(Bit& out, Bit& in) {
  int module = module_;
  if (module < 0) {
    module = GetHostModuleID();
    if (module < 0) return false;
    if (module != PFC_MOD) module_ = module;
  }
  const bool main = module == MAIN_MOD;
  out = AllokOut();
  in = main ? Bit{REG_DDS_FREQ_LSHW, kMainAllokIn} : Bit{Q5FPGA_MISC_CTRL, kAllokIn};
  return true;
}

FpgaDevBase::Bit FpgaDevBase::AllokOut() const {
  return module_ == MAIN_MOD ? Bit{Q5FPGA_CLK_SEL, kMainAllokOut}
                             : Bit{Q5FPGA_MISC_CTRL, kAllokOut};
}

int FpgaDevBase::ReadBit(const Bit& bit) {
  unsigned value = 0;
  return ReadReg(bit.offset, value) < 0 ? -1 : static_cast<int>(value & bit.mask);
}

int FpgaDevBase::ChangeAllok(bool ok) {
  Bit out;
  Bit in;
  if (!FindAllok(out, in)) return -1;
  return ChangeReg(out.offset, out.mask, ok ? out.mask : 0, __LINE__);
}

int FpgaDevBase::SetALLOK() { return ChangeAllok(false); }
int FpgaDevBase::ClearALLOK() { return ChangeAllok(true); }

int FpgaDevBase::GetALLOKOut() {
  Bit out;
  Bit in;
  return FindAllok(out, in) ? ReadBit(out) : -1;
}

int FpgaDevBase::GetALLOK() {
  Bit out;
  Bit in;
  if (!FindAllok(out, in)) return -1;
  const int level = ReadBit(in);
  if (level >= 0) {
    Q5_LOG_INFO(fpgaL, "GetALLOK %x \n", static_cast<unsigned>(level));
  }
  return level;
}

}  // namespace Dev
