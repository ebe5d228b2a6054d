// An appliance with spam-pattern 1.0 in use, and a source that offers 2.0.
#ifndef VESK_TESTS_PRODUCT_UPDATE_UPDATE_TEST_H
#define VESK_TESTS_PRODUCT_UPDATE_UPDATE_TEST_H

#include <gmock/gmock.h>

#include <set>

#include "product/update.h"
#include "product/update/Publisher.h"
#include "support/Home.h"

constexpr BvUpdateType SPAM = UPDATE_SPAM_PATTERN;

class UpdateTest : public testing::Test {
 protected:
  // The files of a version; they tell which it is.
  static Entries files(const std::string& version) {
    return {{"./", "", AE_IFDIR, "", 0755},
            {"./rules/", "", AE_IFDIR, "", 0700},
            {"./rules/main", "rules of " + version},
            {"tool", "#!" + version, AE_IFREG, "", 0755}};
  }

  UpdateTest() {
    setting("source", "file://" + publisher.dir.path("source"));
    for (const char* key : {"ca_file", "connect_timeout", "stall_timeout", "timeout", "max_package",
                            "allow_http", "key_file"})
      setting(key, "");
    appliance.write("log/.keep", "");
    appliance.write("config/update-key.pem", publisher.dir.read("key.pem.pub"));
    BvUpdateInit init;
    EXPECT_TRUE(init.Init(root()));
    offer("1.0");
    EXPECT_EQ("1 1.0", download());
    offer("2.0");
    home.newLog();
  }

  std::string root() const { return appliance.path("."); }
  static void setting(const char* key, const std::string& value) {
    Home::set("update", key, value);
  }

  void offer(const std::string& version) {
    publisher.offer("spam-pattern", version, files(version));
    publisher.publish();
  }

  // Result and version of an update by an object of its own.
  static std::string download(bool force = false, BvUpdateType type = SPAM) {
    std::string version = "from an earlier call";
    const int result = BvUpdate(UPDATE_KIND_COMPONENTS).download(type, version, force);
    return std::to_string(result) + " " + version;
  }
  static int rollback() { return BvUpdate(UPDATE_KIND_COMPONENTS).rollback(SPAM, 1); }

  std::string at(const std::string& name) const {
    return appliance.path("data/update/spam-pattern/" + name);
  }
  // The version that a link's files are of; "mixed" when they are of several, "" without a link.
  std::string whole(const std::string& link) const {
    if (!std::filesystem::exists(at(link))) return "";
    const auto content = [&](const char* name) {
      return appliance.read("data/update/spam-pattern/" + link + "/" + name);
    };
    const std::string version =
        content("tool").substr(std::min<std::size_t>(2, content("tool").size()));
    return content("rules/main") == "rules of " + version ? version : "mixed";
  }
  std::set<std::string> left() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(at(".")))
      names.insert(entry.path().filename());
    for (const auto& entry : std::filesystem::directory_iterator(at("versions")))
      names.insert(entry.path().stem());
    return names;
  }
  // Everything of that version and nothing else, but the version before.
  void expectInUse(const std::string& version, const std::string& before) const {
    EXPECT_EQ(version, whole("current"));
    EXPECT_EQ(before, whole("previous"));
    std::set<std::string> names{"current", "left", "versions", version};
    if (!before.empty()) names.insert({"previous", before});
    EXPECT_EQ(names, left());
  }

  Home& home = Home::instance();
  TempDir appliance;
  Publisher publisher;
};

#endif
