// The names that the control socket knows: values that models show, and the faults of units.
//
// Filled while the instrument is built, constant from then on. The functions behind the names are
// called from any thread.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "simulator/fault.h"
#include "simulator/memory.h"

namespace simulator {

class Units {
 public:
  using Getter = std::function<std::string()>;
  /// False for a value that the unit cannot take.
  using Setter = std::function<bool(std::string_view)>;

  struct Value {
    Getter get;
    Setter set;  ///< empty: read only
  };

  /// Names are one word each; a name that is taken already is a programming error.
  void AddValue(std::string name, Getter get, Setter set = {});
  void AddFaults(std::string unit, FaultSwitch& faults);
  void AddMemory(std::string unit, Memory& memory);

  const Value* FindValue(std::string_view name) const;
  FaultSwitch* FindFaults(std::string_view unit) const;
  /// Ends all that hangs, for good.
  void Release();
  Memory* FindMemory(std::string_view unit) const;
  /// All names on one line.
  std::string List() const;

 private:
  std::map<std::string, Value, std::less<>> values_;
  std::map<std::string, FaultSwitch*, std::less<>> faults_;
  std::map<std::string, Memory*, std::less<>> memories_;
};

}  // namespace simulator
