#include "common/dev/i2c/bus/i2c_ch_id.h"

#include <algorithm>

#include "common/log/log_line.h"

namespace Dev {
namespace {

constexpr int kLastChannel = 3;

}  // namespace

I2cChId& I2cChId::operator()(std::initializer_list<int> values) {
  _len = 0;
  _seq = {};
  for (int value : values) {
    if (value < 0 || value > kLastChannel || _len == static_cast<int>(_seq.size())) break;
    _seq[static_cast<std::size_t>(_len++)] = value;
  }
  return *this;
}

int I2cChId::operator[](int index) const {
  return index >= 0 && index < _len ? _seq[static_cast<std::size_t>(index)] : -1;
}

I2cChId I2cChId::Prefix(int length) const {
  I2cChId prefix;
  prefix._len = std::clamp(length, 0, _len);
  std::copy_n(_seq.begin(), prefix._len, prefix._seq.begin());
  return prefix;
}

std::string I2cChId::ToString() const {
  std::string text;
  for (int i = 0; i < _len; ++i) text += (i == 0 ? "" : ".") + std::to_string((*this)[i]);
  return text;
}

void I2cChId::Show(int level) const {
  Q5_LOG_AT(level, i2cmainL, "<I2cChId len=%d seq=%s/>\n", _len, ToString().c_str());
}

}  // namespace Dev
