// The gateway record: what another program asks of a chip, and the answer. The device that a
// record can name is the source's power stage, so other modules answer every record with a failure.
#pragma once

#include <span>

#include "common/dev/i2c/bus/i2c_req.h"
#include "common/msg/records/hmp_service.h"

namespace Dev {

/// The transfer that `request` asks for. Empty (it names no device) for an unknown device or
/// operation, and for more bytes than a record has.
I2cReq FillI2cReq(const Msg::HmpI2cGatewayReq& request);

/// The gateway request in `payload`; a short one is filled up with an unknown operation.
Msg::HmpI2cGatewayReq GatewayRequest(std::span<const char> payload);

/// The answer to `request`, whose transfer has ended as `done` says.
Msg::HmpI2cGatewayRep GatewayReply(const Msg::HmpI2cGatewayReq& request, const I2cReq& done);

}  // namespace Dev
