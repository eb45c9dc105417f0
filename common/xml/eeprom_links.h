// What the calibration group asks of the bus between the modules. Folders above supply it before
// start-up; an empty link is a component that this daemon does not have, and nothing waits for it.
#pragma once

#include <functional>
#include <string>

namespace Dev {

struct EepromLinks {
  /// Reports to the main module how reading the EEPROMs ended; see EepromGroup::xml_post_result.
  std::function<void(int result, int failtype)> send_xml_post_result{};
  /// True once the main module has answered that (`xmlresrcvd`).
  std::function<bool()> xml_result_received{};
  /// Reports to the other modules that their files have been uploaded.
  std::function<void()> send_upload_done{};
  /// True once the main module has reported that.
  std::function<bool()> upload_done{};
  /// Dotted address of a module (MODULE_ID).
  std::function<std::string(int module)> module_address{};
};

}  // namespace Dev
