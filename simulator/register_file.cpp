#include "simulator/register_file.h"

#include <algorithm>
#include <cassert>

namespace simulator {

RegisterFile::RegisterFile(std::span<const RegisterInfo> table) : table_(table) {
  assert(std::ranges::is_sorted(table_, {}, &RegisterInfo::offset));
  for (const RegisterInfo& info : table_) values_.push_back(info.reset);
}

std::optional<std::size_t> RegisterFile::Find(std::uint32_t offset) const {
  const auto found = std::ranges::lower_bound(table_, offset, {}, &RegisterInfo::offset);
  if (found == table_.end() || found->offset != offset) return std::nullopt;
  return static_cast<std::size_t>(found - table_.begin());
}

std::optional<std::uint16_t> RegisterFile::Read(std::uint32_t offset) const {
  const auto index = Find(offset);
  if (!index) return std::nullopt;
  const platform::Lock lock(mutex_);
  return values_[*index];
}

bool RegisterFile::Write(std::uint32_t offset, std::uint16_t value) {
  const auto index = Find(offset);
  return index && Drive(offset, value, table_[*index].writable);
}

bool RegisterFile::Drive(std::uint32_t offset, std::uint16_t value, std::uint16_t mask) {
  const auto index = Find(offset);
  if (!index) return false;
  const platform::Lock lock(mutex_);
  std::uint16_t& held = values_[*index];
  held = static_cast<std::uint16_t>((held & ~mask) | (value & mask));
  return true;
}

}  // namespace simulator
