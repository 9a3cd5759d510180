// Whom a server's certificate has to be signed by.
#pragma once

namespace dm::platform {

/// The file of the certificate authorities that are trusted; null for those of the system. It stands in a source file
/// of its own so that the tests, whose server nobody else vouches for, can be linked with another answer. Nothing at
/// run time can change it.
const char *authorityFile();

} // namespace dm::platform
