// What the error words of a refusal mean, in words: what is allowed, in which unit, and what helps.
#pragma once

namespace host {

/// A sentence for an error code; null where there is only the code's name.
const char* RefusalText(int code);

}  // namespace host
