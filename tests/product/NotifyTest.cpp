// Notification mails, read back as a queue reader and a mail program would, and texts by language.
#include <fcntl.h>
#include <gmime/gmime.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <set>
#include <thread>

#include "product/notify.h"
#include "support/Home.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* MESSAGES = VESK_BINARY_DIR "/share/vesk/resource/messages";
constexpr const char* TITLE = "SYNC_FAIL_NOTIFY_TITLE";
constexpr const char* CONTENT = "SYNC_FAIL_NOTIFY_CONTENT";

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : " | ") + text;
  return all;
}

std::string recipientsOf(std::string setting) {
  std::vector<std::string> recipients{"from an earlier call"};
  const bool any = checkToAddress(setting, recipients);
  EXPECT_NE(any, recipients.empty());
  return joined(recipients);
}

// Gives the result of composing NAME.AF and NAME.DF.
int compose(const std::string& folder, const std::string& name, const char* body = "text",
            std::vector<std::string> recipients = {"ann@example.com"}) {
  return NotifyMailCompose(nullptr, folder.c_str(), (name + ".AF").c_str(), (name + ".DF").c_str(),
                           "us-ascii", "", "", recipients, "subject", body);
}

std::set<std::string> namesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename());
  }
  return names;
}

class NotifyTest : public testing::Test {
 protected:
  NotifyTest() {
    emptyQueue();
    home.newLog();
    // What ICU takes for a name that it does not know, unless told otherwise.
    setenv("LC_ALL", "ja_JP.UTF-8", 1);
  }

  void emptyQueue() const {
    std::filesystem::remove_all(queue);
    std::filesystem::create_directory(queue);
  }

  // Every failure leaves one line.
  void expectLogLines(long count, const std::string& what) {
    const std::string log = home.newLog();
    EXPECT_EQ(count, std::count(log.begin(), log.end(), '\n')) << what << "\n" << log;
  }

  Home& home = Home::instance();
  TempDir dir;
  const std::string queue = dir.path("queue");
};

// The first case, so that the first use of everything meets several threads.
TEST_F(NotifyTest, ThreadsWithTheSameNameGetOnePairAndTheirOwnLanguage) {
  constexpr int ROUNDS = 25;
  std::atomic<int> written = 0;
  const auto work = [&](const char* locale, const char* start) {
    for (int round = 0; round < ROUNDS; ++round) {
      const int code = compose(queue, std::to_string(round));
      written += code == 0;
      EXPECT_TRUE(code == 0 || code == VESK::NOTIFY_EXISTS) << code;
      EXPECT_EQ("Jörg <j@x.de>", recipientsOf("=?utf-8?q?J=C3=B6rg?= <j@x.de>"));
      VESK::BvResbundle texts;
      EXPECT_EQ(0, texts._init(MESSAGES, "LDAPCacheServer", locale));
      EXPECT_THAT(texts.getString(TITLE, ""), testing::StartsWith(start));
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back(work, "de_DE", "Synchronisierung");
    threads.emplace_back(work, "ja_JP", "LDAPキャッシュ");
    threads.emplace_back(work, "C", "LDAP Cache");
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ROUNDS, written);
  EXPECT_EQ(2u * ROUNDS, namesIn(queue).size());
}

TEST_F(NotifyTest, AddressListsAsPeopleWriteThem) {
  const struct {
    const char* setting;
    const char* recipients;
    long refused;
  } cases[] = {
      {"ann@example.com;bob@example.com, eve@example.com",
       "ann@example.com | bob@example.com | eve@example.com", 0},
      {" ;; ,\t", "", 0},
      {"\"Lee; Ann, Dr.\" <ann@x.org>;b@x.org", "\"Lee; Ann, Dr.\" <ann@x.org> | b@x.org", 0},
      {R"("A \"B;\" \\C" <a@x.org>)", R"("A \"B;\" \\C" <a@x.org>)", 0},
      {"ann@x.org (Ann; Lee);<bob@x.org>", "\"Ann; Lee\" <ann@x.org> | bob@x.org", 0},
      {"Admins: a@x.org, B <b@x.org>;; c@x.org", "a@x.org | B <b@x.org> | c@x.org", 0},
      {"ann@x.org;Ann@x.org;ann@X.ORG;Ann Lee <ann@x.org>", "ann@x.org | Ann@x.org", 0},
      {"Jörg <j@bücher.example>", "Jörg <j@xn--bcher-kva.example>", 0},
      {"\"a;b\"@x.org;a@[IPv6:::1];o'neil+tag@x.org",
       "\"a;b\"@x.org | a@[IPv6:::1] | o'neil+tag@x.org", 0},
      {"root;ann@;@x.org;Ann <>;a b@x.org;a@x..org;a@b@c;a@b_c/d", "", 8},
      {"Ann <ann@x.org;b@x.org", "Ann <ann@x.org> | b@x.org", 0},
      {"\"Ann ann@x.org;b@x.org", "b@x.org", 1},
      {"ann@x.org <ann@x.org>;b@x.org", "\"ann@x.org\" <ann@x.org> | b@x.org", 0},
      {"ann@x.org (Ann;b@x.org", "b@x.org", 1},
      {"ann@x.org bob@x.org;c@x.org", "c@x.org", 1},
      {"-oQ/tmp@x.org;jörg@x.org;\xff@x.org;a@[x> <y];a@[]", "", 5},
      {"a@x.org\r\nBcc: b@x.org;\"a\nb\" <c@x.org>;=?utf-8?q?a=0AB?= <d@x.org>;e@x.org", "e@x.org",
       3},
  };
  testing::internal::CaptureStderr();
  for (const auto& [setting, recipients, refused] : cases) {
    EXPECT_EQ(recipients, recipientsOf(setting));
    expectLogLines(refused, setting);
  }
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(NotifyTest, LongSettingsTakeNoLongerThanTheirLength) {
  std::string hundred;
  for (int i = 0; i < 100; ++i)
    hundred += "User " + std::to_string(i) + " <u" + std::to_string(i) + "@x.org>;";
  const std::string all = recipientsOf(hundred);
  EXPECT_EQ(99, std::count(all.begin(), all.end(), '|'));
  for (const char* part : {"\"\\", "(", "<", "a:", "\\", "<\\\""}) {
    std::string setting;
    while (setting.size() < 2'000'000) setting += part;
    EXPECT_EQ("", recipientsOf(setting)) << part;
    expectLogLines(1, part);
  }
}

std::size_t longestLine(const std::string& text) {
  std::size_t longest = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) longest = std::max(longest, line.size());
  return longest;
}

struct ReadMail {
  explicit ReadMail(const std::string& text) {
    GMimeStream* stream = g_mime_stream_mem_new_with_buffer(text.data(), text.size());
    GMimeParser* parser = g_mime_parser_new_with_stream(stream);
    GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
    GMimeObject* part = g_mime_message_get_mime_part(message);
    gchar* body = g_mime_text_part_get_text(GMIME_TEXT_PART(part));
    subject = g_mime_message_get_subject(message);
    text8 = body;
    charset = g_mime_object_get_content_type_parameter(part, "charset");
    from = addresses(g_mime_message_get_from(message));
    to = addresses(g_mime_message_get_to(message));
    g_free(body);
    for (gpointer object : {gpointer(message), gpointer(parser), gpointer(stream)})
      g_object_unref(object);
  }
  static std::string addresses(InternetAddressList* list) {
    gchar* text = internet_address_list_to_string(list, nullptr, FALSE);
    const std::string result = text;
    g_free(text);
    return result;
  }
  std::string subject, text8, charset, from, to;
};

TEST_F(NotifyTest, MailReadsBackAsItWasGiven) {
  const std::string japanese =
      "LDAPキャッシュサーバの同期に失敗しました。設定と接続状態を確認してください。";
  const struct {
    const char* asked;
    const char* charset;
    std::string subject;
    std::string body;
    long logged;
  } cases[] = {
      {"us-ascii", "us-ascii", "plain", "text\n.\nFrom here\n", 0},
      {nullptr, "us-ascii", "plain", "text\n", 0},
      {"us-ascii", "utf-8", "Größe", "text\n", 1},
      {"ISO-8859-1", "ISO-8859-1", "Größe", "prüfen\n", 0},
      {"ISO-8859-1", "utf-8", "Größe", "10 €\n", 1},
      {"iso-2022-jp", "iso-2022-jp", japanese, japanese + "\n", 0},
      {"utf-8", "utf-8", japanese + japanese, std::string(3000, 'x') + "\n", 0},
      {"klingon", "utf-8", "plain", "text\n", 1},
      {"us-ascii//TRANSLIT", "utf-8", "Größe", "text\n", 1},
      {"utf-16", "utf-8", "plain", "text\n", 1},
  };
  std::vector<std::string> recipients{"\"Lee; Ann\" <ann@x.org>", "b@x.org"};
  for (const auto& [asked, charset, subject, body, logged] : cases) {
    EXPECT_EQ(0, NotifyMailCompose("/home", queue.c_str(), "m.AF", "m.DF", asked, "Jörg <j@x.de>",
                                   "bounce@x.de", recipients, subject.c_str(), body.c_str()));
    const std::string message = dir.read("queue/m.DF");
    const ReadMail mail(message);
    EXPECT_EQ(subject, mail.subject);
    EXPECT_EQ(body, mail.text8);
    EXPECT_EQ(charset, mail.charset);
    EXPECT_EQ("Jörg <j@x.de>", mail.from);
    EXPECT_EQ("\"Lee; Ann\" <ann@x.org>, b@x.org", mail.to);
    EXPECT_EQ(std::string::npos, message.find_first_of("\r\x80\xc3\xe3"));
    EXPECT_LE(longestLine(message), 998u);
    EXPECT_THAT(message, HasSubstr("\nAuto-Submitted: auto-generated\n"));
    gchar* sum =
        g_compute_checksum_for_string(G_CHECKSUM_SHA256, message.data(), gssize(message.size()));
    EXPECT_THAT(dir.read("queue/m.AF"),
                MatchesRegex("VESK-Mail: 1\nMessage: m.DF\nBytes: " +
                             std::to_string(message.size()) + "\nSHA-256: " + sum +
                             "\nTime: 20..-..-..T..:..:..Z\nSender: <bounce@x.de>\n"
                             "Recipient: <ann@x.org>\nRecipient: <b@x.org>\n"));
    g_free(sum);
    expectLogLines(logged, asked == nullptr ? "none" : asked);
    emptyQueue();
  }
}

// Encoded twice, looking encoded, and beside one that leaves a quotation open.
TEST_F(NotifyTest, RecipientsReportedGoodAllGetTheMail) {
  std::string setting =
      "=?utf-8?q?=3D=3Futf-8=3Fq=3Fa=3D0ABcc=3A_x=3F=3D?= <n@x.org>;=?x?=@x.org;\"B;\" <b@x.org>";
  std::vector<std::string> recipients;
  EXPECT_TRUE(checkToAddress(setting, recipients));
  recipients.insert(recipients.begin() + 2, "\"Open <o@x.org>");
  EXPECT_EQ(0, compose(queue, "m", "text", recipients));
  EXPECT_THAT(dir.read("queue/m.AF"), HasSubstr("\nRecipient: <n@x.org>\nRecipient: <=?x?=@x.org>\n"
                                                "Recipient: <o@x.org>\nRecipient: <b@x.org>\n"));
  const std::string message = dir.read("queue/m.DF");
  EXPECT_EQ("\"=?utf-8?q?a=0ABcc: x?=\" <n@x.org>, =?x?=@x.org, Open <o@x.org>, \"B;\" <b@x.org>",
            ReadMail(message).to);
  EXPECT_THAT(message, HasSubstr("\n =?x?=@x.org,\n"));
}

// Without a sender the envelope has the null sender and the header the machine's mail system.
TEST_F(NotifyTest, SenderThatIsNoneIsTheNullSender) {
  const std::pair<const char*, long> cases[] = {
      {nullptr, 0}, {"", 0}, {"root", 1}, {"a@b.c\nX: y", 1}};
  for (const auto& [sender, logged] : cases) {
    std::vector<std::string> recipients{"ann@x.org"};
    EXPECT_EQ(0, NotifyMailCompose(nullptr, queue.c_str(), "m.AF", "m.DF", "us-ascii", sender,
                                   sender, recipients, "a\r\nBcc: eve@x.org", nullptr));
    EXPECT_THAT(dir.read("queue/m.AF"), HasSubstr("\nSender: <>\n"));
    const ReadMail mail(dir.read("queue/m.DF"));
    EXPECT_THAT(mail.from, testing::StartsWith("VESK <MAILER-DAEMON@"));
    EXPECT_EQ("a  Bcc: eve@x.org", mail.subject);
    expectLogLines(logged, sender == nullptr ? "null" : sender);
    emptyQueue();
  }
}

// Composes into a file system of its own, mounted on `queue`. Gives the result, 98 when something
// is left behind, 99 where the machine allows no such thing.
int composeOn(const std::string& queue, const char* options, unsigned long flags,
              const char* body) {
  const pid_t child = fork();
  if (child == 0) {
    const bool mounted = unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
                         mount("queue", queue.c_str(), "tmpfs", flags, options) == 0;
    if (!mounted) _exit(99);
    const int code = compose(queue, "full", body);
    _exit(namesIn(queue).empty() ? code : 98);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST_F(NotifyTest, FullOrReadOnlyFileSystemLeavesNothing) {
  const std::string large(100'000, 'x');
  const int full = composeOn(queue, "size=32k", 0, large.c_str());
  if (full == 99) GTEST_SKIP() << "no user namespace here";
  EXPECT_EQ(VESK::NOTIFY_NOT_WRITTEN, full);
  EXPECT_EQ(VESK::NOTIFY_NO_QUEUE, composeOn(queue, "size=32k", MS_RDONLY, "text"));
  expectLogLines(2, "a line each");
}

TEST_F(NotifyTest, RefusalsLeaveTheQueueAsItWas) {
  dir.write("queue/old.DF", "old data");
  dir.write("queue/half.AF", "old control");
  dir.write("file", "");
  const std::string tooLong(256, 'n');  // fails when the message is in place already
  const struct {
    int code;
    const char* folder;
    const char* control;
    const char* data;
    std::vector<std::string> recipients;
  } cases[] = {
      {VESK::NOTIFY_BAD_ARGUMENT, nullptr, "a.AF", "a.DF", {"a@x.org"}},
      {VESK::NOTIFY_BAD_ARGUMENT, "", "a.AF", "a.DF", {"a@x.org"}},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", nullptr, "a.DF", {"a@x.org"}},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", "a.AF", "../a.DF", {"a@x.org"}},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", "..", "a.DF", {"a@x.org"}},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", "a.AF", "a\nb", {"a@x.org"}},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", "a", "a", {"a@x.org"}},
      {VESK::NOTIFY_NO_RECIPIENT, "queue", "a.AF", "a.DF", {}},
      {VESK::NOTIFY_NO_QUEUE, "missing", "a.AF", "a.DF", {"a@x.org"}},
      {VESK::NOTIFY_NO_QUEUE, "file", "a.AF", "a.DF", {"a@x.org"}},
      {VESK::NOTIFY_EXISTS, "queue", "new.AF", "old.DF", {"a@x.org"}},
      {VESK::NOTIFY_EXISTS, "queue", "half.AF", "half.DF", {"a@x.org"}},
      {VESK::NOTIFY_NOT_WRITTEN, "queue", tooLong.c_str(), "a.DF", {"a@x.org"}},
  };
  for (const auto& [code, folder, control, data, recipients] : cases) {
    const std::string path = folder == nullptr || *folder == 0 ? "" : dir.path(folder);
    std::vector<std::string> to = recipients;
    EXPECT_EQ(code, NotifyMailCompose("/home", folder == nullptr ? nullptr : path.c_str(), control,
                                      data, "us-ascii", "", "", to, "s", "b"))
        << data;
    expectLogLines(1, data);
  }
  EXPECT_EQ((std::set<std::string>{"old.DF", "half.AF"}), namesIn(queue));
  EXPECT_EQ("old data old control", dir.read("queue/old.DF") + " " + dir.read("queue/half.AF"));
}

// Beyond the limit the system's answer is a signal that ends the process.
TEST_F(NotifyTest, FileSizeLimitIsAnErrorNotTheEnd) {
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit low{100'000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &low);
  EXPECT_EQ(VESK::NOTIFY_NOT_WRITTEN, compose(queue, "large", std::string(100'000, 'x').c_str()));
  EXPECT_EQ(0, compose(queue, "small"));
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ((std::set<std::string>{"small.AF", "small.DF"}), namesIn(queue));
  EXPECT_THAT(home.newLog(), HasSubstr("notify: write failed at " + queue + "/large.DF after "));
}

// What a reader sees that watches the folder.
TEST_F(NotifyTest, MessageAppearsBeforeItsControlFile) {
  const int watch = inotify_init1(IN_NONBLOCK);
  ASSERT_LE(0, inotify_add_watch(watch, queue.c_str(), IN_MOVED_TO));
  EXPECT_EQ(0, compose(queue, "m"));
  alignas(inotify_event) char events[4096] = {};
  const ssize_t length = read(watch, events, sizeof events);
  close(watch);
  std::string order;
  for (ssize_t at = 0; at < length;) {
    const auto* event = reinterpret_cast<const inotify_event*>(events + at);
    order += std::string(event->name) + " ";
    at += static_cast<ssize_t>(sizeof *event + event->len);
  }
  EXPECT_EQ("m.DF m.AF ", order);
}

TEST_F(NotifyTest, KilledAtAnyMomentNoControlFileStandsAlone) {
  int mails = 0;
  for (int round = 0; round < 30; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      for (int i = 0;; ++i) compose(queue, std::to_string(round) + "." + std::to_string(i));
    }
    usleep(3000 + static_cast<useconds_t>(round) * 337);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  for (const std::string& name : namesIn(queue)) {
    if (name.find(".AF") == std::string::npos) continue;
    const std::string data = dir.read("queue/" + name.substr(0, name.size() - 2) + "DF");
    EXPECT_THAT(dir.read("queue/" + name),
                HasSubstr("\nBytes: " + std::to_string(data.size()) + "\n"));
    ++mails;
  }
  EXPECT_GT(mails, 0);
}

TEST_F(NotifyTest, LanguageComesFromTheLocaleNameAlone) {
  const std::string english =
      "LDAP Cache Server Synchronization Failed / Schedule synchronization for LDAP Cache Server "
      "failed, please check your LDAP settings and connections.";
  const std::string german =
      "Synchronisierung des LDAP-Cache-Servers fehlgeschlagen / Die geplante Synchronisierung des "
      "LDAP-Cache-Servers ist fehlgeschlagen. Bitte prüfen Sie Ihre LDAP-Einstellungen und "
      "-Verbindungen.";
  const std::string japanese =
      "LDAPキャッシュサーバの同期に失敗しました / "
      "LDAPキャッシュサーバのスケジュール同期に失敗しました。"
      "LDAPの設定と接続状態を確認してください。";
  const std::string tooLong = "de_" + std::string(1'000'000, '_');
  const std::pair<std::string, std::vector<const char*>> cases[] = {
      {german, {"de_DE", "de", "de_DE@euro", "de_CH.UTF-8"}},
      {japanese, {"ja_JP"}},
      {english, {nullptr, "", "C", "POSIX", "en_US", "xx_YY", "root", "_de", "%s\xff"}},
      {english, {"../messages/de", tooLong.c_str()}},
  };
  for (const auto& [texts, locales] : cases) {
    for (const char* locale : locales) {
      VESK::BvResbundle bundle;
      EXPECT_EQ(0, bundle._init(MESSAGES, "LDAPCacheServer", locale));
      const std::string title = bundle.getString(TITLE, "none");
      EXPECT_EQ(texts, title + " / " + bundle.getString(CONTENT, "none")) << locale;
      EXPECT_STREQ("none", bundle.getString("UNKNOWN", "none"));
      EXPECT_EQ(nullptr, bundle.getString(nullptr, nullptr));
    }
  }
  expectLogLines(0, "nothing is wrong");
}

TEST_F(NotifyTest, DamagedTextsAreNeverOpened) {
  EXPECT_EQ(home.dir.path("") + "/resource/messages", VESK::BvResbundle::GetResourceFileName());
  const struct {
    const char* file;
    const char* content;  // null removes it
    const char* title;    // for de_DE
  } cases[] = {
      {"de.res", "", "LDAP Cache Server Synchronization Failed"},
      {"de.res", nullptr, "LDAP Cache Server Synchronization Failed"},
      {"root.res", "\xff\xff", "fallback"},
      {"SHA256SUMS", nullptr, "fallback"},
      {"SHA256SUMS", "0 root.res\n", "fallback"},
  };
  for (const auto& [file, content, title] : cases) {
    const TempDir copy;
    std::filesystem::copy(MESSAGES, copy.path("m"));
    std::filesystem::remove(copy.path("m/") + file);
    if (content != nullptr) copy.write(std::string("m/") + file, content);
    VESK::BvResbundle bundle;
    EXPECT_EQ(std::string(title) == "fallback",
              bundle._init(copy.path("m").c_str(), "LDAPCacheServer", "de_DE") != 0);
    EXPECT_STREQ(title, bundle.getString(TITLE, "fallback")) << file;
    expectLogLines(1, file);
  }
  VESK::BvResbundle bundle;
  EXPECT_NE(0, bundle._init(MESSAGES, "NoSuchModule", "de"));
  EXPECT_NE(0, bundle._init(nullptr, nullptr, nullptr));
  EXPECT_STREQ("fallback", bundle.getString(TITLE, "fallback"));
  expectLogLines(2, "a line each");
}

}  // namespace
