#include "hosted/dos/control_characters.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace quorle {
namespace {

TEST(ControlCharactersTest, EachByteOfLatin1) {
  for (int byte = 0; byte < 0x100; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    char shown[8];
    std::snprintf(shown, sizeof shown, "\\x%02x", byte);
    const bool control = byte < 0x20 || (byte >= 0x7F && byte <= 0x9F);
    EXPECT_EQ(ShowControls("a" + text + "z"),
              control ? std::string("a") + shown + "z" : "a" + text + "z");
  }
}

TEST(ControlCharactersTest, BytesThatAreACharacterElsewhereAreBytes) {
  EXPECT_EQ(ShowControls("\xc2\x9b"), "\xc2\\x9b");
  EXPECT_EQ(ShowControls("\xc3\x84"), "\xc3\\x84");
}

TEST(ControlCharactersTest, CharactersOfALineStayWhole) {
  for (const char* const text :
       {"", "plain", "\xc3\x84", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xc2\xa0", "\xdf\xbf"}) {
    EXPECT_EQ(ShowControlsOfLine(text), text);
    EXPECT_EQ(ShowControlsOfLine("<" + std::string(text) + ">"), "<" + std::string(text) + ">");
  }
}

struct LineCase {
  const char* text;
  const char* shown;
};

class LineTest : public testing::TestWithParam<LineCase> {};

TEST_P(LineTest, ShowsWhatATerminalWouldObey) {
  EXPECT_EQ(ShowControlsOfLine(GetParam().text), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, LineTest,
    testing::Values(
        LineCase{"\x1b]0;title\x07", "\\x1b]0;title\\x07"}, LineCase{"a\r\nb", "a\\x0d\\x0ab"},
        LineCase{"\xc2\x9b", "\xc2\\x9b"},  // the same control character, in UTF-8
        LineCase{"\xc2\x80\xc2\x9f", "\xc2\\x80\xc2\\x9f"},
        LineCase{"\x9b"
                 "1m",
                 "\\x9b"
                 "1m"},
        LineCase{"\xc1\x9b", "\xc1\\x9b"},  // longer than need be
        LineCase{"\xe0\x80\x9b", "\xe0\\x80\\x9b"}, LineCase{"\xe0\x82\x9b", "\xe0\\x82\\x9b"},
        LineCase{"\xf0\x80\x80\x9b", "\xf0\\x80\\x80\\x9b"},
        LineCase{"\xf5\x80\x80\x80", "\xf5\\x80\\x80\\x80"}, LineCase{"\xc3", "\xc3"},  // cut short
        LineCase{"\xe2\x82", "\xe2\\x82"}, LineCase{"\xe2\x1b[m", "\xe2\\x1b[m"},
        LineCase{"\xe4\xf6", "\xe4\xf6"}));  // of Latin-1

}  // namespace
}  // namespace quorle
