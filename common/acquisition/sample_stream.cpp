#include "common/acquisition/sample_stream.h"

#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/fpga/fpga_request.h"
#include "common/log/log_line.h"
#include "platform/fpga_driver.h"

namespace acquisition {

int SampleStream::Request(int fd, unsigned long request, int offset, std::uint32_t& value) {
  Dev::FpgaCmd command{};
  command.devtype = Dev::FPGA_REG;
  command.offset = offset;
  command.val = value;
  const int result = Dev::FpgaRequest(fd, request, command);
  value = command.val;
  return result;
}

int SampleStream::Announce(const BlockLayout& layout) const {
  Dev::FpgaCmd command{};
  command.offset = Dev::Q5FPGA_CMD_SAMPLEBLOCK_NUM;
  command.val = static_cast<std::uint32_t>(layout.Bytes());
  return Dev::FpgaWrite(fpga_fd_, command) >= 0 ? 0 : -1;
}

int SampleStream::Start() const {
  std::uint32_t value = 0;
  const int result = Request(fpga_fd_, Dev::Q5FPGA_CMD_START_SAMPLE_CONTINUOUS, 0, value);
  if (result < 0) {
    Q5_LOG_ERROR(acquisitionL, "ioctl continuous sample collect fail\n");
  }
  if (Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice()) fpga->RunConverters();
  return result < 0 ? -1 : 0;
}

bool SampleStream::StartAgain(const BlockLayout& layout) {
  return Announce(layout) == 0 && Map() == 0 && Start() == 0;
}

}  // namespace acquisition
