#pragma once

#include <string>

// Passwords and what is kept of them: argon2id by libsodium, which also clears memory, compares in constant time and
// makes tokens; a library for crypt alone would need a second one for these. Thread-safe.
namespace web {

constexpr std::size_t kHashMemory = 19 << 20;  // bytes while one password is hashed

// "$argon2id$v=19$m=19456,t=2,p=1$…", with a new salt. Throws std::runtime_error without memory.
std::string hashPassword(const std::string& password);
// Of the form and cost that hashPassword makes: a file cannot make the camera use more memory.
bool isPasswordHash(const std::string& hash);
bool isPasswordOf(const std::string& hash, const std::string& password);

// Why it cannot be a password; empty when it can.
std::string passwordProblem(const std::string& password);

// Overwrites it, also where nobody reads it any more.
void clearSecret(std::string& secret);

// 256 random bits as text.
std::string newToken();
// Of a token, so that the tokens themselves are not kept. 32 bytes.
std::string tokenDigest(const std::string& token);

}  // namespace web
