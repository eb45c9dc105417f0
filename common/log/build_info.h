// What this program was built from. The four texts are made by the build from the checkout's git
// history ("unknown" outside a checkout).
#pragma once

#include <cstdio>

extern const char blddate[];   ///< date of the revision
extern const char hgrev[];     ///< revision
extern const char hgsumm[];    ///< first line of its message
extern const char hgbranch[];  ///< branch

/// Revision, summary and branch, one per line. A null stream is logged.
void PrintBuildInfo(std::FILE* stream);
