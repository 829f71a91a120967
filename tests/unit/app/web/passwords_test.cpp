#include "app/web/Passwords.h"

#include <gtest/gtest.h>

#include "tests/unit/app/web/UsersOnDisk.h"

namespace web {
namespace {

TEST(Passwords, AHashOpensWithItsPasswordAlone)
{
    const std::string& hash = web_tests::someHash();
    EXPECT_EQ(hash.rfind("$argon2id$v=19$m=19456,t=2,p=1$", 0), 0u) << hash;
    EXPECT_TRUE(isPasswordOf(hash, "password"));
    for (const char* wrong : {"", "Password", "password ", "passwor"})
    {
        EXPECT_FALSE(isPasswordOf(hash, wrong)) << wrong;
    }
    EXPECT_FALSE(isPasswordOf(hash, std::string("password\0", 9)));
}

TEST(Passwords, TheSamePasswordHasAnotherHashEachTime)
{
    EXPECT_NE(hashPassword("password"), web_tests::someHash());
}

TEST(Passwords, AHashOfAnotherKindOrCostIsRefused)
{
    EXPECT_TRUE(isPasswordHash(web_tests::someHash()));
    for (const char* text :
         {"", "password", "$argon2id$", "$6$salt$hash", "$argon2id$v=19$m=4194304,t=2,p=1$c2FsdHNhbHRzYWx0$aGFzaA",
          "$argon2id$v=19$m=19456,t=9999,p=1$Q0NDxN4kKZ11E5XYkWpcJA$NbcmYwdNb+0ONfL/7GP6KbBAn6mUHKda9km4wDboJn0",
          "$argon2i$v=19$m=19456,t=2,p=1$Q0NDxN4kKZ11E5XYkWpcJA$NbcmYwdNb+0ONfL/7GP6KbBAn6mUHKda9km4wDboJn0"})
    {
        EXPECT_FALSE(isPasswordHash(text)) << text;
    }
    EXPECT_FALSE(isPasswordHash(std::string(200, 'x')));
}

TEST(Passwords, ShortLongAndUnprintableOnesAreRefused)
{
    EXPECT_EQ(passwordProblem("12345678"), "");
    EXPECT_EQ(passwordProblem("gr\xc3\xbc\xc3\x9f dich"), "");
    EXPECT_EQ(passwordProblem("1234567"), "a password has 8 to 128 bytes");
    EXPECT_EQ(passwordProblem(std::string(129, 'x')), "a password has 8 to 128 bytes");
    EXPECT_EQ(passwordProblem("password\x03"), "a password has no control characters");
}

TEST(Passwords, TokensAreLongAndNeverTheSame)
{
    const std::string token = newToken();
    EXPECT_EQ(token.size(), 43u);
    EXPECT_NE(token, newToken());
    EXPECT_EQ(tokenDigest(token).size(), 32u);
    EXPECT_EQ(tokenDigest(token), tokenDigest(token));
    EXPECT_NE(tokenDigest(token), tokenDigest(token + "A"));
}

TEST(Passwords, AClearedSecretIsOverwritten)
{
    std::string secret(64, 's');
    const char* const place = secret.data();
    clearSecret(secret);
    EXPECT_EQ(secret, "");
    EXPECT_EQ(place[1], '\0');
}

}  // namespace
}  // namespace web
