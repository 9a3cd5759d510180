// The self-test's look at the JSON reader.
#pragma once

namespace dm {

/// The reader takes a sound document apart as it should and refuses five that are not sound. Never throws.
bool checkJsonSanity() noexcept;

} // namespace dm
