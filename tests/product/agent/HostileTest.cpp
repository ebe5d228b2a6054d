// Agents, and what is no agent, that answer in every wrong way, and in some that only look wrong.
#include <gmock/gmock.h>

#include <cmath>

#include "ScriptedAgent.h"
#include "product/agent.h"
#include "support/Home.h"

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr std::size_t MIB = 1024 * 1024;
constexpr double SUM = 2702;
const std::string GOOD = "<accepted>true</accepted><answer>2702</answer>";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

std::string soapTest(const std::string& values) { return soap("test", values); }
std::string answer(const std::string& text) {
  return http(soapTest("<accepted>true</accepted><answer>" + text + "</answer>"));
}
// In an element that nobody looks at.
std::string more(const std::string& text) {
  return http(soapTest(GOOD + "<more>" + text + "</more>"));
}
std::string fault(const std::string& status) {
  return http(
      replaced(soapTest(""), "<testResponse xmlns=\"urn:brelvik:vesk:agent:1\"></testResponse>",
               "<e:Fault><faultcode>e:Server</faultcode><faultstring>spool\nbroken"
               "</faultstring></e:Fault>"),
      status);
}
std::string nested(int deep) {  // in an envelope and body, with the elements of a good answer
  std::string open, close;
  for (int i = 0; i < deep - 3; ++i) open += "<x>", close += "</x>";
  return http(soapTest(GOOD + open + close));
}
std::string ofLength(std::size_t length) {
  const std::string text = soapTest(GOOD);
  return http(text + std::string(length - text.size(), ' '));
}

struct Case {
  const char* name;
  Script script;
  const char* reason;  // empty: the answer counts
  double sum = SUM;
};

// What a lenient parser makes something of: whatever follows it is not what the agent meant.
std::vector<Case> malformed() {
  const std::string good = soapTest(GOOD);
  const char* unknown = "an unknown entity or character";
  return {
      {"what only looks wrong",
       {more(
           "&amp;&#9;&#00065;&#x10FFFF;]]&gt; ]] > ' \"<x a='>&apos;' b = \"'a=''\" /><?p a&b;?>")},
       ""},
      {"entity", {more("a&foo;b")}, unknown},
      {"lone &", {more("a & b")}, unknown},
      {"in an attribute", {more("<x a='&foo;'/>")}, unknown},
      {"character 0", {more("a&#0;b")}, unknown},
      {"more than 32 bits", {more("&#x100000041;")}, unknown},
      {"above the highest", {more("&#x110000;")}, unknown},
      {"surrogate", {more("&#xD83D;&#xDE00;")}, unknown},
      {"no number", {more("&#X41;")}, unknown},
      {"negative", {more("&#-65;")}, unknown},
      {"empty number", {more("&#x;")}, unknown},
      {"control character", {more("\x01")}, "a character that"},
      {"U+FFFF", {more("\uFFFF")}, "a character that"},
      {"]]>", {more("]]>")}, "]]> in a text"},
      {"< in an attribute", {more("<x a='<'/>")}, "a < within"},
      {"attribute twice", {more("<x a='1' b='>'\n a =\"2\"/>")}, "an attribute twice"},
      {"-- in a comment", {more("<!-- a -- b -->")}, "-- in a comment"},
      {"text before", {http("x" + good)}, "text outside"},
      {"text behind", {http(good + "\n<!-- -->x")}, "text outside"},
      {"CDATA behind", {http(good + "<![CDATA[]]>")}, "text outside"},
      {"a second root", {http(good + "<x/>")}, "more than one envelope"},
      {"late declaration", {http("\n<?xml version='1.0'?>" + good)}, "not at the beginning"},
  };
}

// The time-out is one second where it is what ends the call.
std::vector<Case> cases() {
  const std::string good = http(soapTest(GOOD));
  const milliseconds late(1600);
  return {
      {"good", {good}, ""},
      {"never answers", {.bytes = "", .keepsOpen = true}, "timed out before"},
      {"drips", {.bytes = good, .piece = 1, .pause = milliseconds(20)}, "timed out before"},
      {"too late", {.bytes = good, .wait = late}, "timed out before"},
      {"stalls", {.bytes = good.substr(0, 150), .keepsOpen = true}, "timed out before"},
      {"closes at once", {""}, "cut short"},
      {"closes early", {good.substr(0, good.size() - 1)}, "cut short"},
      {"length too small", {replaced(good, "Length: 2", "Length: 1")}, "not a whole XML document"},
      {"no HTTP", {"SSH-2.0-server\r\n"}, "hint"},
      {"no XML", {http("<html><p>Welcome<br></html>")}, "not a whole XML document"},
      {"empty", {http("")}, "not a whole XML document"},
      {"redirect", {replaced(good, "200 OK", "302 Found\r\nLocation: /agent")}, "HTTP status 302"},
      {"not found", {http("<h1>none</h1>", "404 Not Found")}, "HTTP status 404"},
      {"500", {http(soapTest(GOOD), "500 Error")}, "HTTP status 500"},
      {"fault", {fault("500 Error")}, "a SOAP fault [e:Server: spool broken]"},
      {"fault with 200", {fault("200 OK")}, "a SOAP fault"},
      {"other operation", {http(soap("UnregisterNotify", GOOD))}, "to something else"},
      {"SOAP 1.2",
       {replaced(good, "http://schemas.xmlsoap.org/soap/envelope/",
                 "http://www.w3.org/2003/05/soap-envelope##")},
       "no SOAP 1.1 envelope"},
      {"other namespace", {replaced(good, "agent:1", "agent:2")}, "to something else"},
      {"no namespace", {http(soapTest("<accepted xmlns=''>true</accepted>"))}, "no accepted"},
      {"refused", {http(soapTest("<accepted>0</accepted>"))}, "did not accept"},
      {"no value", {http(soapTest("<accepted>1</accepted>"))}, "no answer"},
      {"value twice", {http(soapTest(GOOD + "<answer>2702</answer>"))}, "answer twice"},
      {"element for a value", {answer("<b>2702</b>")}, "elements in answer"},
      {"not a boolean", {http(soapTest("<accepted>yes</accepted>"))}, "not of type boolean"},
      {"not a number", {answer("2702 kg")}, "not of type double"},
      {"comma", {answer("2702,0")}, "not of type double"},
      {"no number", {answer("")}, "not of type double"},
      {"spelling of NaN", {answer("nan")}, "not of type double"},
      {"DOCTYPE", {http("<!DOCTYPE e:Envelope>" + soapTest(GOOD))}, "a DOCTYPE"},
      {"entities",
       {http("<?xml version='1.0'?><!DOCTYPE x [<!ENTITY a '2702'>]>" +
             soapTest("<accepted>true</accepted><answer>&a;</answer>"))},
       "a DOCTYPE"},
      {"DOCTYPE after comments", {http("<!-- > ' --><!DOCTYPE x>" + soapTest(GOOD))}, "a DOCTYPE"},
      {"64 deep", {nested(64)}, ""},
      {"65 deep", {nested(65)}, "nested too deep"},
      {"a tree that outgrows its text",
       {http(soapTest(GOOD + std::string(70000, 'x').replace(0, 2, "<x").replace(69998, 2, "/>")))},
       "too much markup"},
      {"other encoding",
       {http("<?xml version='1.0' encoding='UTF-16'?>" + soapTest(GOOD))},
       "UTF-8"},
      {"16 MiB", {ofLength(16 * MIB)}, ""},
      {"a byte more", {ofLength(16 * MIB + 1)}, "too long"},
      {"17 MiB without a length", {"HTTP/1.1 200 OK\r\n\r\n" + ofLength(17 * MIB)}, "too long"},
      {"endless head",
       {"HTTP/1.1 200 OK\r\n" + repeated("X-Pad: 0123456789\r\n", 5000)},
       "too long"},
      {"chunks",
       {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" +
        [](std::string text) {
          char size[16];
          snprintf(size, sizeof size, "%zx", text.size());
          return size + ("\r\n" + text) + "\r\n0\r\n\r\n";
        }(soapTest(GOOD))},
       ""},
      {"other forms",
       {http(
           "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?>\n<!-- <a> -->" +
           soapTest("<n:accepted xmlns:n='urn:brelvik:vesk:agent:1' a='>'> 1\n</n:accepted><answer>"
                    "<![CDATA[+2.70]]>2e3<!-- . --></answer><more/>"))},
       ""},
      {"infinity", {answer("-INF")}, "", -INFINITY},
      {"too near to zero", {answer("1e-400")}, "", 0},
      {"too far from zero", {answer("1e400")}, "not of type double"},
      {"no sum of numbers", {answer("NaN")}, "answer is not a number"},
  };
}

void expectOutcomes(const std::vector<Case>& rows) {
  Home& home = Home::instance();
  home.set("agent", "connect_timeout", "1");
  for (const Case& row : rows) {
    SCOPED_TRACE(row.name);
    home.newLog();
    const bool timesOut = std::string(row.reason).starts_with("timed out");
    home.set("agent", "timeout", timesOut ? "1" : "30");
    ScriptedAgent agent([&](const std::string&) { return row.script; });
    double sum = 1;
    const auto start = std::chrono::steady_clock::now();
    const bool counts = AgentSOAPClient::test(agent.endpoint().c_str(), 1980, 722, sum);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_LT(took, milliseconds(timesOut ? 4000 : 30000));
    const bool wanted = *row.reason == '\0';
    EXPECT_EQ(wanted, counts);
    EXPECT_EQ(wanted ? row.sum : 0, sum);
    EXPECT_EQ(1, agent.requests());
    const std::string log = home.newLog();
    EXPECT_EQ(wanted ? 0 : 1, std::count(log.begin(), log.end(), '\n')) << log;
    if (wanted) continue;
    EXPECT_THAT(log, HasSubstr("agent: test failed at " + agent.endpoint().substr(7) + " after "));
    EXPECT_THAT(log, HasSubstr(row.reason));
  }
}

TEST(HostileTest, OnlyAWholeAnswerToTheQuestionCountsAndEachFailureIsOneLine) {
  const std::string nobody = "http://127.0.0.1:" + std::to_string(freePort());
  setenv("http_proxy", nobody.c_str(), 1);  // the machine's proxy is for others
  expectOutcomes(cases());
  unsetenv("http_proxy");
}

TEST(HostileTest, AnswersThatAreNotWellFormedDoNotCount) { expectOutcomes(malformed()); }

}  // namespace
