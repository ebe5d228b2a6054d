// Messages of the spool, as a console shows and fetches them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "product/agent.h"
#include "support/Agent.h"
#include "support/Home.h"
#include "support/TempDir.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

const std::string letter =
    "From: =?utf-8?q?J=C3=B6rg_M=C3=BCller?= <joerg@example.com>\r\n"
    "Subject: =?iso-8859-1?b?R3L832U=?=\r\n folded\r\n"
    "MIME-Version: 1.0\r\n"
    "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
    "--b\r\nContent-Type: text/plain; charset=iso-8859-1\r\n"
    "Content-Transfer-Encoding: quoted-printable\r\n\r\nSch=F6ne=\r\n Gr=FC=DFe\r\nAnn\r\n"
    "--b\r\nContent-Type: application/pdf\r\nContent-Disposition: attachment;\r\n"
    " filename*=utf-8''%C3%9Cbersicht%09.pdf\r\nContent-Transfer-Encoding: base64\r\n\r\n"
    "AAECAwQ=\r\n"
    "--b\r\nContent-Type: message/rfc822\r\n\r\nSubject: inner\r\n\r\ntext\r\n"
    "--b--\r\n";

const std::string page =
    "Subject: page\n"
    "Content-Type: text/html; charset=utf-8\n\n"
    "<html><head><title>no</title><style>p {}</style></head><!-- no --><BODY>A&amp;B &#x20ac;<br>"
    "next<script>no</script>\n  line</body></html>";

class QuarantineTest : public testing::Test {
 protected:
  QuarantineTest() {
    Home::instance();
    for (const char* area : {"quarantine", "archive", "postponed"}) {
      spool.write(std::string(area) + "/same.eml", std::string("Subject: ") + area + "\n\n" + area);
    }
    spool.write("quarantine/letter.eml", letter);
    spool.write("quarantine/page.eml", page);
    spool.write("quarantine/empty.eml", "");
    spool.write("quarantine/.hidden.eml", letter);
    spool.write("secret.eml", "Subject: secret\n\n");
    symlink(spool.path("secret.eml").c_str(), spool.path("quarantine/link.eml").c_str());
    mkfifo(spool.path("quarantine/pipe.eml").c_str(), 0600);
    mkdir(exports.path("sub").c_str(), 0700);
    symlink(outside.path("").c_str(), exports.path("away").c_str());
    symlink(outside.path("victim").c_str(), exports.path("linked").c_str());
  }

  bool header(std::string reference, bool archived = false, bool postponed = false) {
    char buffer[AgentSOAPClient::headerSize] = {};
    const bool got =
        postponed ? AgentSOAPClient::getMsgHeader_PE(at(), reference.data(), false, buffer)
                  : AgentSOAPClient::getMsgHeader(at(), reference.data(), false, buffer, archived);
    first = buffer;
    return got;
  }

  bool detail(std::string reference, int firstSize = 8192, int secondSize = 512) {
    std::string one(static_cast<std::size_t>(firstSize) + 1, '\0');
    std::string two(static_cast<std::size_t>(secondSize) + 1, '\0');
    char* pointers[2] = {one.data(), two.data()};
    const bool got = AgentSOAPClient::getEUQMsgDetail(at(), reference.data(), false, &pointers[0],
                                                      firstSize, &pointers[1], secondSize);
    first = one.c_str();
    second = two.c_str();
    return got;
  }

  bool whole(std::string reference, std::string target) {
    return AgentSOAPClient::getWholeMsg(at(), reference.data(), target.data(), false);
  }

  const char* at() const { return endpoint.c_str(); }

  TempDir spool, exports, outside;
  Agent agent{{"--spool", spool.path(""), "--export", exports.path("")}};
  std::string endpoint = agent.endpoint();
  std::string first, second;
};

TEST_F(QuarantineTest, ShowsHeadersAndTextsDecoded) {
  ASSERT_TRUE(header("letter"));
  EXPECT_THAT(first, StartsWith("From: Jörg Müller <joerg@example.com>\nSubject: Grüße folded\n"));
  ASSERT_TRUE(detail("letter"));
  EXPECT_EQ("Schöne Grüße\nAnn\n", first + (first.ends_with('\n') ? "" : "\n"));
  EXPECT_EQ("Übersicht .pdf\tapplication/pdf\t5\ninner\tmessage/rfc822\t20\n", second);
  ASSERT_TRUE(detail("page"));
  EXPECT_EQ("A&B €\nnext line", first);
  EXPECT_EQ("", second);
  ASSERT_TRUE(detail("letter", 4, 1));
  EXPECT_EQ("Sch", first) << "cut at the end of a character";
  EXPECT_EQ("", second);
}

TEST_F(QuarantineTest, LooksInTheAreaThatWasAsked) {
  ASSERT_TRUE(header("same"));
  EXPECT_THAT(first, HasSubstr("quarantine"));
  ASSERT_TRUE(header("same", true));
  EXPECT_THAT(first, HasSubstr("archive"));
  ASSERT_TRUE(header("same", false, true));
  EXPECT_THAT(first, HasSubstr("postponed"));
  char reference[] = "same", target[] = "same.eml";
  ASSERT_TRUE(AgentSOAPClient::getWholeMsg_PE(at(), reference, target));
  EXPECT_THAT(exports.read("same.eml"), HasSubstr("postponed"));
}

TEST_F(QuarantineTest, AReferenceNamesNothingOutsideItsArea) {
  for (const char* reference : {"none", "empty", "link", "pipe", ".hidden", "../secret", "..", ".",
                                "/etc/passwd", "letter.eml", "../quarantine/letter", "./letter",
                                "letter/", "letter\n", "letter.eml/../letter"}) {
    SCOPED_TRACE(reference);
    EXPECT_FALSE(header(reference));
    EXPECT_FALSE(detail(reference));
    EXPECT_EQ(std::string(reference) == "empty", whole(reference, "x.eml"));
  }
  EXPECT_FALSE(header(std::string(300, 'x')));
}

TEST_F(QuarantineTest, WritesTheWholeMessageIntoTheExportFolder) {
  for (const std::string& target : {std::string("m.eml"), exports.path("full.eml"),
                                    exports.path("sub/m.eml"), std::string("linked")}) {
    SCOPED_TRACE(target);
    ASSERT_TRUE(whole("letter", target));
    const std::string path = target[0] == '/' ? target : exports.path(target);
    struct stat about {};
    ASSERT_EQ(0, lstat(path.c_str(), &about));
    EXPECT_EQ(static_cast<unsigned>(S_IFREG | 0640), about.st_mode);
    EXPECT_EQ(letter, exports.read(path.substr(exports.path("").size())));
  }
  ASSERT_TRUE(whole("page", "m.eml"));
  EXPECT_EQ(page, exports.read("m.eml")) << "the file that was there is replaced";
  EXPECT_FALSE(std::filesystem::exists(outside.path("victim"))) << "the link, not what it names";
}

TEST_F(QuarantineTest, WritesNowhereElse) {
  for (const std::string& target :
       {std::string("../m.eml"), std::string("sub/m.eml"), std::string(".m.eml"),
        std::string("sub"), outside.path("m.eml"), exports.path("away/m.eml"),
        exports.path("../m.eml"), exports.path("sub/../m.eml"), exports.path("none/m.eml"),
        exports.path("m.eml/"), exports.path("linked/x"), std::string("a\nb")}) {
    SCOPED_TRACE(target);
    EXPECT_FALSE(whole("letter", target));
  }
  EXPECT_TRUE(std::filesystem::is_empty(outside.path("")));
  for (const auto& entry : std::filesystem::directory_iterator(exports.path(""))) {
    EXPECT_THAT(entry.path().filename(), testing::AnyOf("sub", "away", "linked"));
  }
  const Agent without({"--spool", spool.path("")});
  endpoint = without.endpoint();
  EXPECT_FALSE(whole("letter", "m.eml"));
}

TEST_F(QuarantineTest, PartsWithinPartsDoNotExhaustIt) {
  std::string deep = "Subject: deep\n";
  for (int level = 0; level < 5000; ++level) {
    const std::string boundary = "b" + std::to_string(level);
    deep += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
  }
  spool.write("quarantine/deep.eml", deep + "\ntext");
  detail("deep");
  EXPECT_TRUE(header("letter"));
}

}  // namespace
