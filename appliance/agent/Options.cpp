#include "Options.h"

#include <charconv>
#include <filesystem>
#include <stdexcept>

namespace agent {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const std::string& why) { throw std::invalid_argument(why); }

void parseListen(const std::string& value, Options& options) {
  const auto colon = value.rfind(':');
  if (colon == std::string::npos) refuse("--listen " + value + ": HOST:PORT is needed");
  options.host = value.substr(0, colon);
  if (options.host.starts_with('[') && options.host.ends_with(']')) {
    options.host = options.host.substr(1, options.host.size() - 2);
  }
  const char* last = value.data() + value.size();
  const auto [end, error] = std::from_chars(value.data() + colon + 1, last, options.port);
  if (options.host.empty() || error != std::errc{} || end != last || options.port < 0 ||
      options.port > 65535) {
    refuse("--listen " + value + ": HOST:PORT is needed, with a port from 0 to 65535");
  }
}

void needFolder(const char* option, const std::string& path) {
  std::error_code ignored;
  if (!fs::is_directory(path, ignored)) refuse(std::string(option) + ' ' + path + ": no folder");
}

void set(const std::string& option, const std::string& value, Options& options) {
  if (value.empty()) refuse(option + " has an empty value");
  if (option == "--listen") return parseListen(value, options);
  if (option == "--misbehave") {
    options.misbehaviour = Misbehaviour::parse(value);
  } else if (option == "--events") {
    options.events = value;
  } else if (option == "--maillog") {
    options.mailLog = value;
    needFolder("--maillog: folder", fs::absolute(value).parent_path().string());
    if (fs::path(value).filename().empty()) refuse("--maillog " + value + ": a file is needed");
  } else {
    needFolder(option.c_str(), value);
    (option == "--spool" ? options.spool : options.exportFolder) = value;
  }
}

bool takesValue(const std::string& option) {
  return option == "--listen" || option == "--spool" || option == "--maillog" ||
         option == "--export" || option == "--misbehave" || option == "--events";
}

}  // namespace

Options Options::parse(int count, char** words) {
  Options options;
  for (int at = 1; at < count; ++at) {
    const std::string option = words[at];
    if (option == "-h" || option == "--help") {
      options.help = true;
    } else if (!takesValue(option)) {
      refuse("unknown option " + option + "; see --help");
    } else if (at + 1 == count) {
      refuse(option + " needs a value; see --help");
    } else {
      set(option, words[++at], options);
    }
  }
  return options;
}

const char* const usage =
    R"(usage: vesk-agent [option]...
A scanner agent: answers the console by SOAP (POST /agent; GET /agent?wsdl describes it) until
SIGTERM. Its first line on the standard output is the address it serves, HOST:PORT.

  --listen HOST:PORT  where to serve (default 127.0.0.1:8090); port 0 takes a free one
  --spool DIR         the messages: DIR/quarantine, DIR/archive and DIR/postponed, a file
                      REFERENCE.eml each; without it there are none
  --export DIR        where whole messages are written to; without it none is
  --maillog FILE      the mail transfer agent's log. Rotated and compressed ones lie beside it, as
                      FILE.1, FILE.2.gz or FILE-20261101.gz
  --events FILE       gets a line for each command, event, notification and queue action
  --misbehave RULES   for tests: OPERATION=KIND[:NUMBER],...; the operation * is all of them. Kinds:
      delay:MS         answers later                   drip:MS     a byte each MS
      never            does not answer                 cut:BYTES   closes early (half of it)
      garbage          is no XML                       http:STATUS an error or a redirect
      wrong-sum:BY     adds wrongly                    fault       a SOAP fault
      wrong-echo:BY    echoes another code             other-operation  answers another one
)";

}  // namespace agent
