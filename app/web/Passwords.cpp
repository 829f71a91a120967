#include "app/web/Passwords.h"

#include <sodium.h>

#include <algorithm>
#include <stdexcept>

namespace web {
namespace {

constexpr unsigned long long kPasses = 2;
constexpr std::size_t kShortest = 8;
constexpr std::size_t kLongest = 128;
constexpr std::size_t kTokenBytes = 32;

void needLibrary()
{
    if (sodium_init() < 0)
    {
        throw std::runtime_error("libsodium cannot be started");
    }
}

}  // namespace

std::string hashPassword(const std::string& password)
{
    needLibrary();
    char hash[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str(hash, password.data(), password.size(), kPasses, kHashMemory) != 0)
    {
        throw std::runtime_error("there is not enough memory to hash a password");
    }
    return hash;
}

bool isPasswordHash(const std::string& hash)
{
    needLibrary();
    return hash.size() < crypto_pwhash_STRBYTES &&
           crypto_pwhash_argon2id_str_needs_rehash(hash.c_str(), kPasses, kHashMemory) == 0;
}

bool isPasswordOf(const std::string& hash, const std::string& password)
{
    needLibrary();
    return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

std::string passwordProblem(const std::string& password)
{
    if (password.size() < kShortest || password.size() > kLongest)
    {
        return "a password has " + std::to_string(kShortest) + " to " + std::to_string(kLongest) + " bytes";
    }
    const bool printable = std::none_of(password.begin(), password.end(),
                                        [](unsigned char letter) { return letter < 0x20 || letter == 0x7f; });
    return printable ? "" : "a password has no control characters";
}

void clearSecret(std::string& secret)
{
    sodium_memzero(secret.data(), secret.size());
    secret.clear();
}

std::string newToken()
{
    needLibrary();
    constexpr auto kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
    unsigned char random[kTokenBytes];
    randombytes_buf(random, sizeof random);
    char text[sodium_base64_ENCODED_LEN(kTokenBytes, kVariant)];
    return sodium_bin2base64(text, sizeof text, random, sizeof random, kVariant);
}

std::string tokenDigest(const std::string& token)
{
    needLibrary();
    unsigned char digest[crypto_generichash_BYTES];
    crypto_generichash(digest, sizeof digest, reinterpret_cast<const unsigned char*>(token.data()), token.size(),
                       nullptr, 0);
    return std::string(reinterpret_cast<const char*>(digest), sizeof digest);
}

}  // namespace web
