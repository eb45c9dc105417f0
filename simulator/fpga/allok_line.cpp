#include "simulator/fpga/allok_line.h"

#include <algorithm>
#include <string>

namespace simulator::fpga {

AllokLine::AllokLine(Module own, Units& units) : own_(own) {
  for (std::size_t module = 0; module < kModules; ++module) {
    const bool is_own = module == static_cast<std::size_t>(own);
    ok_[module] = !is_own;  // the daemons of the others have raised theirs
    Units::Setter set;
    if (!is_own) {
      set = [this, module](std::string_view text) {
        if (text != "0" && text != "1") return false;
        ok_[module] = text == "1";
        return true;
      };
    }
    units.AddValue(
        std::string("allok.") + kModuleNames[module],
        [this, module] { return ok_[module] ? "1" : "0"; }, std::move(set));
  }
  units.AddValue("allok.line", [this] { return IsUp() ? "1" : "0"; });
}

bool AllokLine::IsUp() const {
  return std::ranges::all_of(ok_, [](const std::atomic<bool>& ok) { return ok.load(); });
}

}  // namespace simulator::fpga
