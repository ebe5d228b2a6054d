#include "JniCommon.h"

#include <cstring>

#include "JvmTest.h"
#include "Seams.h"

namespace {

using Texts = std::vector<std::u16string>;

// Counts the texts that are taken in the VM's UTF-8 form.
struct UtfTexts {
  explicit UtfTexts(JNIEnv* env) : fault(env) {
    taken = 0;
    real = fault.real();
    fault->GetStringUTFChars = [](JNIEnv* e, jstring s, jboolean* copy) {
      ++taken;
      return real->GetStringUTFChars(e, s, copy);
    };
  }
  JniFault fault;
  inline static int taken;
  inline static const JNINativeInterface_* real;
};

using JniStringTest = JvmTest;

TEST_F(JniStringTest, TextAndWhereItLies) {
  const struct {
    std::u16string java;
    std::string read;
    std::size_t heap;  // size of the block that holds the text
    int utf;           // texts taken in the VM's UTF-8 form
  } rows[] = {
      {u"", "", 0, 0},
      {u"abc", "abc", 0, 0},
      {std::u16string(u"\0abc", 4), "", 0, 0},
      {std::u16string(u"a\0b", 3), std::string("a\0b", 3), 0, 0},
      {std::u16string(511, u'a'), std::string(511, 'a'), 0, 0},
      {std::u16string(512, u'a'), std::string(512, 'a'), 1026, 0},
      {std::u16string(600, u'a'), std::string(600, 'a'), 1202, 0},
      {std::u16string(600, u'\0'), "", 0, 0},
      {u"\u00E9t\u00E9", "\xC3\xA9t\xC3\xA9", 0, 1},
      {u"\x7F", "\x7F", 0, 0},
      {u"\u0080", "\xC2\x80", 0, 1},
      {std::u16string(600, u'a') + u'\u20AC', std::string(600, 'a') + "\xE2\x82\xAC", 0, 1},
      {u"\U0001F600", "\xED\xA0\xBD\xED\xB8\x80", 0, 1},
  };
  for (const auto& row : rows) {
    jstring source = text(row.java);
    const UtfTexts utfTexts(env);
    const JniLedger ledger(env);
    {
      seams.heapBlock = 0;
      const VeskJniString taken(env, source);
      const std::size_t heap = seams.heapBlock;
      EXPECT_EQ(0, std::memcmp(taken.str, row.read.c_str(), row.read.size() + 1)) << row.read;
      EXPECT_EQ(row.heap, heap) << row.read;
      EXPECT_EQ(row.utf, utfTexts.taken) << row.read;
      EXPECT_FALSE(taken.lost()) << row.read;
    }
    EXPECT_EQ(0U, seams.heapBlock) << row.read;
  }
}

TEST_F(JniStringTest, ShortOfMemoryReadsAsEmptyAndLost) {
  const auto read = [&](const std::u16string& java) {
    jstring source = text(java);
    return bridge([&] {
      const VeskJniString taken(env, source);
      EXPECT_TRUE(taken.lost());
      return std::string(taken.str);
    });
  };
  seams.mallocFails = true;
  EXPECT_EQ("", read(std::u16string(512, u'a')));
  seams.mallocFails = false;
  JniFault fault(env);
  fault->GetStringUTFChars = [](JNIEnv*, jstring, jboolean*) -> const char* { return nullptr; };
  EXPECT_EQ("", read(u"\u00E9"));
  fault->GetStringChars = [](JNIEnv*, jstring, jboolean*) -> const jchar* { return nullptr; };
  EXPECT_EQ("", read(std::u16string(600, u'a')));
  EXPECT_EQ(0U, seams.heapBlock);
}

// The zero unit behind the last character is looked at as well.
TEST_F(JniStringTest, CopyWithoutItsTerminatorIsNotTakenForAscii) {
  JniFault fault(env);
  fault->GetStringChars = [](JNIEnv*, jstring, jboolean*) -> const jchar* {
    static const jchar unterminated[] = {'a', 'b', 0xE9};
    return unterminated;
  };
  fault->ReleaseStringChars = [](JNIEnv*, jstring, const jchar*) {};
  jstring source = text(u"ab");
  const UtfTexts utfTexts(env);
  const JniLedger ledger(env);
  EXPECT_STREQ("ab", VeskJniString(env, source).str);
  EXPECT_EQ(1, utfTexts.taken);
}

struct ListTest : JvmTest {
  int append(std::vector<std::string> items, jobject list) {
    return bridge([&] { return formJArrListStr(env, items, list); });
  }
};

TEST_F(ListTest, TextsArriveWholeAfterWhatIsThere) {
  jobject list = newList();
  EXPECT_EQ(0, append({}, list));
  EXPECT_EQ(Texts{}, texts(list));
  EXPECT_EQ(0, append({"", "two\nlines"}, list));
  char one[] = "a \xF0\x9F\x98\x80 b\xC3\xA9\xE2\x82\xAC\n";
  EXPECT_EQ(0, bridge([&] { return formJArrListStr(env, one, list); }));
  EXPECT_EQ((Texts{u"", u"two\nlines", u"a \U0001F600 b\u00E9\u20AC\n"}), texts(list));
}

TEST_F(ListTest, BytesThatAreNotUtf8BecomeReplacementCharacters) {
  const std::pair<const char*, std::u16string> rows[] = {
      {"a\xFFz", u"a\uFFFDz"},
      {"\xC0\xAF", u"\uFFFD\uFFFD"},  // longer than needed
      {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond the last character
      {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
      {"\xE2\x82", u"\uFFFD\uFFFD"},                // the text ends within a character
      {"\xED\xA0\xBD\xED\xB8\x80", u"\U0001F600"},  // as the VM itself writes it
  };
  for (const auto& [bytes, arrives] : rows) {
    jobject list = newList();
    EXPECT_EQ(0, append({bytes}, list));
    EXPECT_EQ(Texts{arrives}, texts(list));
  }
}

TEST_F(ListTest, WhatWasAddedBeforeAFailureStays) {
  static int calls;
  static const JNINativeInterface_* real;
  calls = 0;
  jobject list = newList();
  {
    JniFault fault(env);
    real = fault.real();
    fault->NewStringUTF = [](JNIEnv* e, const char* bytes) {
      return ++calls == 2 ? nullptr : real->NewStringUTF(e, bytes);
    };
    EXPECT_EQ(501, append({"a", "b", "c"}, list));
  }
  {
    JniFault fault(env);
    fault->CallBooleanMethodV = [](JNIEnv*, jobject, jmethodID, va_list) -> jboolean { return 0; };
    EXPECT_EQ(503, append({"d"}, list));
  }
  EXPECT_EQ(Texts{u"a"}, texts(list));
}

TEST_F(ListTest, AddThatThrowsIs503AndTheExceptionIsLeft) {
  char text[] = "text";
  EXPECT_EQ(503, append({"a", "b"}, refusingList()));
  EXPECT_TRUE(takeException());
  jobject list = refusingList();
  EXPECT_EQ(503, bridge([&] { return formJArrListStr(env, text, list); }));
  EXPECT_TRUE(takeException());
}

struct ByteTextTest : JvmTest {
  std::string read(jbyteArray source, jsize limit) {
    char buffer[600] = {};
    std::memset(buffer + limit + 1, '!', sizeof buffer - static_cast<std::size_t>(limit) - 1);
    bridge([&] { readByteText(env, source, buffer, limit); });
    EXPECT_EQ('!', buffer[limit + 1]);
    return buffer;
  }
};

TEST_F(ByteTextTest, IsCutAtItsLimitAndAtAZeroByte) {
  for (const int limit : {255, 256, 511}) {
    for (const int length : {limit - 1, limit, limit + 1}) {
      const auto kept = static_cast<std::size_t>(std::min(length, limit));
      const std::string source(static_cast<std::size_t>(length), 'b');
      EXPECT_EQ(source.substr(0, kept), read(bytes(source), limit));
    }
  }
  EXPECT_EQ("", read(bytes(""), 511));
  EXPECT_EQ("ab", read(bytes(std::string("ab\0cd", 5)), 511));
  EXPECT_EQ("", read(nullptr, 511));
}

TEST_F(ByteTextTest, LengthBelowZeroCountsAsTheLimitAndNoElementsAsEmpty) {
  jbyteArray source = bytes(std::string(600, 'b'));
  JniFault fault(env);
  fault->GetArrayLength = [](JNIEnv*, jarray) -> jsize { return -1; };
  EXPECT_EQ(std::string(511, 'b'), read(source, 511));
  fault->GetByteArrayElements = [](JNIEnv*, jbyteArray, jboolean*) -> jbyte* { return nullptr; };
  EXPECT_EQ("", read(source, 511));
}

}  // namespace
