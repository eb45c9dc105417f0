// The checksums of a final XML file that another module has decoded and sent: they are worked out
// from the fields as the chip had them.
#pragma once

#include "common/xml/xml_document.h"

namespace Dev {

/// True when every block of factors has a CHECK, and the CHECKs of all blocks hold: the two's
/// complement of the sum of the bytes from `checksumStart` to `checksumEnd`. `name` is the file's.
bool ChecksHold(const XmlDocument& document, const char* name);

}  // namespace Dev
