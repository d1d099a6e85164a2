// A mail as it goes over the line (RFC 5322).
#pragma once

#include <string>

#include "platform/orvasmtp.h"

namespace watchpost {

/// Whether a text can stand as an address in a command to the server and in a header: "X@Y" of
/// printable ASCII without blanks and angle brackets.
bool IsMailAddress(const char* text);

/// Header and body, all lines with "\r\n" at their end. Both addresses must be valid ones.
std::string ComposeMessage(const ORVASMTP& smtp);

}  // namespace watchpost
