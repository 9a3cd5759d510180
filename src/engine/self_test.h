// The proof of the safety rules on the machine at hand.
#pragma once

#include "platform/text.h"

namespace dm {

/// Runs the real scanner and the real deletion against a small tree of its own in the user's temp folder, and removes
/// the tree again. True if every rule held; otherwise the report tells the first failure in English: texts that begin
/// with "Cannot" or "Filesystem does not support" mean that the tree could not be built, all others a broken rule.
bool runSelfTest(WString &report);

} // namespace dm
