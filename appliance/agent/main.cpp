#include <pthread.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>

#include "HttpServer.h"
#include "Message.h"
#include "Options.h"

namespace {

constexpr int failed = 1;
constexpr int refused = 2;

// The HTTP library waits with select, which knows no descriptors from 1024 on.
void limitDescriptors() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, FD_SETSIZE);
  setrlimit(RLIMIT_NOFILE, &limit);
}

// Hundreds of threads with the usual 8 MiB each do not fit into 32 bits.
void limitStacks() {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 1 << 20);
  pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
}

// Blocked in all threads, and waited for in this one.
sigset_t blockSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  return ends;
}

int run(const agent::Options& options) {
  const sigset_t ends = blockSignals();
  limitDescriptors();
  limitStacks();
  agent::Message::initialise();
  agent::Agent agent{options.misbehaviour, agent::Events(options.events),
                     agent::Quarantine(options.spool, options.exportFolder),
                     agent::MailLog(options.mailLog)};
  agent::HttpServer server(agent);
  const int port = server.start(options.host, options.port);
  if (port == 0) {
    std::cerr << "vesk-agent: cannot listen on " << options.host << " port " << options.port
              << ": not an address of this machine, or taken\n";
    return failed;
  }
  const bool ipv6 = options.host.find(':') != std::string::npos;
  std::cout << (ipv6 ? '[' + options.host + ']' : options.host) << ':' << port << std::endl;
  int signal = 0;
  sigwait(&ends, &signal);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const auto options = agent::Options::parse(argc, argv);
    if (!options.help) return run(options);
    std::cout << agent::usage;
    return 0;
  } catch (const std::invalid_argument& wrong) {
    std::cerr << "vesk-agent: " << wrong.what() << '\n';
    return refused;
  } catch (const std::exception& failure) {
    std::cerr << "vesk-agent: " << failure.what() << '\n';
    return failed;
  }
}
