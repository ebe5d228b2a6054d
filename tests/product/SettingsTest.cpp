#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "ChildTest.h"
#include "product/settings.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

VESK::GlobalSettingOnMem* instance(const char* path) {
  return VESK::GlobalSettingOnMem::Instance(path, true, nullptr, nullptr, nullptr, nullptr, true);
}

class SettingsTest : public ChildTest {
 protected:
  std::string write(const std::string& text) const {
    std::ofstream(path("vesk.ini"), std::ios::binary) << text;
    return path("vesk.ini");
  }

  static std::string value(const char* section, const char* key) {
    std::string text = "left over";
    const int found = instance(nullptr)->getValue(key, text, section, 0);
    return found == 0 ? text : found == -1 && text.empty() ? "(none)" : "wrong answer";
  }
};

TEST_F(SettingsTest, ReadsValuesAsTheyAreWritten) {
  const std::string longKey(300, 'k');
  const std::string longValue(70000, 'v');
  const std::string file = write(
      "\xef\xbb\xbf[General-Notification]\r\n"
      "Administrator = ann@example.com; bob@example.com ;eve@example.com # not cut  \r\n"
      "  MailFrom: vesk@example.com\t\r\n"
      "; a comment\n# another = one\n\n"
      "[ LDAP ]\nspaced=1\n[LDAP]\nempty =\nsign = a=b:c\nmail_attr = first\nmail_attr = last\n"
      "[long]\n" +
      longKey + " = " + longValue + "\nend = without newline");
  inChild([&] {
    instance(file.c_str());
    const std::tuple<const char*, const char*, std::string> table[] = {
        {"General-Notification", "Administrator",
         "ann@example.com; bob@example.com ;eve@example.com # not cut"},
        {"General-Notification", "MailFrom", "vesk@example.com"},
        {"general-notification", "MailFrom", "(none)"},
        {"General-Notification", "mailfrom", "(none)"},
        {"General-Notification", "# another", "(none)"},
        {"LDAP", "empty", ""},
        {"LDAP", "sign", "a=b:c"},
        {"LDAP", "mail_attr", "last"},
        {"LDAP", "spaced", "(none)"},
        {" LDAP ", "spaced", "1"},
        {"long", longKey.c_str(), longValue},
        {"long", "end", "without newline"},
    };
    for (const auto& [section, key, text] : table) EXPECT_EQ(text, value(section, key)) << key;
    std::string kept = "left over";
    EXPECT_EQ(-1, instance(nullptr)->getValue(nullptr, kept, "LDAP", 0));
    EXPECT_EQ(-1, instance(nullptr)->getValue("empty", kept, nullptr, 0));
    EXPECT_EQ("", kept);
  });
}

TEST_F(SettingsTest, FailureNamesFileAndLineAndALaterCallTriesAgain) {
  using std::string_literals::operator""s;
  const std::pair<std::string, const char*> faults[] = {
      {"[a]\nk = 1\nneither\nk2 = 2\n", "vesk.ini:3"},
      {"[a]\n[open\n", "vesk.ini:2"},
      {"[a]\n = value\n", "vesk.ini:2"},
      {"[a]\nk = cut\0here\n"s, "vesk.ini:2"},
      {"[" + std::string(49, 's') + "]\nk = 1\n", "vesk.ini:2"},
      {std::string(17 * 1024 * 1024, '\n'), "too large"},
  };
  for (const auto& [text, complaint] : faults) {
    const std::string file = write(text);
    const std::string errors = inChild([&] {
      EXPECT_EQ(nullptr, instance(nullptr));
      VESK::GlobalSettingOnMem* store = instance(file.c_str());
      ASSERT_NE(nullptr, store);
      EXPECT_EQ(store, instance(nullptr));
      EXPECT_FALSE(store->isLoaded());
      EXPECT_EQ("(none)", value("a", "k"));
      instance(write("[a]\nk = mended\n").c_str());
      EXPECT_TRUE(store->isLoaded());
      instance(write("[a]\nk = late\nnew = late\n").c_str());
      EXPECT_EQ("mended", value("a", "k"));
      EXPECT_EQ("(none)", value("a", "new"));
    });
    EXPECT_THAT(errors, HasSubstr(complaint));
    EXPECT_EQ(1u, linesOf(errors).size()) << errors;
  }
}

TEST_F(SettingsTest, FileThatCannotBeReadSaysWhy) {
  std::filesystem::permissions(write("[a]\nk = 1\n"), std::filesystem::perms::none);
  std::filesystem::permissions(folder, std::filesystem::perms::all);
  const std::tuple<std::string, const char*, const char*> faults[] = {
      {path("vesk.ini"), "unreadable", "Permission denied"},
      {path("none.ini"), "missing", "No such file or directory"},
      {folder, "unreadable", "Is a directory"},
      {"", "missing", "No such file or directory"},
  };
  for (const auto& [file, reason, diagnostic] : faults) {
    const std::string errors = inChild([&file = file] {
      becomeOrdinary();
      EXPECT_FALSE(instance(file.c_str())->isLoaded());
    });
    EXPECT_THAT(errors, AllOf(HasSubstr(reason), HasSubstr(diagnostic), HasSubstr(file)));
  }
}

TEST_F(SettingsTest, ItemsSetInMemory) {
  const std::string file = write("[a]\nk = file\nother = file\n");
  inChild([&] {
    VESK::GlobalSettingOnMem* store = instance("");
    EXPECT_EQ(1, store->_replace_create_item_on_mem("a", "k", "newer than the file"));
    instance(file.c_str());
    EXPECT_EQ("newer than the file", value("a", "k"));
    EXPECT_EQ("file", value("a", "other"));
    EXPECT_EQ(1, store->_replace_create_item_on_mem("a", "other", ""));
    EXPECT_EQ("", value("a", "other"));
    for (const auto& [section, key, text] :
         std::vector<std::array<const char*, 3>>{{nullptr, "k", "v"},
                                                 {"a", nullptr, "v"},
                                                 {"a", "k", nullptr},
                                                 {"", "k", "v"},
                                                 {"a", "", "v"}}) {
      EXPECT_EQ(0, store->_replace_create_item_on_mem(section, key, text));
    }
    EXPECT_EQ("newer than the file", value("a", "k"));
  });
  EXPECT_EQ("[a]\nk = file\nother = file\n", readFile(file));
}

TEST_F(SettingsTest, ShippedFileLoads) {
  const char* file = VESK_SOURCE_DIR "/appliance/root/opt/brelvik/vesk/config/vesk.ini";
  EXPECT_EQ("", inChild([&] {
              EXPECT_TRUE(instance(file)->isLoaded());
              EXPECT_EQ("NORMAL", value("general", "log_level"));
            }));
}

// Each writer sets values of one repeated letter: a mixture of two is a torn value.
void checkWhole(const std::string& text) {
  EXPECT_EQ(std::string(text.size(), text.empty() ? 'x' : text[0]), text);
}

TEST_F(SettingsTest, ReadersSeeWholeValuesWhileWritersReplace) {
  constexpr int rounds = 3000;
  const std::string file = write("[a]\nk = aaaa\n");
  const std::string errors = inChild([&] {
    VESK::GlobalSettingOnMem* store = instance(file.c_str());
    std::atomic<int> writing{3};
    std::vector<std::thread> threads;
    for (char letter : {'b', 'c', 'd'}) {
      threads.emplace_back([&, letter] {
        for (int round = 0; round < rounds; ++round) {
          const std::string text(static_cast<std::size_t>(1 + round % 90), letter);
          const std::string key = letter + std::to_string(round);
          EXPECT_EQ(1, store->_replace_create_item_on_mem("a", "k", text.c_str()));
          EXPECT_EQ(1, store->_replace_create_item_on_mem("a", key.c_str(), text.c_str()));
        }
        --writing;
      });
    }
    for (int reader = 0; reader < 4; ++reader) {
      threads.emplace_back([&] {
        while (writing > 0) checkWhole(value("a", "k"));
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (char letter : {'b', 'c', 'd'}) {
      for (int round = 0; round < rounds; ++round) {
        const std::string key = letter + std::to_string(round);
        EXPECT_EQ(std::string(static_cast<std::size_t>(1 + round % 90), letter),
                  value("a", key.c_str()));
      }
    }
  });
  EXPECT_EQ("", errors);
}

}  // namespace
