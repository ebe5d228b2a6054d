// Notification mails, read back as a queue reader and a mail program would, and texts by language.
#include <gmime/gmime.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>

#include "product/notify.h"
#include "support/Home.h"

static thread_local std::string diskCalls;
static std::atomic<bool> renamesReplace = false;  // as on a file system that cannot do otherwise

#define IN_FRONT_OF_LIBC extern "C" __attribute__((visibility("default"))) int

IN_FRONT_OF_LIBC fsync(int file) {
  struct stat status {};
  fstat(file, &status);
  diskCalls += S_ISDIR(status.st_mode) ? "sync folder, " : "sync file, ";
  return int(syscall(SYS_fsync, file));
}

IN_FRONT_OF_LIBC renameat2(int from, const char* name, int to, const char* newName,
                           unsigned flags) noexcept {
  diskCalls += std::string(newName) + ", ";
  if (renamesReplace) return errno = EINVAL, -1;
  return int(syscall(SYS_renameat2, from, name, to, newName, flags));
}

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* MESSAGES = VESK_BINARY_DIR "/share/vesk/resource/messages";
constexpr const char* TITLE = "SYNC_FAIL_NOTIFY_TITLE";

std::string recipientsOf(std::string setting) {
  std::vector<std::string> recipients{"from an earlier call"};
  const bool any = checkToAddress(setting, recipients);
  EXPECT_NE(any, recipients.empty());
  std::string all;
  for (const std::string& text : recipients) all += (all.empty() ? "" : " | ") + text;
  return all;
}

// Gives the result of composing NAME.AF and NAME.DF.
int compose(const std::string& folder, const std::string& name, const char* body = "text",
            std::vector<std::string> recipients = {"ann@example.com"}) {
  return NotifyMailCompose(nullptr, folder.c_str(), (name + ".AF").c_str(), (name + ".DF").c_str(),
                           "us-ascii", "", "", recipients, "subject", body);
}

std::set<std::string> namesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.insert(entry.path().filename());
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
      renamesReplace = round % 2 != 0;
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
  for (const char* locale : {"de_DE", "de_DE", "C", "C"})
    threads.emplace_back(work, locale, *locale == 'C' ? "LDAP Cache" : "Synchronisierung");
  for (std::thread& thread : threads) thread.join();
  renamesReplace = false;
  EXPECT_EQ(ROUNDS, written);
  EXPECT_EQ(2u * ROUNDS, namesIn(queue).size());
}

TEST_F(NotifyTest, AddressListsAsPeopleWriteThem) {
  const struct {
    std::string setting;
    const char* recipients;
    long refused;
  } cases[] = {
      {"ann@x.org; ;bob@x.org,\t,eve@x.org;", "ann@x.org | bob@x.org | eve@x.org", 0},
      {"\"Lee; Ann, Dr.\" <ann@x.org>;b@x.org", "\"Lee; Ann, Dr.\" <ann@x.org> | b@x.org", 0},
      {R"("A \"B;\" \\C" <a@x.org>)", R"("A \"B;\" \\C" <a@x.org>)", 0},
      {"ann@x.org (Ann; Lee);<bob@x.org>", "\"Ann; Lee\" <ann@x.org> | bob@x.org", 0},
      {"Admins: a@x.org, B <b@x.org>;; c@x.org", "a@x.org | B <b@x.org> | c@x.org", 0},
      {"ann@x.org;Ann@x.org;ann@X.ORG;Ann Lee <ann@x.org>", "ann@x.org | Ann@x.org", 0},
      {"Jörg <j@bücher.example>", "Jörg <j@xn--bcher-kva.example>", 0},
      {"\"a;b\"@x.org;a@[::1];o'b+c@x.org", "\"a;b\"@x.org | a@[::1] | o'b+c@x.org", 0},
      {"root;ann@;@x.org;Ann <>;a b@x.org;a@x..org;a@b@c;<a@b@c>;a@b_c/d", "", 9},
      {"Ann <ann@x.org;b@x.org", "Ann <ann@x.org> | b@x.org", 0},
      {"\"Ann ann@x.org;a@x.org <a@x.org>", "\"a@x.org\" <a@x.org>", 1},
      {"ann@x.org (Ann;ann@x.org bob@x.org;b@x.org", "b@x.org", 2},
      {"<a@x.org,b@[192.0.2.1](>;n\",b@[192.0.2.1](\"", "", 2},
      {"a@[192.0.2.1](Ann;ann@[192.0.2.1] (Ann)", "Ann <ann@[192.0.2.1]>", 1},
      {"-oQ/tmp@x.org;jörg@x.org;\xff@x.org;a@[x> <y];a@[]", "", 5},
      {"Ann <a@x.org> (\x01);Ann <a@x.org> (\xff)", "", 2},
      {"a@x.org\r\nBcc: b@x.org;\"a\nb\" <c@x.org>;=?utf-8?q?a=0AB?= <d@x.org>", "", 3},
      {"Ann <a@x.org> (" + std::string(982, 'x') + ")", "Ann <a@x.org>", 0},
      {"Ann <a@x.org> (" + std::string(983, 'x') + ");\"=?" + std::string(400, '!') +
           "\" <a@x.org>",
       "", 2},
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
  while (hundred.size() < 1300) hundred += "U <u" + std::to_string(hundred.size()) + "@x.org>;";
  const std::string all = recipientsOf(hundred) + " | ";
  EXPECT_EQ(std::count(hundred.begin(), hundred.end(), ';'),
            std::count(all.begin(), all.end(), '|'));
  for (const char* part : {"\"\\", "(", "<", "a:", "\\", "<\\\""}) {
    std::string setting;
    while (setting.size() < 2'000'000) setting += part;
    EXPECT_EQ("", recipientsOf(setting)) << part;
    expectLogLines(1, part);
  }
}

struct ReadMail {
  explicit ReadMail(const std::string& text) {
    GMimeStream* stream = g_mime_stream_mem_new_with_buffer(text.data(), text.size());
    GMimeParser* parser = g_mime_parser_new_with_stream(stream);
    GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
    GMimeObject* part = g_mime_message_get_mime_part(message);
    subject = g_mime_message_get_subject(message);
    charset = g_mime_object_get_content_type_parameter(part, "charset");
    body = taken(g_mime_text_part_get_text(GMIME_TEXT_PART(part)));
    from = taken(internet_address_list_to_string(g_mime_message_get_from(message), nullptr, FALSE));
    to = taken(internet_address_list_to_string(g_mime_message_get_to(message), nullptr, FALSE));
    for (gpointer object : {gpointer(message), gpointer(parser), gpointer(stream)})
      g_object_unref(object);
  }
  static std::string taken(gchar* text) {
    return std::unique_ptr<gchar, decltype(&g_free)>(text, g_free).get();
  }
  std::string subject, body, charset, from, to;
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
      {nullptr, "utf-8", "Größe", "text\n", 1},
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
    diskCalls.clear();
    EXPECT_EQ(0, NotifyMailCompose("/home", queue.c_str(), "m.AF", "m.DF", asked, "Jörg <j@x.de>",
                                   "bounce@x.de", recipients, subject.c_str(), body.c_str()));
    const std::string message = dir.read("queue/m.DF");
    // Neither a killed process nor a power cut leaves a control file without its message.
    EXPECT_EQ("m.DF, sync file, sync file, sync folder, m.AF, sync folder, ", diskCalls);
    const ReadMail mail(message);
    EXPECT_EQ(subject, mail.subject);
    EXPECT_EQ(body, mail.body);
    EXPECT_EQ(charset, mail.charset);
    EXPECT_EQ("Jörg <j@x.de>", mail.from);
    EXPECT_EQ("\"Lee; Ann\" <ann@x.org>, b@x.org", mail.to);
    EXPECT_EQ(std::string::npos, message.find_first_of("\r\x80\xc3\xe3"));
    EXPECT_THAT(message, Not(testing::ContainsRegex("[^\n]{999}")));
    EXPECT_THAT(message, HasSubstr("\nAuto-Submitted: auto-generated\n"));
    const std::string sum =
        ReadMail::taken(g_compute_checksum_for_string(G_CHECKSUM_SHA256, message.c_str(), -1));
    EXPECT_THAT(dir.read("queue/m.AF"),
                MatchesRegex("VESK-Mail: 1\nMessage: m.DF\nBytes: " +
                             std::to_string(message.size()) + "\nSHA-256: " + sum +
                             "\nTime: 20..-..-..T..:..:..Z\nSender: <bounce@x.de>\n"
                             "Recipient: <ann@x.org>\nRecipient: <b@x.org>\n"));
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
  std::vector<std::string> recipients{"ann@x.org"};
  for (const char* sender : {static_cast<const char*>(nullptr), "", "root", "a@b.c\nX: y"}) {
    EXPECT_EQ(0, NotifyMailCompose(nullptr, queue.c_str(), "m.AF", "m.DF", "us-ascii", sender,
                                   sender, recipients, "a\r\nBcc: eve@x.org", nullptr));
    EXPECT_THAT(dir.read("queue/m.AF"), HasSubstr("\nSender: <>\n"));
    EXPECT_THAT(dir.read("queue/m.DF"), MatchesRegex(".*\nFrom: VESK <MAILER-DAEMON@.*\n"
                                                     "Subject: a  Bcc: eve@x.org\n.*"));
    expectLogLines(sender != nullptr && *sender != 0, "a sender that is no address");
    emptyQueue();
  }
}

// Composes into a small file system mounted on `queue`. Gives the result, 98 when something is left
// behind, 99 where the machine allows no such thing.
int composeMounted(const std::string& queue, unsigned long flags, const char* body) {
  const pid_t child = fork();
  if (child == 0) {
    const bool mounted = unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
                         mount("queue", queue.c_str(), "tmpfs", flags, "size=32k") == 0;
    if (!mounted) _exit(99);
    const int code = compose(queue, "full", body);
    _exit(namesIn(queue).empty() ? code : 98);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST_F(NotifyTest, FullOrReadOnlyFileSystemLeavesNothing) {
  const int full = composeMounted(queue, 0, std::string(100'000, 'x').c_str());
  if (full == 99) GTEST_SKIP() << "no user namespace here";
  EXPECT_EQ(VESK::NOTIFY_NOT_WRITTEN, full);
  EXPECT_EQ(VESK::NOTIFY_NO_QUEUE, composeMounted(queue, MS_RDONLY, "text"));
  expectLogLines(2, "a line each");
}

TEST_F(NotifyTest, RefusalsLeaveTheQueueAsItWas) {
  dir.write("queue/old.DF", "old data");
  dir.write("queue/half.AF", "old control");
  const std::string tooLong(256, 'n');  // fails when the message is in place already
  const struct {
    int code;
    const char* folder;
    const char* control;
    const char* data;
    std::size_t recipients;
  } cases[] = {
      {VESK::NOTIFY_BAD_ARGUMENT, nullptr, "a.AF", "a.DF", 1},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", nullptr, "a.DF", 1},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", "a.AF", "x/a.DF", 1},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", "..", "a.DF", 1},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", "a.AF", "a\nb", 1},
      {VESK::NOTIFY_BAD_ARGUMENT, "queue", "a", "a", 1},
      {VESK::NOTIFY_NO_RECIPIENT, "queue", "a.AF", "a.DF", 0},
      {VESK::NOTIFY_NO_QUEUE, "missing", "a.AF", "a.DF", 1},
      {VESK::NOTIFY_EXISTS, "queue", "new.AF", "old.DF", 1},
      {VESK::NOTIFY_EXISTS, "queue", "half.AF", "half.DF", 1},
      {VESK::NOTIFY_NOT_WRITTEN, "queue", tooLong.c_str(), "a.DF", 1},
  };
  for (const auto& [code, folder, control, data, recipients] : cases) {
    const std::string path = folder == nullptr ? "" : dir.path(folder);
    std::vector<std::string> to(recipients, std::string("a@x.org"));
    EXPECT_EQ(code, NotifyMailCompose("/home", folder == nullptr ? nullptr : path.c_str(), control,
                                      data, "us-ascii", "", "", to, "s", "b"));
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

TEST_F(NotifyTest, LanguageComesFromTheLocaleNameAlone) {
  const std::string tooLong = "de_" + std::string(1'000'000, '_');
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"Synchronisierung des .*: Die geplante .*", {"de_DE", "de", "de_DE@euro", "de_CH.UTF-8"}},
      {"LDAPキャッシュサーバの同期に.*: LDAPキャッシュサーバのスケジュール.*", {"ja_JP"}},
      {"LDAP Cache Server Synchronization Failed: Schedule synchronization for LDAP Cache Server "
       "failed, please check your LDAP settings and connections.",
       {nullptr, "", "C", "en_US", "xx_YY", "_de", "%s\xff", "../messages/de", tooLong.c_str()}},
  };
  for (const auto& [text, locales] : cases) {
    for (const char* locale : locales) {
      VESK::BvResbundle bundle;
      EXPECT_EQ(0, bundle._init(MESSAGES, "LDAPCacheServer", locale));
      const std::string title = bundle.getString(TITLE, "none");
      EXPECT_THAT(title + ": " + bundle.getString("SYNC_FAIL_NOTIFY_CONTENT", "none"),
                  MatchesRegex(text));
      EXPECT_STREQ("none", bundle.getString("UNKNOWN", "none"));
      EXPECT_EQ(nullptr, bundle.getString(nullptr, nullptr));
    }
  }
  expectLogLines(0, "nothing is wrong");
}

TEST_F(NotifyTest, DamagedTextsAreNeverOpened) {
  EXPECT_EQ(home.dir.path("") + "/resource/messages", VESK::BvResbundle::GetResourceFileName());
  const std::string english = "LDAP Cache Server Synchronization Failed";
  const struct {
    const char* file;
    const char* content;  // null removes it
    std::string title;    // for de_DE
  } cases[] = {
      {"de.res", "", english},
      {"de.res", nullptr, english},
      {"root.res", "\xff\xff", "fallback"},
      {"SHA256SUMS", nullptr, "fallback"},
  };
  for (const auto& [file, content, title] : cases) {
    const TempDir copy;
    std::filesystem::copy(MESSAGES, copy.path("m"));
    std::filesystem::remove(copy.path("m/") + file);
    if (content != nullptr) copy.write(std::string("m/") + file, content);
    VESK::BvResbundle bundle;
    const int code = bundle._init(copy.path("m").c_str(), "LDAPCacheServer", "de_DE");
    EXPECT_EQ(title == english, code == 0);
    EXPECT_EQ(title, bundle.getString(TITLE, "fallback")) << file;
    expectLogLines(1, file);
  }
  VESK::BvResbundle bundle;
  EXPECT_TRUE(bundle._init(MESSAGES, "NoSuch", "de") && bundle._init(nullptr, nullptr, nullptr));
  expectLogLines(2, "a line each");
}

}  // namespace
