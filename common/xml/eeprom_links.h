// What the calibration group asks of the bus between the modules. Rooms above supply it before
// start-up; an empty link is a room that this daemon does not have, and then there is nobody to
// wait for.
#pragma once

#include <functional>
#include <string>

namespace Dev {

struct EepromLinks {
  /// Tells the main module how reading the EEPROMs ended; see EepromGroup::xml_post_result.
  std::function<void(int result, int failtype)> send_xml_post_result{};
  /// True once the main module has answered that (`xmlresrcvd`).
  std::function<bool()> xml_result_received{};
  /// Tells the other modules that their files have been uploaded.
  std::function<void()> send_upload_done{};
  /// True once the main module has told that.
  std::function<bool()> upload_done{};
  /// Dotted address of a module (MODULE_ID).
  std::function<std::string(int module)> module_address{};
};

}  // namespace Dev
