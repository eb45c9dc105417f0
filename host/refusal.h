// What the error words of a refusal mean, in words: what is allowed, in which unit, and what helps.
#pragma once

namespace host {

/// A sentence for an error code; null where the code's name has to do.
const char* RefusalText(int code);

}  // namespace host
