// Joins the daemon's list of error words to a reply.
#pragma once

namespace Msg {

/// Makes the record at `reply` (room for an HmpErrorRep behind a request's header) a NAK with the
/// words of `ghmp`. `nak` is not 0 when an earlier step has made it one, whose words then stay; it
/// returns as 1. `module` is the sender's MODCODES, with which the list begins. `text` is for the
/// log. Threads: the one that answers requests.
void PrepareNak(int module, int& nak, void* reply, const char* text);

}  // namespace Msg
