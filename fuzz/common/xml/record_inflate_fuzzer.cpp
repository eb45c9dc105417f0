// Any bytes as a chip with a compressed record, whose magic is put in front. The sum is looked at
// last, so the stream is reached whatever it is.
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "common/lib/instrument_file.h"
#include "common/log/logger_mgr.h"
#include "common/xml/eeprom_record.h"
#include "common/xml/xml_document.h"

namespace {

class Chip : public Dev::EEPROMaccess {
 public:
  explicit Chip(std::vector<unsigned char> content) : content_(std::move(content)) {}
  int openprom() override { return 0; }
  void closeprom() override {}
  int writeprom(unsigned char*, int, int) override { return -1; }
  int readprom(unsigned char* data, int count, int address) override {
    if (address < 0 || count < 0 || address + count > Dev::kEepromBytes) std::abort();
    const int size = static_cast<int>(content_.size());
    const int got = std::clamp(size - address, 0, count);
    std::copy_n(content_.begin() + std::min(address, size), got, data);
    return got;
  }

 private:
  std::vector<unsigned char> content_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 11) return 0;
  std::vector<unsigned char> content(data, data + size);
  content[0] = 0xDB;
  content[1] = 0x1E;
  Chip(content).Read("/dev/null");
  const lib::OwnedFile file = lib::OpenFile("/dev/null", "wbe", Logger::ee_grpL);
  std::uint16_t sum = 0;
  const int length = static_cast<int>(std::min<std::size_t>(size, Dev::kEepromBytes));
  const int result = Chip(std::move(content)).inflatefile(file.get(), length, 0, sum);
  if (result > 0) std::abort();
  return 0;
}
