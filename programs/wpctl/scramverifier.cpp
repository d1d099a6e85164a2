#include "scramverifier.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <array>

namespace wpctl {
namespace {

using Digest = std::array<unsigned char, SHA256_DIGEST_LENGTH>;

Digest Hmac(const Digest& key, const std::string& text) {
  Digest digest{};
  unsigned int size = 0;
  (void)HMAC(EVP_sha256(),
             key.data(),
             static_cast<int>(key.size()),
             reinterpret_cast<const unsigned char*>(text.data()),
             text.size(),
             digest.data(),
             &size);
  return digest;
}

template <std::size_t N>
std::string Base64(const std::array<unsigned char, N>& bytes) {
  std::array<unsigned char, (N + 2) / 3 * 4 + 1> text{};
  (void)EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size()));
  return reinterpret_cast<const char*>(text.data());
}

}  // namespace

std::string ScramVerifier(const std::string& password, int iterations) {
  std::array<unsigned char, 16> salt{};
  if (RAND_bytes(salt.data(), static_cast<int>(salt.size())) != 1) return "";
  Digest salted{};
  (void)PKCS5_PBKDF2_HMAC(password.data(),
                          static_cast<int>(password.size()),
                          salt.data(),
                          static_cast<int>(salt.size()),
                          iterations,
                          EVP_sha256(),
                          static_cast<int>(salted.size()),
                          salted.data());
  const Digest client_key = Hmac(salted, "Client Key");
  Digest stored_key{};
  (void)SHA256(client_key.data(), client_key.size(), stored_key.data());
  return "SCRAM-SHA-256$" + std::to_string(iterations) + ":" + Base64(salt) + "$" +
         Base64(stored_key) + ":" + Base64(Hmac(salted, "Server Key"));
}

}  // namespace wpctl
