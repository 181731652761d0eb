// Password checks.

#include "manager/password.h"

#include <crypt.h>
#include <gtest/gtest.h>

namespace {

using namespace manager;

TEST(ChapAnswer, IsTheDigestOfIdentifierPasswordAndChallenge) {
  // MD5("abc") and MD5("message digest") of RFC 1321, cut into the three parts.
  EXPECT_EQ(chapAnswer("ac", "b"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(chapAnswer("mdigest", "essage "), "f96b697d7cb7938d525a2f31aaf161d0");
}

TEST(ChapAnswer, MatchesAnyOpenChallengeInEitherCase) {
  const std::vector<Challenge> open = {"xyz", "ac"};
  EXPECT_TRUE(chapMatches("900150983cd24fb0d6963f7d28e17f72", "b", open));
  EXPECT_TRUE(chapMatches("900150983CD24FB0D6963F7D28E17F72", "b", open));
  EXPECT_FALSE(chapMatches("900150983cd24fb0d6963f7d28e17f73", "b", open));
  EXPECT_FALSE(chapMatches("900150983cd24fb0d6963f7d28e17f72", "c", open));
  EXPECT_FALSE(chapMatches("900150983cd24fb0d6963f7d28e17f72", "b", {}));
}

TEST(ChapAnswer, IsToldByItsForm) {
  EXPECT_TRUE(looksLikeChap("900150983cd24fb0d6963f7d28E17F72"));
  EXPECT_FALSE(looksLikeChap("900150983cd24fb0d6963f7d28e17f7"));
  EXPECT_FALSE(looksLikeChap("900150983cd24fb0d6963f7d28e17f7g"));
  EXPECT_FALSE(looksLikeChap(""));
}

TEST(PlainPassword, MatchesItselfAlone) {
  EXPECT_TRUE(plainMatches("secret", "secret"));
  EXPECT_FALSE(plainMatches("secret ", "secret"));
  EXPECT_FALSE(plainMatches("Secret", "secret"));
  EXPECT_FALSE(plainMatches("", "secret"));
}

TEST(HashedPassword, MatchesItsOwnHash) {
  char salt[CRYPT_GENSALT_OUTPUT_SIZE];
  ASSERT_NE(crypt_gensalt_rn("$y$", 1, nullptr, 0, salt, sizeof salt), nullptr);
  crypt_data data{};
  const std::string hash = crypt_r("pleaseletmein", salt, &data);
  EXPECT_TRUE(isUsableHash(hash));
  EXPECT_TRUE(hashMatches("pleaseletmein", hash));
  EXPECT_FALSE(hashMatches("pleaseletmeout", hash));
  EXPECT_FALSE(hashMatches(std::string("pleaseletmein\0x", 15), hash));
  // crypt(3) takes none of 512 bytes: a wrong password, and nothing that failed.
  EXPECT_FALSE(hashMatches(std::string(511, 'x'), hash));
  EXPECT_FALSE(hashMatches(std::string(512, 'x'), hash));
  EXPECT_FALSE(hashMatches(std::string(100000, 'x'), hash));
}

TEST(HashedPassword, RefusesWhatIsNoYescryptHash) {
  for (const char* text : {"", "*", "plain", "$y$", "$y$j9T$", "$y$j9T$abc", "$1$salt$hash",
                           "$6$salt$0123456789012345678901234567890123456789012"}) {
    EXPECT_FALSE(isUsableHash(text)) << text;
    EXPECT_FALSE(hashMatches("x", text)) << text;
  }
}

}  // namespace
