#include "simulator/units.h"

#include <cassert>
#include <utility>

namespace simulator {

void Units::AddValue(std::string name, Getter get, Setter set) {
  const bool added = values_.emplace(std::move(name), Value{std::move(get), std::move(set)}).second;
  assert(added);
}

void Units::AddFaults(std::string unit, FaultSwitch& faults) {
  const bool added = faults_.emplace(std::move(unit), &faults).second;
  assert(added);
}

void Units::AddMemory(std::string unit, Memory& memory) {
  const bool added = memories_.emplace(std::move(unit), &memory).second;
  assert(added);
}

const Units::Value* Units::FindValue(std::string_view name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? nullptr : &found->second;
}

FaultSwitch* Units::FindFaults(std::string_view unit) const {
  const auto found = faults_.find(unit);
  return found == faults_.end() ? nullptr : found->second;
}

Memory* Units::FindMemory(std::string_view unit) const {
  const auto found = memories_.find(unit);
  return found == memories_.end() ? nullptr : found->second;
}

std::string Units::List() const {
  std::string read_only;
  std::string settable;
  for (const auto& [name, value] : values_) (value.set ? settable : read_only) += " " + name;
  std::string faults;
  for (const auto& [unit, fault_switch] : faults_) {
    std::string kinds;
    for (const Fault fault : fault_switch->Supported()) {
      kinds += (kinds.empty() ? "" : ",") + std::string(FaultName(fault));
    }
    faults += " " + unit + "(" + kinds + ")";
  }
  std::string memories;
  for (const auto& [unit, memory] : memories_) memories += " " + unit;
  return "get:" + read_only + " get/set:" + settable + " fault:" + faults + " memory:" + memories;
}

void Units::Release() {
  for (const auto& [unit, faults] : faults_) faults->Release();
}

}  // namespace simulator
