// The front display, two lines of 16 characters behind the main module's FPGA.
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>

#include "common/dev/fpga/fpga_dev_base.h"
#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {

namespace {

constexpr std::size_t kOledColumns = 16;
constexpr int kOledCommand = 0;  // offsets of the display's controller
constexpr int kOledData = 2;
constexpr unsigned kResetCommands[] = {56, 8, 1, 6, 2, 192, 12};
constexpr unsigned kFirstLine = 2;
constexpr unsigned kSecondLine = 192;
constexpr unsigned kLineShift = 16;  // of SET_IP's value
constexpr std::chrono::milliseconds kResetPulse{10};
constexpr int kRequestFailed = -2;

FpgaCmd OledCommand(int offset, unsigned value) {
  FpgaCmd command{};
  command.devtype = FPGA_OLED_REG;
  command.offset = offset;
  command.val = value;
  return command;
}

}  // namespace

int FpgaDevBase::OledRequest(unsigned long request, FpgaCmd& command, const char* func) {
  if (platform::Machine().Ioctl(_fd, request, &command) >= 0) return 0;
  const char* reason = std::strerror(errno);
  if (request == Q5FPGA_CMD_RD) {
    Q5_LOG_ERROR(fpgaL, "%s: ioctl read error - reg:0x%02X  value:0x%04X, %s", func,
                 static_cast<unsigned>(command.offset), command.val, reason);
  } else {
    Q5_LOG_ERROR(fpgaL, "%s: ioctl display msg error -  %s", func, reason);
  }
  return -1;
}

int FpgaDevBase::ResetOled() {
  for (const unsigned value : kResetCommands) {
    FpgaCmd command = OledCommand(kOledCommand, value);
    if (OledRequest(Q5FPGA_CMD_WR, command, __func__) < 0) return -1;
  }
  return 0;
}

// The reset line is released even when the display does not answer.
int FpgaDevBase::RestartOled() {
  if (ChangeReg(Q5FPGA_CLK_SEL, kOledRun, 0, __LINE__) < 0) return -1;
  platform::Machine().Clock().SleepFor(kResetPulse);
  const int running = ChangeReg(Q5FPGA_CLK_SEL, 0, kOledRun, __LINE__);
  return ResetOled() < 0 ? -1 : running;
}

int FpgaDevBase::DisplayMsg(const char* text, int line) {
  const std::size_t length = text == nullptr ? 0 : std::strlen(text);
  if (length == 0) return 0;
  if (length > kOledColumns) {
    Q5_LOG_ERROR(fpgaL, "max string length  %s %d \n", text, static_cast<int>(length));
    return -1;
  }
  FpgaCmd id{};
  id.devtype = FPGA_REG;
  id.offset = Q5FPGA_DEVICE_ID;
  if (OledRequest(Q5FPGA_CMD_RD, id, __func__) < 0) return kRequestFailed;
  if ((id.val & kIdentityMask) != kMainIdentity) return -1;

  const auto address = reinterpret_cast<std::uintptr_t>(text);
  if (address > std::numeric_limits<std::uint32_t>::max()) {
    Q5_LOG_ERROR(fpgaL, "%s: the driver takes a text's address in 32 bits, this one has more\n",
                 __func__);
    return kRequestFailed;
  }
  FpgaCmd message = OledCommand(
      kOledCommand, static_cast<unsigned>(line) << kLineShift | static_cast<unsigned>(length));
  message.ptr = static_cast<std::uint32_t>(address);
  FpgaCmd cursor = OledCommand(kOledCommand, line == 1 ? kFirstLine : kSecondLine);
  FpgaCmd shown = OledCommand(kOledData, 0);
  if (OledRequest(Q5FPGA_CMD_SET_IP, message, __func__) < 0 ||
      OledRequest(Q5FPGA_CMD_WR, cursor, __func__) < 0 ||
      OledRequest(Q5FPGA_CMD_RD, shown, __func__) < 0) {
    return kRequestFailed;
  }
  if ((shown.val & 0xFF) == static_cast<unsigned char>(text[0])) return 0;
  return RestartOled() < 0 ? kRequestFailed : 0;
}

}  // namespace Dev
