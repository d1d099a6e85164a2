// What a PostgreSQL server stores of a role's password.
#pragma once

#include <string>

namespace wpctl {

/// The verifier of `password` for SCRAM-SHA-256 (RFC 5802 and 7677), in the form in which CREATE
/// ROLE takes it; empty when no randomness is to be had. A login costs both sides `iterations`
/// rounds of hashing.
std::string ScramVerifier(const std::string& password, int iterations);

}  // namespace wpctl
