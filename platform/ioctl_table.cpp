#include "platform/ioctl_table.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <algorithm>
#include <cstring>

#include "platform/fpga_driver.h"

namespace platform {
namespace {

using enum IoctlArgument;

constexpr IoctlShape kShapes[] = {
    {Dev::Q5FPGA_CMD_RD, kRecord, sizeof(Dev::FpgaCmd)},
    {Dev::Q5FPGA_CMD_WR, kRecord, sizeof(Dev::FpgaCmd)},
    {Dev::Q5FPGA_CMD_START_SAMPLE_CONTINUOUS, kRecord, sizeof(Dev::FpgaCmd)},
    {Dev::Q5FPGA_CMD_STOP_ACQUISITION, kRecord, sizeof(Dev::FpgaCmd)},
    {Dev::Q5FPGA_CMD_START_SRC_BUFFER_DMA, kRecord, sizeof(Dev::FpgaCmd)},
    {I2C_SLAVE, kValue, sizeof(std::int64_t)},
    {I2C_SLAVE_FORCE, kValue, sizeof(std::int64_t)},
    {I2C_RETRIES, kValue, sizeof(std::int64_t)},
    {I2C_SMBUS, kSmbus, sizeof(SmbusTransfer)},
};

static_assert(sizeof(i2c_smbus_data) == sizeof(SmbusTransfer::data));

SmbusTransfer FromKernelRecord(const i2c_smbus_ioctl_data& record) {
  SmbusTransfer transfer{};
  transfer.read_write = record.read_write;
  transfer.command = record.command;
  transfer.size = record.size;
  if (record.data != nullptr) {
    transfer.has_data = 1;
    std::memcpy(transfer.data.data(), record.data, transfer.data.size());
  }
  return transfer;
}

}  // namespace

const IoctlShape* FindIoctl(unsigned long request) {
  const auto* found = std::ranges::find(kShapes, request, &IoctlShape::request);
  return found == std::end(kShapes) ? nullptr : found;
}

std::size_t ReadRecordBytes(std::string_view path) {
  return path == Dev::kFpgaDevicePath ? sizeof(Dev::FpgaCmd) : 0;
}

IoctlMarshal::IoctlMarshal(const IoctlShape& shape, void* argument)
    : shape_(shape), argument_(argument) {
  switch (shape_.argument) {
    case kValue: {
      const auto value = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(argument));
      std::memcpy(bytes_.data(), &value, sizeof value);
      break;
    }
    case kRecord:
      std::memcpy(bytes_.data(), argument, shape_.size);
      break;
    case kSmbus: {
      const auto transfer = FromKernelRecord(*static_cast<const i2c_smbus_ioctl_data*>(argument));
      std::memcpy(bytes_.data(), &transfer, sizeof transfer);
      break;
    }
  }
}

void IoctlMarshal::Return() const {
  switch (shape_.argument) {
    case kValue:
      break;
    case kRecord:
      std::memcpy(argument_, bytes_.data(), shape_.size);
      break;
    case kSmbus: {
      const auto& record = *static_cast<const i2c_smbus_ioctl_data*>(argument_);
      if (record.data == nullptr || record.read_write != I2C_SMBUS_READ) break;
      SmbusTransfer transfer{};
      std::memcpy(&transfer, bytes_.data(), sizeof transfer);
      std::memcpy(record.data, transfer.data.data(), transfer.data.size());
      break;
    }
  }
}

}  // namespace platform
